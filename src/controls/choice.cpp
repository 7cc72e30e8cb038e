#include "controls/choice.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>

#include "controls/settings.h"

namespace {

// Reads lines until END, handing every other line's words to `line`, which
// returns an error or null. A line without a first word is a bad token.
template <typename OnLine>
LWError ReadBlock(const LWLoadState *state, OnLine line) {
    char first[256];
    for (;;) {
        const char *text = ReadSettingsLine(state);
        if (!text) return kEndOfFile;
        if (SettingsToken(text, first, 1)) return kBadToken;
        if (std::strcmp(first, "END") == 0) return line(text, first, true);
        if (LWError err = line(text, first, false)) return err;
    }
}

// ---- BUTTON ----

ButtonControl *AsButton(ControlRecord *r) { return reinterpret_cast<ButtonControl *>(r); }

int ButtonSave(ControlRecord *r, const LWSaveState *s, int level) {
    BlockIndent indent(level);
    const char *in = indent.text;
    int state = AsButton(r)->state;
    int bytes = WriteSettingsLine(s, "%sBEGIN BUTTON %s", in, r->key);
    bytes += WriteSettingsLine(s, " %sCHECKED %s", in, state & kChecked ? "YES" : "NO");
    bytes += WriteSettingsLine(s, " %sHIGHLIGHTED %s", in, state & kHighlighted ? "YES" : "NO");
    return bytes + WriteSettingsLine(s, "%sEND", in);
}

LWError ButtonLoad(ControlRecord *r, const LWLoadState *s) {
    ButtonControl *b = AsButton(r);
    return ReadBlock(s, [&](const char *line, const char *first, bool end) -> LWError {
        if (end) return nullptr;
        int flag = std::strcmp(first, "CHECKED") == 0 ? kChecked : std::strcmp(first, "HIGHLIGHTED") == 0 ? kHighlighted : 0;
        if (!flag) return nullptr;
        char second[256];
        if (SettingsToken(line, second, 2)) return kBadToken;
        if (std::strcmp(second, "YES") == 0)
            b->state |= flag;
        else
            b->state &= ~flag;
        return nullptr;
    });
}

void ButtonCopy(ControlRecord *from, ControlRecord *to) { AsButton(to)->state = AsButton(from)->state; }

// ---- LISTBOX ----

ListboxControl *AsList(ControlRecord *r) { return reinterpret_cast<ListboxControl *>(r); }

int ListboxSave(ControlRecord *r, const LWSaveState *s, int level) {
    ListboxControl *l = AsList(r);
    BlockIndent indent(level);
    const char *in = indent.text;
    int bytes = WriteSettingsLine(s, "%sBEGIN LISTBOX %s", in, r->key);
    for (int i = 0; i < l->count; ++i)
        if (l->selected[i]) bytes += WriteSettingsLine(s, " %sSEL %ld", in, static_cast<long>(i));
    return bytes + WriteSettingsLine(s, "%sEND LISTBOX %s", in, r->key);
}

LWError ListboxLoad(ControlRecord *r, const LWLoadState *s) {
    ListboxControl *l = AsList(r);
    std::memset(l->selected, 0, kListboxRestorable);
    return ReadBlock(s, [&](const char *line, const char *first, bool end) -> LWError {
        char word[256];
        if (end) {
            if (SettingsToken(line, word, 3)) return kBadToken;
            return std::strcmp(word, r->key) == 0 ? nullptr : kWrongEnd;
        }
        if (std::strcmp(first, "SEL") != 0) return nullptr;
        if (SettingsToken(line, word, 2)) return kBadToken;
        long n = std::strtol(word, nullptr, 10);
        if (n >= 0 && n < kListboxRestorable) l->selected[n] = 1;
        return nullptr;
    });
}

void ListboxCopy(ControlRecord *from, ControlRecord *to) {
    std::memcpy(AsList(to)->selected, AsList(from)->selected, kListboxEntries);
}

void ListboxDestroy(ControlRecord *r) {
    ListboxControl *l = AsList(r);
    delete[] l->entries;
    delete[] l->selected;
    delete l;
}

// ---- RADIO ----

RadioControl *AsRadio(ControlRecord *r) { return reinterpret_cast<RadioControl *>(r); }

int RadioSave(ControlRecord *r, const LWSaveState *s, int level) {
    BlockIndent indent(level);
    const char *in = indent.text;
    int bytes = WriteSettingsLine(s, "%sBEGIN RADIO %s", in, r->key);
    bytes += WriteSettingsLine(s, " %sSELECTION %d", in, AsRadio(r)->selection);
    return bytes + WriteSettingsLine(s, "%sEND RADIO %s", in, r->key);
}

// Exactly two lines, in order; nothing is skipped, not even a comment.
LWError RadioLoad(ControlRecord *r, const LWLoadState *s) {
    char word[256];
    const char *line = ReadSettingsLineAsIs(s);
    if (!line) return "Error on load! Couldn't load a line of data!";
    if (SettingsToken(line, word, 1)) return kBadToken;
    if (std::strcmp(word, "SELECTION") != 0) return "Cannot find SELECTION data";
    if (SettingsToken(line, word, 2)) return kBadToken;
    AsRadio(r)->selection = ParseInt(word);
    line = ReadSettingsLineAsIs(s);
    if (!line) return "Error on load! Couldn't load a line of data!";
    if (SettingsToken(line, word, 1)) return kBadToken;
    if (std::strcmp(word, "END") != 0) return "No END token on load!";
    if (SettingsToken(line, word, 3)) return kBadToken;
    return std::strcmp(word, r->key) == 0 ? nullptr : kWrongEnd;
}

void RadioCopy(ControlRecord *from, ControlRecord *to) { AsRadio(to)->selection = AsRadio(from)->selection; }

// ---- COLOR ----

ColorControl *AsColor(ControlRecord *r) { return reinterpret_cast<ColorControl *>(r); }

int ColorSave(ControlRecord *r, const LWSaveState *s, int level) {
    ColorControl *c = AsColor(r);
    BlockIndent indent(level);
    const char *in = indent.text;
    int bytes = WriteSettingsLine(s, "%sBEGIN COLOR %s", in, r->key);
    bytes += WriteSettingsLine(s, " %sRED %d", in, c->red);
    bytes += WriteSettingsLine(s, " %sGREEN %d", in, c->green);
    bytes += WriteSettingsLine(s, " %sBLUE %d", in, c->blue);
    return bytes + WriteSettingsLine(s, "%sEND", in);
}

LWError ColorLoad(ControlRecord *r, const LWLoadState *s) {
    ColorControl *c = AsColor(r);
    return ReadBlock(s, [&](const char *line, const char *first, bool end) -> LWError {
        if (end) return nullptr;
        int *channel = std::strcmp(first, "RED") == 0     ? &c->red
                       : std::strcmp(first, "GREEN") == 0 ? &c->green
                       : std::strcmp(first, "BLUE") == 0  ? &c->blue
                                                          : nullptr;
        if (!channel) {
            // The format has always stalled here on a line it does not know.
            colorReaderPause(40000);
            return nullptr;
        }
        char word[256];
        if (SettingsToken(line, word, 2)) return kBadToken;
        *channel = ParseInt(word);
        return nullptr;
    });
}

void ColorCopy(ControlRecord *from, ControlRecord *to) {
    ColorControl *a = AsColor(from), *b = AsColor(to);
    b->red = a->red;
    b->green = a->green;
    b->blue = a->blue;
}

void SleepFor(unsigned milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

}  // namespace

void (*colorReaderPause)(unsigned milliseconds) = SleepFor;

ButtonControl *NewButtonControl(const char *key, int x, int y, Panel *panel) {
    ButtonControl *b = AllocateControl<ButtonControl>(kKindButton, key, x, y, panel);
    if (!b) return nullptr;
    CopyText(b->text, sizeof b->text, key);
    CopyText(b->name, sizeof b->name, key);
    b->width = 80;
    b->height = 18;
    b->record.save = ButtonSave;
    b->record.load = ButtonLoad;
    b->record.copy = ButtonCopy;
    return b;
}

ButtonControl *NewToggleControl(const char *key, int x, int y, Panel *panel) {
    ButtonControl *b = NewButtonControl(key, x, y, panel);
    if (!b) return nullptr;
    b->width = 20;
    b->height = 17;
    return b;
}

bool ToggleIsOn(const ButtonControl *b) { return (b->state & kChecked) != 0; }
void SetToggle(ButtonControl *b, bool on) { b->state = on ? kChecked | kHighlighted : 0; }

ListboxControl *NewListboxControl(const char *key, int x, int y, Panel *panel) {
    auto *entries = new (std::nothrow) char[kListboxEntries][kListboxEntrySize];
    auto *selected = new (std::nothrow) unsigned char[kListboxEntries];
    ListboxControl *l = entries && selected ? AllocateControl<ListboxControl>(kKindListbox, key, x, y, panel) : nullptr;
    if (!l) {
        delete[] entries;
        delete[] selected;
        return nullptr;
    }
    std::memset(entries, 0, sizeof(char[kListboxEntries][kListboxEntrySize]));
    std::memset(selected, 0, kListboxEntries);
    l->entries = entries;
    l->selected = selected;
    static const char *const defaults[] = {"Zero", "One", "Two", "Three", nullptr};
    SetListboxEntries(l, defaults);
    l->selected[0] = 1;
    l->record.save = ListboxSave;
    l->record.load = ListboxLoad;
    l->record.copy = ListboxCopy;
    l->record.destroy = ListboxDestroy;
    return l;
}

void SetListboxEntries(ListboxControl *l, const char *const *entries) {
    int n = 0;
    for (; entries && entries[n] && n < kListboxEntries; ++n) CopyText(l->entries[n], kListboxEntrySize, entries[n]);
    l->count = n;
}

RadioControl *NewRadioControl(const char *key, int x, int y, Panel *panel) {
    RadioControl *r = AllocateControl<RadioControl>(kKindRadio, key, x, y, panel);
    if (!r) return nullptr;
    r->rowSpacing = 18;
    r->record.save = RadioSave;
    r->record.load = RadioLoad;
    r->record.copy = RadioCopy;
    return r;
}

void SetRadioChoices(RadioControl *r, const char *const *choices) {
    int n = 0;
    for (; choices && choices[n] && n < kRadioChoices; ++n) CopyText(r->choices[n], kRadioChoiceSize, choices[n]);
    r->count = n;
}

int ShownRadioSelection(const RadioControl *r) {
    int count = r->count < 0 ? 0 : (r->count > kRadioChoices - 1 ? kRadioChoices - 1 : r->count);
    int s = r->selection;
    if (s > count - 1) s = count - 1;
    return s < 0 ? 0 : s;
}

ColorControl *NewColorControl(const char *key, int x, int y, Panel *panel) {
    ColorControl *c = AllocateControl<ColorControl>(kKindColor, key, x, y, panel);
    if (!c) return nullptr;
    c->red = 200;
    c->green = 100;
    c->blue = 100;
    c->width = 32;
    c->height = 20;
    c->record.save = ColorSave;
    c->record.load = ColorLoad;
    c->record.copy = ColorCopy;
    return c;
}

int WashedChannel(int channel) { return (channel + 198) / 3; }

void RadioLabelsLeft(void *radio) { static_cast<RadioControl *>(radio)->labelsLeft = 1; }
void ButtonLabelLeft(void *button) { static_cast<ButtonControl *>(button)->labelLeft = 1; }
