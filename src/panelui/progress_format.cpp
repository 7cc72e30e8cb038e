#include <cstdio>

#include "panelui/progress.h"

void FormatProgressPercent(double fraction, char out[16]) {
    fraction = fraction < 0 ? 0 : (fraction > 1 ? 1 : fraction);
    std::snprintf(out, 16, "%3.1f%%", fraction * 100);
}
