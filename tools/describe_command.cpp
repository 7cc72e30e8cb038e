// vesk describe: every plug-in instance of a scene with its description line.
#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <cctype>
#include <cstring>

#include "host/scene_file.h"
#include "tools/command_line.h"

namespace {

bool IsMotionFile(const std::string &path) {
    std::string end = path.size() >= 4 ? path.substr(path.size() - 4) : "";
    for (char &c : end) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return end == ".mot";
}

// An exported or hand-made motion file: its keys and each channel's range, so
// a bake can be checked before it goes back into a scene.
int DescribeMotion(const std::string &path) {
    std::vector<Channel> nine;
    std::string error;
    if (!ReadMotionFile(path, &nine, &error)) return FailCommand(error);
    const std::vector<ChannelKey> &keys = nine[0].keys;
    std::printf("%s: %zu key%s, frames %g to %g\n", path.c_str(), keys.size(), keys.size() == 1 ? "" : "s",
                keys.front().frame, keys.back().frame);
    static const char *const kNames[9] = {"X", "Y", "Z", "H", "P", "B", "SX", "SY", "SZ"};
    for (int i = 0; i < 9; ++i) {
        double low = nine[i].keys[0].value, high = low;
        for (const ChannelKey &k : nine[i].keys) low = std::min(low, k.value), high = std::max(high, k.value);
        std::printf("%-2s %g to %g\n", kNames[i], low, high);
    }
    return 0;
}

// An instance's description line; a version-1 handler has none, and is
// described by its server's name, as the host lists it.
template <typename Use, typename Handler>
const char *Description(const Use &use, const Handler *handler) {
    const char *line = use.version >= 2 && handler->descln ? handler->descln(use.instance) : nullptr;
    return line ? line : use.server.c_str();
}

int Describe(const std::vector<std::string> &args) {
    if (args.size() != 1) return FailCommand("describe: give one scene file");
    if (IsMotionFile(args[0])) return DescribeMotion(args[0]);
    Session s;
    int status = 0;
    if (!LoadScene(s, args[0], &status)) return status;
    int count = 0;
    EachItem(s.host.scene, [&](Item &item) {
        auto show = [&](const std::string &server, const char *line) {
            std::printf("%s: %s: %s\n", s.host.scene.ShownName(item).c_str(), server.c_str(), line);
            ++count;
        };
        for (const MotionPluginUse &use : item.motionPlugins) show(use.server, Description(use, use.handler));
        for (const DisplacementPluginUse &use : item.displacementPlugins) show(use.server, Description(use, use.handler));
    });
    for (const FilterPluginUse &use : s.host.scene.filterPlugins) {
        std::printf("Effects: %s: %s\n", use.server.c_str(),
                    use.pixel ? Description(use, use.pixel) : Description(use, use.image));
        ++count;
    }
    s.PrintMessages();
    std::printf("%d plug-in instance%s\n", count, count == 1 ? "" : "s");
    return 0;
}

}  // namespace

extern const Command describeCommand = {
    "describe", "every plug-in instance of a scene with its description line",
    "usage: vesk describe SCENE\n"
    "       vesk describe MOTION.mot\n"
    "\n"
    "Loads a LightWave 5 scene file (.lws) and prints each item-motion and\n"
    "displacement plug-in instance as ITEM: PLUGIN: description line, then the\n"
    "pixel and image filters of its effects as Effects: PLUGIN: description line.\n"
    "Given a motion file (.mot, as bake and Export Motion write), prints its key\n"
    "count, its first and last frames and each channel's lowest and highest value.\n",
    Describe};
