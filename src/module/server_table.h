// The 33 plug-ins of the collection in server-table order, each a handler row
// followed by its interface row: 66 rows ended by a row without a class.
#pragma once

#include "module/plugin_class.h"

// X(identifier, server name, class, state): the collection in the order the
// host lists it; state is Built for plug-ins whose own source file defines them.
#define VESK_PLUGINS(X)                          \
    X(blink, "Blink", ItemMotion, Unbuilt)                \
    X(pathAlign, "PathAlign", ItemMotion, Unbuilt)        \
    X(phaseLink, "PhaseLink", ItemMotion, Unbuilt)        \
    X(distLink, "DistLink", ItemMotion, Unbuilt)          \
    X(wheelie, "Wheelie", ItemMotion, Unbuilt)            \
    X(speedlimit, "Speedlimit", ItemMotion, Unbuilt)      \
    X(track, "Track", ItemMotion, Built)                \
    X(parent, "Parent", ItemMotion, Unbuilt)              \
    X(whip, "Whip", ItemMotion, Unbuilt)                  \
    X(limiter, "Limiter", ItemMotion, Unbuilt)            \
    X(objblur, "Objblur", ItemMotion, Unbuilt)            \
    X(velAccel, "VelAccel", ItemMotion, Unbuilt)          \
    X(diffuser, "Diffuser", ItemMotion, Unbuilt)          \
    X(speedLink, "SpeedLink", ItemMotion, Unbuilt)        \
    X(accelLink, "AccelLink", ItemMotion, Unbuilt)        \
    X(throttleLink, "ThrottleLink", ItemMotion, Unbuilt)  \
    X(poke, "Poke", Displacement, Unbuilt)                \
    X(dangle, "Dangle", Displacement, Unbuilt)            \
    X(flexor, "Flexor", Displacement, Unbuilt)            \
    X(diffuse, "Diffuse", Displacement, Unbuilt)          \
    X(superQ, "SuperQ", Displacement, Built)            \
    X(acid, "Acid", Shader, Unbuilt)                      \
    X(hsvBoost, "HSVBoost", Shader, Unbuilt)              \
    X(edgeRGB, "EdgeRGB", Shader, Unbuilt)                \
    X(bladeBlur, "BladeBlur", Shader, Unbuilt)            \
    X(unveil, "Unveil", Shader, Built)                  \
    X(polyPop, "PolyPop", Shader, Unbuilt)                \
    X(enviro, "Enviro", PixelFilter, Unbuilt)             \
    X(vFog, "VFog", PixelFilter, Unbuilt)                 \
    X(rayleigh, "Rayleigh", PixelFilter, Built)         \
    X(dropShadow, "DropShadow", ImageFilter, Built)     \
    X(lens, "Lens", ImageFilter, Unbuilt)                 \
    X(confusion, "Confusion", ImageFilter, Unbuilt)

// Each plug-in's description, defined in its own source file as <identifier>Plugin.
#define VESK_DECLARE_PLUGIN(id, name, cls, state) extern const PluginDef id##Plugin;
VESK_PLUGINS(VESK_DECLARE_PLUGIN)
#undef VESK_DECLARE_PLUGIN
