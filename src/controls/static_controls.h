// Records that show rather than hold settings: a read-only text (captions and
// reports), a graph of (x, y) points over a horizontal range, and the Export
// Motion button's record. None of them writes a settings block.
#pragma once

#include "controls/control.h"

struct TextControl {
    ControlRecord record;
    char text[256];
};

constexpr int kGraphPoints = 1000;

struct GraphControl {
    ControlRecord record;
    int width, height;
    int count;
    double xLow, xHigh;  // the horizontal range shown
    double x[kGraphPoints], y[kGraphPoints];
};

struct ExportMotionControl {
    ControlRecord record;
    void (*click)(ExportMotionControl *, int modifier);
};

TextControl *NewTextControl(const char *key, int x, int y, Panel *panel);
GraphControl *NewGraphControl(const char *key, int x, int y, Panel *panel);
ExportMotionControl *NewExportMotionControl(const char *key, int x, int y, Panel *panel);

void SetText(TextControl *control, const char *text);
// Keeps at most kGraphPoints points.
void SetGraphPoints(GraphControl *graph, const double *x, const double *y, int count, double xLow, double xHigh);
