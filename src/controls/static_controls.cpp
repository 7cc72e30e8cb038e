#include "controls/static_controls.h"

#include <cstring>
#include <new>

namespace {

// These records show; they save nothing.
template <typename T>
T *AllocateShown(int kind, const char *key, int x, int y, Panel *panel) {
    T *c = AllocateControl<T>(kind, key, x, y, panel);
    if (c) c->record.savedFlag = 0;
    return c;
}

}  // namespace

TextControl *NewTextControl(const char *key, int x, int y, Panel *panel) {
    return AllocateShown<TextControl>(kKindText, key, x, y, panel);
}

GraphControl *NewGraphControl(const char *key, int x, int y, Panel *panel) {
    GraphControl *g = AllocateShown<GraphControl>(kKindGraph, key, x, y, panel);
    if (g) {
        g->width = 400;
        g->height = 120;
    }
    return g;
}

PreviewControl *NewPreviewControl(const char *key, int x, int y, Panel *panel) {
    PreviewControl *c = AllocateShown<PreviewControl>(kKindPreview, key, x, y, panel);
    if (c) c->width = c->height = 64;
    return c;
}

ExportMotionControl *NewExportMotionControl(const char *key, int x, int y, Panel *panel) {
    return AllocateShown<ExportMotionControl>(kKindExportMotion, key, x, y, panel);
}

void SetText(TextControl *c, const char *text) {
    CopyText(c->text, sizeof c->text, text);
    RedrawControl(&c->record, kDrawAll);
}

void SetGraphPoints(GraphControl *g, const double *x, const double *y, int count, double xLow, double xHigh) {
    count = count < 0 ? 0 : (count > kGraphPoints ? kGraphPoints : count);
    std::memcpy(g->x, x, sizeof(double) * count);
    std::memcpy(g->y, y, sizeof(double) * count);
    g->count = count;
    g->xLow = xLow;
    g->xHigh = xHigh;
    RedrawControl(&g->record, kDrawAll);
}
