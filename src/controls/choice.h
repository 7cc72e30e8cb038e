// The choice and colour controls: a push or on/off button, a list with a
// selection per entry, one choice out of labelled options, and an RGB colour.
#pragma once

#include "controls/control.h"

enum ButtonState { kHighlighted = 1, kChecked = 2 };

struct ButtonControl {
    ControlRecord record;
    char text[128];
    char name[128];
    int width, height;
    int state;  // kChecked | kHighlighted; an on/off button that is on carries both
    void (*click)(ButtonControl *, int modifier);
    int labelLeft;  // an on/off button's label stands left of its box (the right is taken)
};

constexpr int kListboxEntries = 4096, kListboxEntrySize = 73, kListboxRestorable = 512;

struct ListboxControl {
    ControlRecord record;
    int count;
    char (*entries)[kListboxEntrySize];  // kListboxEntries texts
    unsigned char *selected;             // one flag per entry
};

constexpr int kRadioChoices = 64, kRadioChoiceSize = 64;

struct RadioControl {
    ControlRecord record;
    int count;
    int selection;
    char choices[kRadioChoices][kRadioChoiceSize];
    int rowSpacing;
    int dotsOnly;  // the options' texts are shown by other controls beside them
    int labelsLeft;  // the texts stand left of the dots (the right is taken)
    void (*opened)(RadioControl *);
    void (*closed)(RadioControl *);
};

struct ColorControl {
    ControlRecord record;
    int red, green, blue;
    int width, height;
};

ButtonControl *NewButtonControl(const char *key, int x, int y, Panel *panel);
ButtonControl *NewToggleControl(const char *key, int x, int y, Panel *panel);
ListboxControl *NewListboxControl(const char *key, int x, int y, Panel *panel);
RadioControl *NewRadioControl(const char *key, int x, int y, Panel *panel);
ColorControl *NewColorControl(const char *key, int x, int y, Panel *panel);

bool ToggleIsOn(const ButtonControl *button);
void SetToggle(ButtonControl *button, bool on);
// Replaces the options; a null-terminated list, cut to 64 of 63 characters.
void SetRadioChoices(RadioControl *radio, const char *const *choices);
void SetListboxEntries(ListboxControl *list, const char *const *entries);
// The selection as the window shows it: held to the options there are.
int ShownRadioSelection(const RadioControl *radio);
// Control-table setups for panels whose right-hand side is taken: a radio's
// texts, or an on/off button's label, stand left of the dots or the box.
void RadioLabelsLeft(void *radio);
void ButtonLabelLeft(void *button);
// A channel as the swatch shows it while disabled: washed towards light grey.
int WashedChannel(int channel);

// The COLOR reader pauses on lines it does not know; the pause can be replaced
// (tests record it instead of waiting).
extern void (*colorReaderPause)(unsigned milliseconds);
