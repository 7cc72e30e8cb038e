// The host's side of a settings save or load: a text in memory, written and
// read in line mode (one line per write; reads return up to len characters of
// the current line, -1 at the end) or as a byte stream.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "hostapi/lwhost.h"

struct TextStore {
    int mode = LWIO_SCENE;
    std::vector<std::string> lines;  // line mode
    std::string bytes;               // byte stream
    int written = 0;                 // every length handed to write
    size_t next = 0, pos = 0;

    static void Write(void *data, char *buf, int len) {
        TextStore *s = static_cast<TextStore *>(data);
        s->written += len;
        if (s->mode == LWIO_SCENE)
            s->lines.push_back(std::string(buf, strnlen(buf, len)));
        else
            s->bytes.append(buf, len);
    }
    static int Read(void *data, char *buf, int len) {
        TextStore *s = static_cast<TextStore *>(data);
        if (s->mode == LWIO_OBJECT) {
            int n = 0;
            while (n < len && s->pos < s->bytes.size()) buf[n++] = s->bytes[s->pos++];
            return n;
        }
        if (s->next >= s->lines.size()) return -1;
        const std::string &line = s->lines[s->next];
        int n = static_cast<int>(std::min<size_t>(len, line.size() - s->pos));
        std::memcpy(buf, line.data() + s->pos, n);
        s->pos += n;
        if (s->pos >= line.size()) s->next++, s->pos = 0;
        return n;
    }
    LWSaveState SaveState() { return {mode, this, Write}; }
    LWLoadState LoadState() {
        next = pos = 0;
        return {mode, this, Read};
    }
    // What it holds, the saved-date line (the minute it was written) left out.
    std::string Undated() const {
        std::string text = bytes;
        for (const std::string &line : lines) text += line + "\n";
        for (size_t at; (at = text.find("# Saved ")) != std::string::npos;) text.erase(at, text.find('\n', at) - at + 1);
        return text;
    }
    static TextStore Text(const std::string &text) {
        TextStore s;
        size_t start = 0;
        for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
            s.lines.push_back(text.substr(start, end - start));
        if (start < text.size()) s.lines.push_back(text.substr(start));
        return s;
    }
};
