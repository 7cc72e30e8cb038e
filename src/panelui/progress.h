// The progress status window: a title, two lines, a bar with its per cent and
// an Abort button, in a window of its own thread so that it keeps answering
// while the caller computes. One for the module.
#pragma once

// 0, or 1 when the host gives no display information.
int OpenProgress(const char *title, double fraction, bool abortable, int flag);
// 1 when the user aborted an abortable progress, else 0. Updates closer than
// 50 ms to the last accepted one are not taken.
int UpdateProgress(const char *line1, const char *line2, double fraction);
// 1 when the user had aborted, else 0.
int CloseProgress();

// How the window shows a fraction: held to 0..1, "%3.1f%%".
void FormatProgressPercent(double fraction, char out[16]);

// The headless stand-in's record and script, for native tests.
struct HeadlessProgress {
    bool open = false;
    int updates = 0;
    int abortAfter = -1;  // the user presses Abort after this many updates
    char title[256] = "", line1[256] = "";
};
HeadlessProgress &HeadlessProgressState();
