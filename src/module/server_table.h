// The 33 plug-ins of the collection in server-table order, each a handler row
// followed by its interface row: 66 rows ended by a row without a class.
#pragma once

#include "module/plugin_class.h"

// X(identifier, server name, class, state): the collection in the order the
// host lists it; state is Built for plug-ins whose own source file defines them.
#define VESK_PLUGINS(X)                          \
    X(blink, "Blink", ItemMotion, Built)                  \
    X(pathAlign, "PathAlign", ItemMotion, Built)          \
    X(phaseLink, "PhaseLink", ItemMotion, Built)          \
    X(distLink, "DistLink", ItemMotion, Built)            \
    X(wheelie, "Wheelie", ItemMotion, Built)              \
    X(speedlimit, "Speedlimit", ItemMotion, Built)        \
    X(track, "Track", ItemMotion, Built)                \
    X(parent, "Parent", ItemMotion, Built)                \
    X(whip, "Whip", ItemMotion, Built)                    \
    X(limiter, "Limiter", ItemMotion, Built)              \
    X(objblur, "Objblur", ItemMotion, Built)              \
    X(velAccel, "VelAccel", ItemMotion, Built)            \
    X(diffuser, "Diffuser", ItemMotion, Built)            \
    X(speedLink, "SpeedLink", ItemMotion, Built)          \
    X(accelLink, "AccelLink", ItemMotion, Built)          \
    X(throttleLink, "ThrottleLink", ItemMotion, Built)    \
    X(poke, "Poke", Displacement, Built)                  \
    X(dangle, "Dangle", Displacement, Built)              \
    X(flexor, "Flexor", Displacement, Built)              \
    X(diffuse, "Diffuse", Displacement, Built)            \
    X(superQ, "SuperQ", Displacement, Built)            \
    X(acid, "Acid", Shader, Unbuilt)                      \
    X(hsvBoost, "HSVBoost", Shader, Built)                \
    X(edgeRGB, "EdgeRGB", Shader, Built)                  \
    X(bladeBlur, "BladeBlur", Shader, Built)              \
    X(unveil, "Unveil", Shader, Built)                  \
    X(polyPop, "PolyPop", Shader, Built)                  \
    X(enviro, "Enviro", PixelFilter, Built)               \
    X(vFog, "VFog", PixelFilter, Built)                   \
    X(rayleigh, "Rayleigh", PixelFilter, Built)         \
    X(dropShadow, "DropShadow", ImageFilter, Built)     \
    X(lens, "Lens", ImageFilter, Built)                   \
    X(confusion, "Confusion", ImageFilter, Built)

// Each plug-in's description, defined in its own source file as <identifier>Plugin.
#define VESK_DECLARE_PLUGIN(id, name, cls, state) extern const PluginDef id##Plugin;
VESK_PLUGINS(VESK_DECLARE_PLUGIN)
#undef VESK_DECLARE_PLUGIN
