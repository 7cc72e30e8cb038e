// The headless stand-in for the panel window: nothing is shown; a modal run
// does what the test's script says the user did and reports its result.
#include "panelui/panel_window.h"

#include "controls/control.h"

HeadlessPanels &Headless() {
    static HeadlessPanels state;
    return state;
}

// The window opens cancelled; a script that accepts clears the flag.
int RunPanelModal(Panel *panel) {
    HeadlessPanels &h = Headless();
    ++h.modalRuns;
    panel->cancelled = 1;
    if (h.duringModal) h.duringModal(panel);
    return h.modalResult;
}

void ShowAboutBox(Panel *) {}
void DrawPanelChrome(Panel *, int) {}
void CloseWindowRecords(Panel *) {}
void PostSettingsChanged(Panel *) { ++Headless().settingsChangedPosts; }
void EnablePanelWindow(Panel *, bool) {}
