// vesk describe: every plug-in instance of a scene with its description line.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/command_line.h"

namespace {

int Describe(const std::vector<std::string> &args) {
    if (args.size() != 1) return Fail("describe: give one scene file");
    Session s;
    int status = 0;
    if (!LoadScene(s, args[0], &status)) return status;
    int count = 0;
    EachItem(s.host.scene, [&](Item &item) {
        auto show = [&](const std::string &server, const char *line) {
            std::printf("%s: %s: %s\n", s.host.scene.ShownName(item).c_str(), server.c_str(), line);
            ++count;
        };
        for (const MotionPluginUse &use : item.motionPlugins) show(use.server, use.handler->descln(use.instance));
        for (const DisplacementPluginUse &use : item.displacementPlugins) show(use.server, use.handler->descln(use.instance));
    });
    for (const FilterPluginUse &use : s.host.scene.filterPlugins) {
        std::printf("Effects: %s: %s\n", use.server.c_str(),
                    use.pixel ? use.pixel->descln(use.instance) : use.image->descln(use.instance));
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
    "\n"
    "Loads a LightWave 5 scene file (.lws) and prints each item-motion and\n"
    "displacement plug-in instance as ITEM: PLUGIN: description line, then the\n"
    "pixel and image filters of its effects as Effects: PLUGIN: description line.\n",
    Describe};
