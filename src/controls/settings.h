// The settings text: one envelope per instance ("BEGIN MARVEN_LABS_PLUGIN
// Track" ... "END MARVEN_LABS_PLUGIN Track") holding one block per saved
// control in list order. The same writer and reader serve the host's scene
// files (line mode), object files (byte stream) and the panel's file buttons.
#pragma once

#include <cstddef>

#include "hostapi/lwhost.h"

struct PluginInstance;

// The indentation of a block at a nesting level: one blank per level.
struct BlockIndent {
    char text[32];
    explicit BlockIndent(int level);
};

// Hands one line to the host; the length given counts the terminating zero, so
// a byte stream carries the zero as the line's end. Returns that length.
int WriteSettingsLine(const LWSaveState *state, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

// The next line that is neither empty nor a comment, trimmed, or null at the
// end. Every physical line read counts, comments included.
const char *ReadSettingsLine(const LWLoadState *state);

// The next physical line, trimmed, comments and empty lines included; null at
// the end. For readers that take their lines exactly as they come.
const char *ReadSettingsLineAsIs(const LWLoadState *state);

// The n-th blank-separated word of a line (from 1) into a buffer of 256:
// 0 when found, 1 when the line has no such word.
int SettingsToken(const char *line, char *word, int n);

// Where reading stands, for error reports: the count of lines read (the first
// line of a text counts as 2) and the last line read, trimmed.
int SettingsLineNumber();
const char *SettingsLastLine();

LWError SaveSettings(PluginInstance *instance, const LWSaveState *state);
LWError LoadSettings(PluginInstance *instance, const LWLoadState *state, bool checkName);

// The text block readers hand back on a bad line.
extern const char *const kBadToken;    // "Bad Token on load."
extern const char *const kEndOfFile;   // "End of File during Load"
extern const char *const kWrongEnd;    // "Wrong END name on load!"
