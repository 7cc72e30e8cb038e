// The headless stand-in for the panel window: nothing is shown; a modal run
// does what the test's script says the user did and reports its result.
#include "panelui/panel_window.h"

HeadlessPanels &Headless() {
    static HeadlessPanels state;
    return state;
}

int RunPanelModal(Panel *panel) {
    HeadlessPanels &h = Headless();
    ++h.modalRuns;
    if (h.duringModal) h.duringModal(panel);
    return h.modalResult;
}

void ShowAboutBox(Panel *) {}
void DrawPanelChrome(Panel *, int) {}
void CloseWindowRecords(Panel *) {}
void PostSettingsChanged(Panel *) { ++Headless().settingsChangedPosts; }
void EnablePanelWindow(Panel *, bool) {}
