#include "controls/settings.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "controls/control.h"
#include "controls/plugin_instance.h"
#include "services/host_services.h"

const char *const kBadToken = "Bad Token on load.";
const char *const kEndOfFile = "End of File during Load";
const char *const kWrongEnd = "Wrong END name on load!";

namespace {

// The build identification written after the BEGIN line.
constexpr const char *kCollectionVersion = "1.0";

constexpr int kLineLimit = 255;

int lineCount = 1;
char lastLine[kLineLimit + 1];

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// One physical line into lastLine; false at the end of the data.
bool ReadPhysicalLine(const LWLoadState *state) {
    char *buf = lastLine;
    if (state->ioMode == LWIO_SCENE) {
        int n = state->read(state->readData, buf, kLineLimit);
        if (n < 0) return false;
        buf[n > kLineLimit ? kLineLimit : n] = 0;
        return true;
    }
    if (state->ioMode != LWIO_OBJECT) return false;
    int n = 0;
    while (n < kLineLimit - 1) {
        char c;
        if (state->read(state->readData, &c, 1) < 1) {
            if (n == 0) return false;
            break;
        }
        if (c == '\n' || c == '\r' || c == 0) break;
        buf[n++] = c;
    }
    buf[n] = 0;
    return true;
}

void Trim(char *s) {
    size_t start = 0, end = std::strlen(s);
    while (start < end && IsSpace(s[start])) ++start;
    while (end > start && IsSpace(s[end - 1])) --end;
    std::memmove(s, s + start, end - start);
    s[end - start] = 0;
}

}  // namespace

BlockIndent::BlockIndent(int level) {
    level = level < 0 ? 0 : (level > 30 ? 30 : level);
    std::memset(text, ' ', level);
    text[level] = 0;
}

int WriteSettingsLine(const LWSaveState *state, const char *format, ...) {
    char line[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    int length = static_cast<int>(std::strlen(line)) + 1;
    state->write(state->writeData, line, length);
    return length;
}

const char *ReadSettingsLine(const LWLoadState *state) {
    for (;;) {
        ++lineCount;
        if (!ReadPhysicalLine(state)) return nullptr;
        Trim(lastLine);
        char first = lastLine[0];
        if (first == 0 || first == '#' || first == '%' || first == '/') continue;
        return lastLine;
    }
}

const char *ReadSettingsLineAsIs(const LWLoadState *state) {
    ++lineCount;
    if (!ReadPhysicalLine(state)) return nullptr;
    Trim(lastLine);
    return lastLine;
}

int SettingsToken(const char *line, char *word, int n) {
    const char *p = line;
    for (int i = 1;; ++i) {
        while (*p && IsSpace(*p)) ++p;
        if (!*p) return 1;
        const char *start = p;
        while (*p && !IsSpace(*p)) ++p;
        if (i == n) {
            size_t len = static_cast<size_t>(p - start);
            if (len > kLineLimit) len = kLineLimit;
            std::memcpy(word, start, len);
            word[len] = 0;
            return 0;
        }
    }
}

int SettingsLineNumber() { return lineCount; }
const char *SettingsLastLine() { return lastLine; }

LWError SaveSettings(PluginInstance *instance, const LWSaveState *state) {
    if (!instance) return "No instance data at save!";
    Panel *panel = instance->panel;
    SynchronisePanel(panel);
    if (panel->record.kind != kKindPanel) return "Invalid Instance Data at Save!";

    int total = WriteSettingsLine(state, "BEGIN MARVEN_LABS_PLUGIN %s", panel->shortName);
    total += WriteSettingsLine(state, "# x86 Vesk %s %s", kCollectionVersion, __DATE__);
    std::time_t now = std::time(nullptr);
    // The calendar form ends in its own line feed; the line keeps it.
    const char *when = std::ctime(&now);
    total += WriteSettingsLine(state, "# Saved %s", when ? when : "\n");
    if (panel->version <= 0.0) return "Version <=0.0!";
    total += WriteSettingsLine(state, "VERSION %g", panel->version);
    for (ControlRecord *r = panel->record.next; r; r = r->next)
        if (r->savedFlag && r->save) total += r->save(r, state, 1);
    total += WriteSettingsLine(state, "END MARVEN_LABS_PLUGIN %s", panel->shortName);
    // Keep the total even: one more line feed, alone.
    if (total % 2) {
        char lineFeed[] = "\n";
        state->write(state->writeData, lineFeed, 1);
    }
    return nullptr;
}

LWError LoadSettings(PluginInstance *instance, const LWLoadState *state, bool checkName) {
    if (!instance) return "No instance data at save!";
    Panel *panel = instance->panel;
    if (panel->record.kind != kKindPanel) return "Invalid Instance Data at Load!";

    lineCount = 1;
    lastLine[0] = 0;
    const char *line = ReadSettingsLine(state);
    if (!line) return "I couldn't load any information from the file.";
    char word[kLineLimit + 1];
    if (SettingsToken(line, word, 1)) return "I couldn't find any data in the first line of the file.";
    if (std::strcmp(word, "BEGIN") != 0) return "This doesn't look like the right type of file.";
    if (SettingsToken(line, word, 2)) return "This doesn't look like a proper save file";
    if (std::strcmp(word, "MARVEN_LABS_PLUGIN") != 0) return "This looks like a broken save file.";
    if (SettingsToken(line, word, 3)) return "This save file is corrupted.";
    if (checkName && std::strcmp(word, panel->shortName) != 0) return "Wrong plugin data on Load!";

    line = ReadSettingsLine(state);
    if (!line) return "Error on load! Couldn't load a line of data! B";
    if (SettingsToken(line, word, 1)) return "Bad Token on load. C";
    bool versionFound = std::strcmp(word, "VERSION") == 0;
    if (versionFound) {
        if (SettingsToken(line, word, 2)) return "Bad Token on load. D";
        (void)std::strtod(word, nullptr);  // read, and not used
        line = ReadSettingsLine(state);
        if (!line) return "Error on load! Couldn't load a line of data! C";
    }

    for (;;) {
        char first[kLineLimit + 1] = "", second[kLineLimit + 1] = "";
        SettingsToken(line, first, 1);
        SettingsToken(line, second, 2);
        if (std::strcmp(first, "END") == 0 && std::strcmp(second, "MARVEN_LABS_PLUGIN") == 0) {
            if (!versionFound) {
                char running[128];
                std::snprintf(running, sizeof running, "You're running version %.2f of the %s plugin.",
                              panel->version, panel->shortName);
                hostServices.messages->warning(running,
                                               "The saved data using this plugin is corrupted, with no version "
                                               "information.");
            }
            return nullptr;
        }
        if (std::strcmp(first, "BEGIN") == 0) {
            if (SettingsToken(line, word, 3)) return "Bad Token on load. G";
            ControlRecord *control = FindControl(panel, word);
            if (control && control->load)
                if (LWError err = control->load(control, state)) return err;
        }
        line = ReadSettingsLine(state);
        if (!line) return "Error on load! Couldn't load a line of data! E";
    }
}
