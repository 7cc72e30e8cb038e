#include "module/plugin_class.h"

namespace {

constexpr const char *kMotionCreateFailure = "Error Initializing plugin.. restart LightWave or reboot?";
constexpr const char *kGuiCreateFailure = "Error Starting GUI.. restart LightWave or reboot?";

// Version-2 slot counts: the five common slots plus the class's own, up to and
// including the description line; version 3 appends items used and id change.
// Where the version-2 record ends is known for displacement and shader records;
// for item motion, pixel and image filters it is inferred to end the same way,
// after the description line. Change it here if a host shows otherwise.
constexpr PluginClassInfo kClasses[] = {
    {"ItemMotionHandler", "ItemMotionInterface", 7, kMotionCreateFailure},
    {"DisplacementHandler", "DisplacementInterface", 9, kGuiCreateFailure},
    {"ShaderHandler", "ShaderInterface", 11, kGuiCreateFailure},
    {"PixelFilterHandler", "PixelFilterInterface", 11, kGuiCreateFailure},
    {"ImageFilterHandler", "ImageFilterInterface", 8, kGuiCreateFailure},
};

}  // namespace

const PluginClassInfo &ClassInfo(PluginClass cls) { return kClasses[static_cast<int>(cls)]; }

size_t HandlerRecordBytes(PluginClass cls, long version) {
    unsigned slots = ClassInfo(cls).version2Slots + (version >= 3 ? 2 : 0);
    return slots * sizeof(void (*)());
}
