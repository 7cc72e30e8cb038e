// What a plug-in's callbacks use on their instance: the opening of a call
// (the panel brought up to date with what the host changed, the item the
// instance belongs to noted, the animated settings brought to the call's
// time), and its settings read by their place in the plug-in's table.
#pragma once

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_instance.h"

// A call that works at a time. Motion and displacement plug-ins give the item
// they move; shaders and filters have none. Null when the host gave no instance.
PluginInstance *OpenEvaluation(LWInstance instance, double time, LWItemID owner);
PluginInstance *OpenEvaluation(LWInstance instance, double time);
// A call that reads the settings alone (flags, description, a render's start).
PluginInstance *OpenSettings(LWInstance instance);

// The state of an on/off button by its key; `otherwise` when it has none.
bool SwitchByKey(PluginInstance *p, const char *key, bool otherwise);
// Greys the rows the table marks kGreyWhileDisabled while the DISABLE toggle
// is on: the toggle's change callback and the panel's after-load hook.
void GreyWhileDisabled(PluginInstance *p);

inline bool On(PluginInstance *p, int i) { return ToggleIsOn(Control<ButtonControl>(p, i)); }
inline NumericControl *Number(PluginInstance *p, int i) { return Control<NumericControl>(p, i); }
// The value at the time the numerics were last brought to.
inline double &Current(PluginInstance *p, int i) { return Control<NumericControl>(p, i)->current; }
inline int Selection(PluginInstance *p, int i) { return Control<RadioControl>(p, i)->selection; }
