// vesk blur: an item's motion at each motion-blur pass of a frame.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/command_line.h"

namespace {

int Blur(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"--frame", "--no-plugins"}, &positional, &v, &error, {"--no-plugins"})) return FailCommand("blur: " + error);
    if (positional.size() != 2) return FailCommand("blur: give a scene file and an item name");
    Session s;
    int status = 0;
    Item *item = LoadSceneItem(s, positional[0], positional[1], &status);
    if (!item) return status;
    if (!v[1].empty()) s.host.RemovePlugins(*item);
    Scene &scene = s.host.scene;
    int frame = scene.firstFrame;
    if (!v[0].empty() && !FrameNumber(v[0], &frame)) return FailCommand("blur: --frame is a frame from 0 to " + std::to_string(kMostFrames));
    std::vector<double> times = s.host.BlurPassTimes(frame);
    EvaluationPass pass(s.host);
    std::vector<std::array<double, 9>> motion(times.size());
    for (size_t i = 0; i < times.size(); ++i) s.host.MotionInPass(*item, frame, times[i], motion[i].data());
    if (s.host.MotionOverrun(&error)) return FailCommand(error);
    std::printf("%s at frame %d: %zu pass%s%s\n", positional[1].c_str(), frame, times.size(), times.size() == 1 ? "" : "es",
                times.size() == 1 ? " (no motion blur)" : "");
    std::printf("%10s %12s %12s %12s %10s %10s %10s %8s %8s %8s\n", "frame", "X", "Y", "Z", "H", "P", "B", "SX", "SY",
                "SZ");
    for (size_t i = 0; i < times.size(); ++i) {
        const auto &m = motion[i];
        std::printf("%10.4f %12.6g %12.6g %12.6g %10.4f %10.4f %10.4f %8.4g %8.4g %8.4g\n", times[i] * scene.framesPerSecond,
                    m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8]);
    }
    s.PrintMessages();
    return 0;
}

}  // namespace

extern const Command blurCommand = {
    "blur", "an item's motion at each motion-blur pass of a frame",
    "usage: vesk blur SCENE ITEM [--frame N] [--no-plugins]\n"
    "\n"
    "Prints the item's final motion (position, heading, pitch and bank in degrees,\n"
    "scale) at every pass the host samples while rendering frame N with motion\n"
    "blur (default the scene's first frame): as many passes as the antialiasing\n"
    "level gives (5, 9 or 17), spread from N minus the camera's blur length to N.\n"
    "Without motion blur, the one pass at N. Item-motion plug-ins such as Objblur\n"
    "see the frame N with each pass's time, as when rendering. With --no-plugins,\n"
    "the item's own motion plug-ins are left out.\n",
    Blur};
