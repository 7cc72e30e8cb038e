#include "host/export/plain_key_scene.h"

#include <cstdio>
#include <map>
#include <sstream>
#include <vector>

#include "host/embedded_host.h"

namespace {

// Enough digits that the keys give back the motion the plug-ins made; a
// negative zero is written as the zero it is.
std::string Value(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", v == 0 ? 0.0 : v);
    return text;
}

// The keyed block that replaces an item's motion: nine channels, a linear key
// a frame.
std::vector<std::string> KeyLines(EmbeddedHost &host, const Item &item, int first, int last) {
    const double fps = host.scene.framesPerSecond;
    std::vector<std::string> lines = {"  9", "  " + std::to_string(last - first + 1)};
    for (int frame = first; frame <= last; ++frame) {
        double m[9];
        host.FinalMotion(item, frame / fps, m);
        std::string values = " ";
        for (double v : m) values += " " + Value(v);
        lines.push_back(values);
        lines.push_back("  " + std::to_string(frame) + " 1 0 0 0");
    }
    return lines;
}

}  // namespace

bool PlainKeySceneText(EmbeddedHost &host, const std::string &text, const SceneLayout &layout, std::string *out,
                       std::string *error) {
    // The file's own line end, so that the lines kept stay byte for byte.
    const std::string end = text.find("\r\n") != std::string::npos ? "\r\n" : "\n";
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    // What each line becomes: dropped, or a keyed block in place of a motion.
    std::vector<bool> dropped(lines.size() + 1, false);
    std::map<int, const Item *> motionAt;
    std::map<const Item *, bool> baked;
    for (const SceneLayout::Span &p : layout.motionPlugins) {
        for (int l = p.first; l <= p.last; ++l) dropped[l] = true;
        baked[p.item] = false;
    }
    for (const SceneLayout::Span &m : layout.motions) {
        auto it = baked.find(m.item);
        if (it == baked.end()) continue;
        it->second = true;
        for (int l = m.first; l <= m.last; ++l) dropped[l] = true;
        motionAt[m.first] = m.item;
    }
    for (const auto &[item, hasMotion] : baked)
        if (!hasMotion) return *error = item->name + " has motion plug-ins but no keyed motion in the file", false;

    const Scene &s = host.scene;
    const int first = s.firstFrame < 0 ? s.firstFrame : 0, last = s.lastFrame > first ? s.lastFrame : first;
    EvaluationPass pass(host);  // each motion worked out once, whoever asks
    std::string result;
    for (size_t i = 0; i < lines.size(); ++i) {
        const int number = static_cast<int>(i) + 1;
        if (auto m = motionAt.find(number); m != motionAt.end())
            for (const std::string &line : KeyLines(host, *m->second, first, last)) result += line + end;
        if (!dropped[number]) result += lines[i] + end;
    }
    *out = std::move(result);
    return true;
}
