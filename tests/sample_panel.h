// A plug-in-shaped panel with one control of every kind, for the framework's
// tests and the settings fuzzer.
#pragma once

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_instance.h"
#include "controls/settings.h"
#include "controls/static_controls.h"
#include "text_store.h"

enum SampleControl {
    kDelay, kStrength, kRadius, kDuration, kPush, kDisable, kList, kAxis, kTint, kTarget, kEffectors, kExport,
    kCaption, kGraph, kSampleControls
};

inline PluginInstance *NewSampleInstance(LWItemID owner = nullptr, const char *shortName = "Sample") {
    static const char *const axes[] = {"X", "Y", "Z", nullptr};
    static const char *const entries[] = {"Zero", "One", "Two", "Three", "Four", nullptr};
    const ControlSpec table[kSampleControls] = {
        {.key = "DELAY", .kind = ControlSpecKind::Numeric, .x = 120, .y = 40, .label = "Time Delay (frames)", .value = 0},
        {.key = "STRENGTH", .kind = ControlSpecKind::Percent, .x = 120, .y = 60, .value = 1},
        {.key = "RADIUS", .kind = ControlSpecKind::Factor, .x = 120, .y = 80, .value = 1},
        {.key = "DURATION", .kind = ControlSpecKind::Integer, .x = 120, .y = 100, .value = 10},
        {.key = "PUSH", .kind = ControlSpecKind::Button, .x = 20, .y = 120},
        {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 20, .y = 140},
        {.key = "LIST", .kind = ControlSpecKind::Listbox, .x = 20, .y = 160, .choices = entries},
        {.key = "AXIS", .kind = ControlSpecKind::Radio, .x = 300, .y = 40, .value = 2, .choices = axes},
        {.key = "TINT", .kind = ControlSpecKind::Color, .x = 300, .y = 120},
        {.key = "TARGET", .kind = ControlSpecKind::Item, .x = 120, .y = 200, .label = "Target"},
        {.key = "PREFIX", .kind = ControlSpecKind::ItemPrefix, .x = 120, .y = 230, .label = "Effectors"},
        {.key = "EXPORT", .kind = ControlSpecKind::ExportMotion, .x = 20, .y = 280},
        {.key = "CAPTION", .kind = ControlSpecKind::Text, .x = 20, .y = 10, .label = "A caption"},
        {.key = "GRAPH", .kind = ControlSpecKind::Graph, .x = 20, .y = 300},
    };
    PanelSpec panel{.title = "Sample Control", .shortName = shortName, .width = 448, .height = 310};
    LWError err = nullptr;
    return BuildInstance(panel, table, kSampleControls, owner, &err, "Error Initializing plugin.. restart LightWave or reboot?");
}

template <typename T>
T *Sample(PluginInstance *instance, SampleControl which) {
    return Control<T>(instance, which);
}

// What an instance saves in an io mode, the saved-date line left out.
inline std::string SavedText(PluginInstance *p, int mode = LWIO_SCENE) {
    TextStore store;
    store.mode = mode;
    LWSaveState save = store.SaveState();
    SaveSettings(p, &save);
    return store.Undated();
}
