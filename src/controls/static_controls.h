// Records that show rather than hold settings: a read-only text (captions and
// reports), a graph of (x, y) points over a horizontal range, a preview picture
// the plug-in fills, and the Export Motion button's record. None of them writes
// a settings block.
#pragma once

#include "controls/control.h"

struct TextControl {
    ControlRecord record;
    char text[256];
    int coloured;            // drawn in rgb instead of the panel's text colour
    unsigned char rgb[3];
};

constexpr int kGraphPoints = 1000;

struct GraphControl {
    ControlRecord record;
    int width, height;
    int count;
    double xLow, xHigh;  // the horizontal range shown
    double x[kGraphPoints], y[kGraphPoints];
};

constexpr int kPreviewSide = 172;  // the largest preview's width and height

// Filled by the plug-in in portable code; the window only shows the pixels.
struct PreviewControl {
    ControlRecord record;
    int width, height;  // 64 x 64 unless the plug-in sets them
    unsigned char rgb[kPreviewSide * kPreviewSide * 3];  // rows top down
};

// A control-table setup giving a preview its side: `.setup = PreviewSide<170>`.
template <int Side>
void PreviewSide(void *control) {
    static_assert(Side > 0 && Side <= kPreviewSide, "a preview fits its pixel buffer");
    static_cast<PreviewControl *>(control)->width = static_cast<PreviewControl *>(control)->height = Side;
}

struct ExportMotionControl {
    ControlRecord record;
    void (*click)(ExportMotionControl *, int modifier);
};

TextControl *NewTextControl(const char *key, int x, int y, Panel *panel);
GraphControl *NewGraphControl(const char *key, int x, int y, Panel *panel);
PreviewControl *NewPreviewControl(const char *key, int x, int y, Panel *panel);
ExportMotionControl *NewExportMotionControl(const char *key, int x, int y, Panel *panel);

void SetText(TextControl *control, const char *text);
// Keeps at most kGraphPoints points.
void SetGraphPoints(GraphControl *graph, const double *x, const double *y, int count, double xLow, double xHigh);
