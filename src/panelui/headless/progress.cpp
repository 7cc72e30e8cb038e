// The headless progress: nothing is shown; a test's script may press Abort.
#include <cstring>

#include "panelui/progress.h"

HeadlessProgress &HeadlessProgressState() {
    static HeadlessProgress state;
    return state;
}

namespace {
bool aborted = false, abortable = false;
}

int OpenProgress(const char *title, double, bool canAbort, int) {
    HeadlessProgress &p = HeadlessProgressState();
    p.open = true;
    p.updates = 0;
    std::strncpy(p.title, title ? title : "", 255);
    aborted = false;
    abortable = canAbort;
    return 0;
}

int UpdateProgress(const char *line1, const char *, double) {
    HeadlessProgress &p = HeadlessProgressState();
    if (abortable && aborted) return 1;
    std::strncpy(p.line1, line1 ? line1 : "", 255);
    if (p.abortAfter >= 0 && ++p.updates > p.abortAfter) aborted = true;
    return abortable && aborted ? 1 : 0;
}

int CloseProgress() {
    HeadlessProgressState().open = false;
    return aborted ? 1 : 0;
}
