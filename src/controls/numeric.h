// The numeric control: one real-valued setting, either a fixed number typed or
// dragged, or an animated value computed for any scene time from reference
// items (position, size, separation) or a linear change per frame. Plug-ins
// bring every numeric control to a time with EvaluatePanelNumerics and then read
// `current`.
#pragma once

#include "controls/control.h"
#include "controls/item_lines.h"

enum NumericMode {
    kFixed = 0,
    kXPos,
    kYPos,
    kZPos,
    kOriginDist,
    kXScale,
    kYScale,
    kZScale,
    kAveScale,
    kSeparation,
    kLinear,
    kNumericModes
};

enum NumericDisplay { kReal = 0, kInteger = 1, kOneDecimal = 2, kPercent = 3 };

// A reference item and what finds it again in a later run of the host.
struct NumericReference {
    LWItemID item;
    char name[128];      // for a bone: the owning object's name
    char boneName[128];  // for a bone: its own name
    int numbers[2];      // index and count of the item line
    int boneNumbers[2];
    int type;  // 0 object, 1 light, 2 camera, 3 bone
};

struct NumericControl {
    ControlRecord record;
    double value;
    double current;
    double dragStep;
    double lowLimit, highLimit;
    double dragLow, dragHigh;
    double changePerFrame;
    NumericReference ref[2];
    int width, height;
    int digits;
    int animatable;
    int mode;
    int displayKind;
    int hasAdvancedButton;
    int lowClip, highClip;
    int dragLowOn, dragHighOn;
    int liveUpdate;
    int usesItems;    // list the reference items when the host asks
    int parentChain;  // ... together with their ancestors
    // Window-time state, not part of the setting.
    struct {
        int dragging;
        int lastX;
        int windowless;  // no window is open: closing again does nothing
        void *handles[4];
        char text[64];   // the edit field's text
    } window;
};

NumericControl *NewNumericControl(const char *key, int x, int y, Panel *panel);
NumericControl *NewPercentControl(const char *key, int x, int y, Panel *panel);
NumericControl *NewFactorControl(const char *key, int x, int y, Panel *panel);
NumericControl *NewIntegerControl(const char *key, int x, int y, Panel *panel);

// A setup for control tables: drags stop at the low clip limit and have no
// upper bound (distances and sizes that may run far past 100).
void DragNotBelowLow(void *control);

double EvaluateNumeric(NumericControl *control, double time);
void EvaluatePanelNumerics(Panel *panel, double time);

// The field's text for the value: two blanks, then the display kind's form,
// at most 30 characters.
void FormatNumeric(const NumericControl *control, double value, char out[31]);

// Commits typed text (at most 63 characters used) into the value; with
// `report` (Tab or Enter) a change of 0.0001 or more is reported.
void CommitNumericText(NumericControl *control, const char *text, bool report);

// Drag knob arithmetic, in screen x. Begin returns the x to move the cursor to;
// Move returns the x to move it back to when it ran past the edges, or -1.
constexpr int kDragCentre = 320, kDragLeftEdge = 120, kDragRightEdge = 520;
int NumericDragBegin(NumericControl *control);
int NumericDragMove(NumericControl *control, int x);
void NumericDragEnd(NumericControl *control);

// The advanced definition: keyword and dialog label per mode, the range report
// over the graph's frames, and the mode kept when the dialog closes.
const char *NumericModeKeyword(int mode);
// The dialog's labels of the modes, in mode order, ended by null.
extern const char *const kNumericModeLabels[kNumericModes + 1];
const char *NumericModeLabel(int mode);
void AdvancedDialogTitle(const NumericControl *control, char *out, int size);

struct RangeReport {
    int start, end;  // frames
    int samples;
    double minimum, maximum, average;
};
constexpr int kMaxGraphSamples = 1000;
// Samples the working copy from lowGraph to highGraph; xs and ys receive the
// frames and values (room for kMaxGraphSamples each, or null).
RangeReport ComputeRangeReport(NumericControl *workingCopy, int sceneFirst, int sceneLast, double fps,
                               double lowGraph, double highGraph, double *xs, double *ys);
void FormatRangeReport(const RangeReport &report, char *out, int size);
// The advanced button: with the modifier held on an animated control it puts
// the control back to FIXED at once; returns whether the dialog is to open.
bool NumericAdvancedClick(NumericControl *control, bool modifier);
// Stores the chosen mode, falling back to FIXED when its reference is missing.
void FinishAdvancedDefinition(NumericControl *control, int chosenMode);
