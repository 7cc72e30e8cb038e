#include "controls/control.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "panelui/panel_window.h"

void CopyText(char *to, size_t size, const char *from) {
    if (!size) return;
    size_t n = from ? std::strlen(from) : 0;
    if (n >= size) n = size - 1;
    if (n) std::memcpy(to, from, n);
    to[n] = 0;
}

int ParseInt(const char *text) {
    long long v = std::strtoll(text, nullptr, 10);
    return v < INT_MIN ? INT_MIN : (v > INT_MAX ? INT_MAX : static_cast<int>(v));
}

int RoundToInt(double v) {
    double r = std::floor(v + 0.5);
    if (!(r >= INT_MIN)) return INT_MIN;  // also NaN
    return r > INT_MAX ? INT_MAX : static_cast<int>(r);
}

void InitControlRecord(ControlRecord *r) {
    std::memset(r, 0, sizeof *r);
    for (int &p : r->placement) p = -1;
    CopyText(r->key, sizeof r->key, "BAD_ID!");
    r->kind = kKindUnset;
    r->copyFlag = 1;
    r->savedFlag = 1;
    r->x = 200;
    r->y = 50;
}

namespace {

void PanelPress(ControlRecord *r) { ShowAboutBox(r->panel); }
void PanelDraw(ControlRecord *r, int mask) { DrawPanelChrome(r->panel, mask); }
void PanelClose(ControlRecord *r) { CloseWindowRecords(r->panel); }
void PanelReset(ControlRecord *r) { r->panel->currentTime = 0; }
void PanelDestroy(ControlRecord *r) { delete reinterpret_cast<Panel *>(r); }

}  // namespace

Panel *NewPanel(const char *name, PluginInstance *instance, int width, int height) {
    Panel *panel = new (std::nothrow) Panel;
    if (!panel) return nullptr;
    std::memset(panel, 0, sizeof *panel);
    ControlRecord &r = panel->record;
    InitControlRecord(&r);
    r.kind = kKindPanel;
    r.savedFlag = 0;  // the panel writes the envelope, not a block
    r.panel = panel;
    r.press = PanelPress;
    r.draw = PanelDraw;
    r.close = PanelClose;
    r.reset = PanelReset;
    r.destroy = PanelDestroy;
    CopyText(panel->title, sizeof panel->title, name);
    CopyText(panel->shortName, sizeof panel->shortName, name);
    panel->version = 1.0;
    panel->acceptLabel = "Continue";
    panel->cancelLabel = "Cancel";
    panel->fileButtons = 1;
    panel->instance = instance;
    panel->width = width;
    panel->height = height;
    r.reset(&r);
    return panel;
}

void AttachControl(ControlRecord *r, int kind, const char *key, int x, int y, Panel *panel) {
    CopyText(r->key, sizeof r->key, key);
    CopyText(r->label, sizeof r->label, key);
    r->kind = kind;
    r->x = x;
    r->y = y;
    r->panel = panel;
    ControlRecord *last = &panel->record;
    while (last->next) last = last->next;
    last->next = r;
}

void DestroyPanel(Panel *panel) {
    if (!panel) return;
    for (;;) {
        ControlRecord *before = &panel->record, *victimBefore = nullptr;
        for (ControlRecord *r = panel->record.next; r; before = r, r = r->next)
            if (r->copyFlag == 1) victimBefore = before;
        if (!victimBefore) break;
        ControlRecord *victim = victimBefore->next;
        victimBefore->next = victim->next;
        victim->next = nullptr;
        if (victim->destroy) victim->destroy(victim);
    }
    panel->record.next = nullptr;
    panel->record.destroy(&panel->record);
}

void SynchronisePanel(Panel *panel) {
    if (!panel->pendingUpdate) return;
    panel->pendingUpdate = 0;
    for (ControlRecord *r = &panel->record; r; r = r->next)
        if (r->update) r->update(r);
}

void RedrawControl(ControlRecord *r, int mask) {
    if (r && r->draw) r->draw(r, mask);
}

void GhostControl(ControlRecord *r, bool on) {
    if (!r || (r->ghosted != 0) == on) return;
    r->ghosted = on;
    RedrawControl(r, kDrawAll);
}

ControlRecord *FindFocusNeighbour(ControlRecord *control, int direction) {
    if (control->group == 0 || direction == 0) return control;
    ControlRecord *head = &control->panel->record;
    auto eligible = [&](ControlRecord *r) { return r->group == control->group && !r->ghosted; };
    if (direction == 1) {
        for (ControlRecord *r = control->next; r; r = r->next)
            if (eligible(r) && r->focus) return r;
        for (ControlRecord *r = head; r; r = r->next)
            if (eligible(r) && r->focus) return r;
        return control;
    }
    // Backward does not ask for a focus function: kept as it always was.
    ControlRecord *found = nullptr;
    for (ControlRecord *r = head; r && r != control; r = r->next)
        if (eligible(r)) found = r;
    if (found) return found;
    for (ControlRecord *r = head; r; r = r->next)
        if (eligible(r)) found = r;
    return found ? found : control;
}

void GiveFocus(ControlRecord *control, int direction) {
    ControlRecord *r = FindFocusNeighbour(control, direction);
    if (r->focus) r->focus(r);
}

ControlRecord *FindControl(Panel *panel, const char *key) {
    for (ControlRecord *r = panel->record.next; r; r = r->next)
        if (std::strcmp(r->key, key) == 0) return r;
    return nullptr;
}

void ReportChange(ControlRecord *r) {
    r->changedMark = 1;
    if (r->changed) r->changed(r->panel->instance);
    PostSettingsChanged(r->panel);
}
