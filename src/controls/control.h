// The panel and control model: every setting of a plug-in instance lives in a
// control, and every control, the panel included, begins with one record header
// whose callback table lets the frame copy, save, load, synchronise and redraw it
// without knowing its kind. Controls are chained behind the panel in creation
// order; that order is the order of the settings blocks.
#pragma once

#include <cstddef>
#include <cstring>
#include <new>

#include "hostapi/lwhost.h"

struct ControlRecord;
struct Panel;
struct PluginInstance;

// Kind codes of the header.
enum ControlKind {
    kKindPanel = 0,
    kKindText = 1,  // read-only caption or report; writes no block
    kKindButton = 3,
    kKindColor = 4,
    kKindNumeric = 6,
    kKindRadio = 10,
    kKindGraph = 14,
    kKindItem = 15,
    kKindExportMotion = 16,
    kKindListbox = 17,
    kKindPreview = 18,  // a picture the plug-in fills; writes no block
    kKindUnset = 99,
};

constexpr int kDrawAll = 31;
constexpr size_t kKeySize = 65;  // up to 64 characters and the terminator

struct ControlRecord {
    int placement[4];  // set when a window lays the control out; -1 before
    ControlRecord *next;
    void (*press)(ControlRecord *);
    void (*draw)(ControlRecord *, int partMask);
    void (*message)(ControlRecord *, unsigned msg, void *wParam, void *lParam);  // kind's own: window messages
    void (*show)(ControlRecord *, int visible);                               // kind's own: window update
    void (*close)(ControlRecord *);
    int (*save)(ControlRecord *, const LWSaveState *, int level);  // bytes written
    LWError (*load)(ControlRecord *, const LWLoadState *);
    void (*focus)(ControlRecord *);
    void (*copy)(ControlRecord *from, ControlRecord *to);
    void (*reset)(ControlRecord *);
    void (*destroy)(ControlRecord *);
    void (*resolve)(ControlRecord *);  // kind's own: find saved items again
    void (*update)(ControlRecord *);
    int (*collectItems)(ControlRecord *, LWItemID *out, int room);
    void (*changeIds)(ControlRecord *, const LWItemID *pairs);
    Panel *panel;
    char key[kKeySize];
    int kind;
    int copyFlag;
    int savedFlag;
    int ghosted;
    int group;
    int x, y;
    char label[128];                       // the visible text beside the control
    void (*changed)(PluginInstance *);     // the plug-in's change callback, given its instance
    int changedMark;                       // set by a user change, read by the window
    int greyWhileDisabled;                 // greyed while the panel's DISABLE toggle is on
};

struct Panel {
    ControlRecord record;
    char title[128];
    char shortName[64];
    double version;
    PluginInstance *instance;
    int width, height;
    const void *titleBitmaps[2];
    // The plug-in's own handler functions, so a window can make a twin instance.
    LWInstance (*create)(LWError *err, LWItemID item);
    void (*destroy)(LWInstance);
    LWError (*copy)(LWInstance from, LWInstance to, LWItemID item);
    void (*afterLoad)(PluginInstance *);
    LWItemID ownerItem;
    int pendingUpdate;
    double currentTime;
    int memoryIndicator;  // the settings-memory button shows lit
    // The window's own buttons and how it was left.
    const char *acceptLabel;
    const char *cancelLabel;
    int cancelled;                   // on while open; the accept button clears it
    int fileButtons;                 // the load and save buttons are shown
    void (*windowOpened)(Panel *);   // after the controls have their windows
    void (*followUp)(Panel *);       // after the window is gone
    void *window;                    // the open window's own state
};

// Header defaults of a new record: placement -1, key "BAD_ID!", kind 99, copy
// and saved flags on, position (200, 50).
void InitControlRecord(ControlRecord *record);

// The panel, or null when memory runs out.
Panel *NewPanel(const char *name, PluginInstance *instance, int width, int height);

// Fills a freshly allocated control's header, copies the key (cut to 64
// characters), links it at the end of the panel's list and places it.
void AttachControl(ControlRecord *record, int kind, const char *key, int x, int y, Panel *panel);

// A control of kind part T, zeroed, with the header defaults, freed by its
// destroy callback and linked into the panel; null when memory runs out.
template <typename T>
T *AllocateControl(int kind, const char *key, int x, int y, Panel *panel) {
    T *c = new (std::nothrow) T;
    if (!c) return nullptr;
    std::memset(static_cast<void *>(c), 0, sizeof *c);
    InitControlRecord(&c->record);
    c->record.destroy = [](ControlRecord *r) { delete reinterpret_cast<T *>(r); };
    AttachControl(&c->record, kind, key, x, y, panel);
    return c;
}

// Destroys every record with the copy flag set, last first, then the panel.
void DestroyPanel(Panel *panel);

// Runs every record's update in list order when an update is pending.
void SynchronisePanel(Panel *panel);

void RedrawControl(ControlRecord *record, int mask);
// Sets or clears ghosting; redraws only when the state changes.
void GhostControl(ControlRecord *record, bool on);

// Tab navigation within a focus group: direction 1 forward, anything else back.
ControlRecord *FindFocusNeighbour(ControlRecord *record, int direction);
void GiveFocus(ControlRecord *record, int direction);

// The first record after the panel whose key is exactly `key`.
ControlRecord *FindControl(Panel *panel, const char *key);

// A user change: marks the control, calls its change callback and tells the
// panel window that settings changed.
void ReportChange(ControlRecord *record);

// A whole number from settings text, held to the range of int (the text may
// come from anywhere).
int ParseInt(const char *text);
// floor(v + 0.5) as an int, held to the range of int.
int RoundToInt(double v);

// Copies text into a fixed field, cutting it to fit.
void CopyText(char *to, size_t size, const char *from);
