// The 33 plug-ins of the collection in server-table order, each a handler row
// followed by its interface row: 66 rows ended by a row without a class.
#pragma once

#include "module/plugin_class.h"

// X(identifier, server name, class): the collection in the order the host
// lists it; each plug-in's own source file defines its PluginDef.
#define VESK_PLUGINS(X)                          \
    X(blink, "Blink", ItemMotion)                         \
    X(pathAlign, "PathAlign", ItemMotion)                 \
    X(phaseLink, "PhaseLink", ItemMotion)                 \
    X(distLink, "DistLink", ItemMotion)                   \
    X(wheelie, "Wheelie", ItemMotion)                     \
    X(speedlimit, "Speedlimit", ItemMotion)               \
    X(track, "Track", ItemMotion)                       \
    X(parent, "Parent", ItemMotion)                       \
    X(whip, "Whip", ItemMotion)                           \
    X(limiter, "Limiter", ItemMotion)                     \
    X(objblur, "Objblur", ItemMotion)                     \
    X(velAccel, "VelAccel", ItemMotion)                   \
    X(diffuser, "Diffuser", ItemMotion)                   \
    X(speedLink, "SpeedLink", ItemMotion)                 \
    X(accelLink, "AccelLink", ItemMotion)                 \
    X(throttleLink, "ThrottleLink", ItemMotion)           \
    X(poke, "Poke", Displacement)                         \
    X(dangle, "Dangle", Displacement)                     \
    X(flexor, "Flexor", Displacement)                     \
    X(diffuse, "Diffuse", Displacement)                   \
    X(superQ, "SuperQ", Displacement)                   \
    X(acid, "Acid", Shader)                               \
    X(hsvBoost, "HSVBoost", Shader)                       \
    X(edgeRGB, "EdgeRGB", Shader)                         \
    X(bladeBlur, "BladeBlur", Shader)                     \
    X(unveil, "Unveil", Shader)                         \
    X(polyPop, "PolyPop", Shader)                         \
    X(enviro, "Enviro", PixelFilter)                      \
    X(vFog, "VFog", PixelFilter)                          \
    X(rayleigh, "Rayleigh", PixelFilter)                \
    X(dropShadow, "DropShadow", ImageFilter)            \
    X(lens, "Lens", ImageFilter)                          \
    X(confusion, "Confusion", ImageFilter)

// Each plug-in's description, defined in its own source file as <identifier>Plugin.
#define VESK_DECLARE_PLUGIN(id, name, cls) extern const PluginDef id##Plugin;
VESK_PLUGINS(VESK_DECLARE_PLUGIN)
#undef VESK_DECLARE_PLUGIN
