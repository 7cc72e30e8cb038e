// A plug-in instance: its panel first, then its controls in the plug-in's own
// order. All settings live in the controls; a plug-in declares its controls as
// one table, and BuildInstance turns the table into the panel and the instance.
#pragma once

#include <cstddef>
#include <new>

#include "controls/control.h"

struct ButtonControl;
struct ColorControl;
struct ItemControl;
struct ListboxControl;
struct NumericControl;
struct RadioControl;
struct TextControl;

constexpr int kMaxControls = 64;

// What the pixel-filter frame keeps per instance around a plug-in's hooks.
struct PixelFilterFrame {
    int failed = 0;  // bit 0: the last init failed
    int renderWidth = 0, renderHeight = 0;
    int workingResolution = 0;  // the plug-in's own, in pixels
    double scale = 1;           // sampling scale, at least 1
    int reducedWidth = 0, reducedHeight = 0;
    int (*initHook)(PluginInstance *) = nullptr;                    // non-zero: failed
    int (*newTimeHook)(PluginInstance *, LWFrame, LWTime) = nullptr;  // non-zero: failed
    void (*clearWork)(PluginInstance *) = nullptr;
    // The plug-in's own per-pixel routine: depth and colour (0-255 scale, changed
    // in place); the alpha, 0 to 1, waits in `alpha`. Returns 1.0 when it left
    // the pixel alone, 0.0 when it changed it.
    double (*pixelHook)(PluginInstance *, double depth, double rgb[3]) = nullptr;
    double alpha = 0;
};

struct ImageRecord;

// What the image-filter frame calls: a per-frame setup (0 active, 1 inactive)
// and a per-pixel routine writing the output pixel (RGBA).
struct ImageFilterHooks {
    int (*setup)(PluginInstance *, const ImageRecord &, LWFrame, LWTime);
    void (*pixel)(PluginInstance *, const ImageRecord &, int x, int y, BufferValue out[4]);
};

struct PluginInstance {
    Panel *panel;
    void *controls[kMaxControls];  // each control's kind part, in table order
    int controlCount;
    PixelFilterFrame pixel;
    ImageFilterHooks image;
    char description[128];  // the instance's description line, for plug-ins that print one
    void *work;             // the plug-in's own working state (workBytes, zeroed at creation), or null
    void (*endWork)(void *);  // ends a working state that owns memory, or null
};

// What the table can say of a control; anything else goes in `setup`.
enum class ControlSpecKind {
    Numeric, Percent, Factor, Integer,
    Button, Toggle, Listbox, Radio, Color,
    Item, ItemPrefix, ExportMotion, Text, Graph, Preview,
};

enum ControlSpecFlags : unsigned {
    kClipLow = 1,     // numeric: clip at `low`
    kClipHigh = 2,    // numeric: clip at `high`
    kNotAnimatable = 4,
    kHidden = 8,      // not saved (window-only records)
    kDragRange = 16,  // numeric: drags stay within dragLow to dragHigh
    kDragFromLow = 32,  // numeric: drags stop at `low` and have no upper bound
    kDragFree = 64,   // numeric: drags are not bounded
    kGreyWhileDisabled = 128,  // any control: greyed while the DISABLE toggle is on
};

struct ControlSpec {
    const char *key;
    ControlSpecKind kind;
    int x = 0, y = 0;
    const char *label = nullptr;
    double value = 0;                        // numeric value; toggle on; radio selection
    double low = 0, high = 0;                // numeric clip limits, with the flags
    unsigned flags = 0;
    double dragLow = 0, dragHigh = 0;        // numeric drag bounds, with kDragRange
    int digits = -1;                         // numeric digits shown; -1 the constructor's
    double dragStep = 0;                     // numeric change per pixel dragged; 0 the constructor's
    int width = 0;                           // numeric or item field's width; 0 the constructor's
    const char *const *choices = nullptr;    // radio options or list entries, null-terminated
    void (*changed)(PluginInstance *) = nullptr;
    void (*setup)(void *control) = nullptr;  // any further field the plug-in sets
};

struct PanelSpec {
    const char *title;      // window title
    const char *shortName;  // name in the settings envelope
    int width, height;
    LWInstance (*create)(LWError *err, LWItemID item) = nullptr;
    void (*destroy)(LWInstance) = nullptr;
    LWError (*copy)(LWInstance from, LWInstance to, LWItemID item) = nullptr;
    void (*afterLoad)(PluginInstance *) = nullptr;
    double version = 1.0;
    PixelFilterFrame pixel = {};   // pixel filters' hooks
    ImageFilterHooks image = {};   // image filters' hooks
    size_t workBytes = 0;          // the plug-in's working state, kept per instance and never saved
    // A working state that owns memory (a frame's rows) is made in its bytes
    // with the instance and ended with it: MakeWork<T> and EndWork<T>.
    void (*makeWork)(void *) = nullptr;
    void (*endWork)(void *) = nullptr;
};

template <typename T>
void MakeWork(void *bytes) {
    new (bytes) T();
}
template <typename T>
void EndWork(void *bytes) {
    static_cast<T *>(bytes)->~T();
}

// Builds the panel and every control in table order. Any failure unwinds what
// was built and returns null with `failure` stored in *err.
PluginInstance *BuildInstance(const PanelSpec &panel, const ControlSpec *table, int count, LWItemID owner,
                              LWError *err, const char *failure);

// The instance's working state, as the plug-in declared it.
template <typename T>
T *Work(PluginInstance *instance) {
    return static_cast<T *>(instance->work);
}

// The instance's controls by table position.
template <typename T>
T *Control(PluginInstance *instance, int index) {
    return static_cast<T *>(instance->controls[index]);
}
