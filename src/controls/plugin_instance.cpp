#include "controls/plugin_instance.h"
#include "controls/plugin_access.h"

#include <cstring>
#include <new>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/static_controls.h"

namespace {

ControlRecord *RecordOf(void *control) { return static_cast<ControlRecord *>(control); }

void *Build(const ControlSpec &row, Panel *panel) {
    const char *key = row.key;
    int x = row.x, y = row.y;
    switch (row.kind) {
    case ControlSpecKind::Numeric:
    case ControlSpecKind::Percent:
    case ControlSpecKind::Factor:
    case ControlSpecKind::Integer: {
        NumericControl *c = row.kind == ControlSpecKind::Numeric   ? NewNumericControl(key, x, y, panel)
                            : row.kind == ControlSpecKind::Percent ? NewPercentControl(key, x, y, panel)
                            : row.kind == ControlSpecKind::Factor  ? NewFactorControl(key, x, y, panel)
                                                                    : NewIntegerControl(key, x, y, panel);
        if (!c) return nullptr;
        c->value = c->current = row.value;
        if (row.flags & kClipLow) c->lowClip = 1, c->lowLimit = row.low;
        if (row.flags & kClipHigh) c->highClip = 1, c->highLimit = row.high;
        if (row.flags & kNotAnimatable) c->animatable = 0;
        if (row.flags & kDragRange) c->dragLow = row.dragLow, c->dragHigh = row.dragHigh, c->dragLowOn = c->dragHighOn = 1;
        if (row.flags & kDragFromLow) DragNotBelowLow(c);
        if (row.flags & kDragFree) c->dragLowOn = c->dragHighOn = 0;
        if (row.digits >= 0) c->digits = row.digits;
        if (row.dragStep > 0) c->dragStep = row.dragStep;
        if (row.width > 0) c->width = row.width;
        return c;
    }
    case ControlSpecKind::Button: return NewButtonControl(key, x, y, panel);
    case ControlSpecKind::Toggle: {
        ButtonControl *b = NewToggleControl(key, x, y, panel);
        if (b) SetToggle(b, row.value != 0);
        return b;
    }
    case ControlSpecKind::Listbox: {
        ListboxControl *l = NewListboxControl(key, x, y, panel);
        if (l && row.choices) SetListboxEntries(l, row.choices);
        return l;
    }
    case ControlSpecKind::Radio: {
        RadioControl *r = NewRadioControl(key, x, y, panel);
        if (!r) return nullptr;
        SetRadioChoices(r, row.choices);
        r->selection = static_cast<int>(row.value);
        return r;
    }
    case ControlSpecKind::Color: return NewColorControl(key, x, y, panel);
    case ControlSpecKind::Item:
    case ControlSpecKind::ItemPrefix: {
        ItemControl *c = row.kind == ControlSpecKind::Item
                             ? NewItemControl(key, x, y, panel)
                             : NewPrefixItemControl(key, x, y, panel, row.high > 0 ? static_cast<int>(row.high) : kPrefixMatches);
        if (c && row.width > 0) c->width = row.width;
        return c;
    }
    case ControlSpecKind::ExportMotion: return NewExportMotionControl(key, x, y, panel);
    case ControlSpecKind::Text: {
        TextControl *t = NewTextControl(key, x, y, panel);
        if (t && row.label) SetText(t, row.label);
        return t;
    }
    case ControlSpecKind::Graph: return NewGraphControl(key, x, y, panel);
    case ControlSpecKind::Preview: return NewPreviewControl(key, x, y, panel);
    }
    return nullptr;
}

}  // namespace

PluginInstance *BuildInstance(const PanelSpec &layout, const ControlSpec *table, int count, LWItemID owner, LWError *err,
                              const char *failure) {
    PluginInstance *instance = new (std::nothrow) PluginInstance;
    Panel *panel = instance ? NewPanel(layout.title, instance, layout.width, layout.height) : nullptr;
    unsigned char *work = layout.workBytes ? new (std::nothrow) unsigned char[layout.workBytes]() : nullptr;
    if (!panel || count > kMaxControls || (layout.workBytes && !work)) {
        if (panel) DestroyPanel(panel);
        delete[] work;
        delete instance;
        if (err) *err = failure;
        return nullptr;
    }
    *instance = PluginInstance{};
    instance->panel = panel;
    instance->work = work;
    if (layout.makeWork && work) layout.makeWork(work);
    instance->endWork = layout.endWork;
    CopyText(panel->shortName, sizeof panel->shortName, layout.shortName);
    panel->version = layout.version;
    panel->create = layout.create;
    panel->destroy = layout.destroy;
    panel->copy = layout.copy;
    panel->afterLoad = layout.afterLoad;
    panel->ownerItem = owner;
    instance->pixel = layout.pixel;
    instance->image = layout.image;
    for (int i = 0; i < count; ++i) {
        void *control = Build(table[i], panel);
        if (!control) {
            DestroyPanel(panel);
            if (layout.endWork) layout.endWork(work);
            delete[] work;
            delete instance;
            if (err) *err = failure;
            return nullptr;
        }
        ControlRecord *r = RecordOf(control);
        if (table[i].label) CopyText(r->label, sizeof r->label, table[i].label);
        if (table[i].flags & kHidden) r->savedFlag = 0;
        if (table[i].flags & kGreyWhileDisabled) r->greyWhileDisabled = 1;
        r->changed = table[i].changed;
        if (table[i].setup) table[i].setup(control);
        instance->controls[i] = control;
    }
    instance->controlCount = count;
    if (err) *err = nullptr;
    return instance;
}

PluginInstance *OpenSettings(LWInstance instance) {
    auto *p = static_cast<PluginInstance *>(instance);
    if (p) SynchronisePanel(p->panel);
    return p;
}

PluginInstance *OpenEvaluation(LWInstance instance, double time) {
    PluginInstance *p = OpenSettings(instance);
    if (p) EvaluatePanelNumerics(p->panel, time);
    return p;
}

PluginInstance *OpenEvaluation(LWInstance instance, double time, LWItemID owner) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return nullptr;
    p->panel->ownerItem = owner;
    EvaluatePanelNumerics(p->panel, time);
    return p;
}

bool SwitchByKey(PluginInstance *p, const char *key, bool otherwise) {
    ControlRecord *r = FindControl(p->panel, key);
    return r && r->kind == kKindButton ? ToggleIsOn(reinterpret_cast<ButtonControl *>(r)) : otherwise;
}

void GreyWhileDisabled(PluginInstance *p) {
    const bool disabled = SwitchByKey(p, "DISABLE", false);
    for (ControlRecord *r = p->panel->record.next; r; r = r->next)
        if (r->greyWhileDisabled) GhostControl(r, disabled);
}
