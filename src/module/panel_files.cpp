#include "module/panel_files.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <new>

#include "controls/settings.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "panelui/panel_window.h"

namespace {

constexpr int kSettingsBuffer = 100000;
constexpr int kSettingsMemory = 1024;
char settingsPath[1024];

struct {
    char text[kSettingsMemory];
    int length;
    char shortName[64];
} settingsMemory;

// ---- the file buttons' text buffer as the host's load and save states ----

struct TextBuffer {
    char *data;
    int length, capacity, position;
};

// Each line's terminating zero becomes a carriage return, and a line feed follows.
void WriteToBuffer(void *data, char *line, int length) {
    TextBuffer *b = static_cast<TextBuffer *>(data);
    for (int i = 0; i < length - 1 && b->length < b->capacity; ++i) b->data[b->length++] = line[i];
    for (char c : {'\r', '\n'})
        if (b->length < b->capacity) b->data[b->length++] = c;
}

// One line per read, ending after a zero, carriage return or line feed. A
// carriage return and the line feed after it end one line, not two: the save
// button writes CR LF, and readers that take blank lines as they come (RADIO)
// must read back what it wrote.
int ReadFromBuffer(void *data, char *out, int room) {
    TextBuffer *b = static_cast<TextBuffer *>(data);
    if (b->position >= b->length || b->data[b->position] == 0) return -1;
    int n = 0;
    while (b->position < b->length) {
        char c = b->data[b->position++];
        if (c == '\r' && b->position < b->length && b->data[b->position] == '\n') ++b->position;
        if (c == 0 || c == '\r' || c == '\n') break;
        if (n < room) out[n++] = c;
    }
    return n;
}

bool AskForFile(Panel *panel, const char *hail, char *fullName) {
    if (!hostServices.fileRequest) return false;
    char name[1024] = "*.*";
    EnablePanelWindow(panel, false);
    int chosen = hostServices.fileRequest(hail, name, settingsPath, fullName, static_cast<int>(sizeof settingsPath));
    EnablePanelWindow(panel, true);
    return chosen > 0;
}

void LoadFromText(Panel *panel, TextBuffer *text) {
    LWLoadState state = {LWIO_SCENE, text, ReadFromBuffer};
    LWError err = LoadSettings(panel->instance, &state, false);
    if (err) ShowLoadError(err);
    panel->pendingUpdate = 1;
    SynchronisePanel(panel);
    if (panel->afterLoad) panel->afterLoad(panel->instance);
    for (ControlRecord *r = &panel->record; r; r = r->next)
        if (r->copyFlag) RedrawControl(r, kDrawAll);
}

bool SaveToText(Panel *panel, TextBuffer *text) {
    LWSaveState state = {LWIO_SCENE, text, WriteToBuffer};
    LWError err = SaveSettings(panel->instance, &state);
    if (err) hostServices.messages->error(err, "");
    return !err;
}

bool MemoryHolds(const Panel *panel) {
    return settingsMemory.length > 0 && std::strcmp(settingsMemory.shortName, panel->shortName) == 0;
}

void SetMemoryIndicator(Panel *panel, bool on) {
    panel->memoryIndicator = on;
    RedrawControl(&panel->record, kDrawAll);
}

}  // namespace

void PanelSaveButton(Panel *panel, bool modifier) {
    if (modifier && MemoryHolds(panel)) {
        settingsMemory.length = 0;
        settingsMemory.shortName[0] = 0;
        SetMemoryIndicator(panel, false);
        return;
    }
    char *data = new (std::nothrow) char[kSettingsBuffer];
    if (!data) {
        hostServices.messages->error("Not enough RAM to save settings", "");
        return;
    }
    TextBuffer text = {data, 0, kSettingsBuffer, 0};
    char fullName[1024] = "";
    if (modifier) {
        if (SaveToText(panel, &text)) {
            int n = text.length < kSettingsMemory ? text.length : kSettingsMemory;
            std::memcpy(settingsMemory.text, data, n);
            settingsMemory.length = n;
            CopyText(settingsMemory.shortName, sizeof settingsMemory.shortName, panel->shortName);
            SetMemoryIndicator(panel, true);
        }
    } else if (AskForFile(panel, "Write plugin data to file", fullName) && SaveToText(panel, &text)) {
        if (std::FILE *file = std::fopen(fullName, "wb")) {
            for (int i = 0; i < text.length; ++i) std::fputc(data[i], file);
            std::fclose(file);
        }
    }
    delete[] data;
}

void PanelLoadButton(Panel *panel, bool modifier) {
    if (modifier && MemoryHolds(panel)) {
        TextBuffer text = {settingsMemory.text, settingsMemory.length, kSettingsMemory, 0};
        LoadFromText(panel, &text);
        return;
    }
    char *data = new (std::nothrow) char[kSettingsBuffer];
    if (!data) {
        hostServices.messages->error("Not enough RAM to load settings", "");
        return;
    }
    char fullName[1024] = "";
    if (AskForFile(panel, "Load plugin data from file", fullName)) {
        int n = 0;
        if (std::FILE *file = std::fopen(fullName, "rb")) {
            for (int c; n < kSettingsBuffer - 1 && (c = std::fgetc(file)) != EOF;) data[n++] = static_cast<char>(c);
            std::fclose(file);
        }
        data[n] = 0;
        TextBuffer text = {data, n, kSettingsBuffer, 0};
        LoadFromText(panel, &text);
    }
    delete[] data;
}

void ForgetSettingsMemory() {
    settingsMemory.length = 0;
    settingsMemory.shortName[0] = 0;
}
