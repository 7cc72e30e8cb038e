// What the control model and the frame ask of the panel window. On Windows the
// panel window answers; natively a headless stand-in does, so everything else
// compiles and runs without a screen.
#pragma once

struct Panel;

// Runs the panel modally on the host's thread; returns below 1 when the user
// cancelled, 1 or more when accepted.
int RunPanelModal(Panel *panel);

void ShowAboutBox(Panel *panel);
void DrawPanelChrome(Panel *panel, int partMask);
// Removes what the window added to the panel's list while it was open.
void CloseWindowRecords(Panel *panel);
// Tells the open window that a setting changed (the settings-changed message).
void PostSettingsChanged(Panel *panel);
// Greys the panel's window while another dialog (the file requester) is up.
void EnablePanelWindow(Panel *panel, bool enabled);

// The headless stand-in's script and record, for native tests.
struct HeadlessPanels {
    int modalResult = 0;           // what the next modal runs report: closed unchanged
    int modalRuns = 0;
    int settingsChangedPosts = 0;
    void (*duringModal)(Panel *) = nullptr;  // what the "user" does while it is open
};
HeadlessPanels &Headless();
