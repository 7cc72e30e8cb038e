// The collection as the host lists it, written out by hand for the tests to
// check the server table against.
#pragma once

inline const char *const kCollection[33] = {
    "Blink",    "PathAlign", "PhaseLink", "DistLink",  "Wheelie",   "Speedlimit", "Track",      "Parent", "Whip",
    "Limiter",  "Objblur",   "VelAccel",  "Diffuser",  "SpeedLink", "AccelLink",  "ThrottleLink", "Poke", "Dangle",
    "Flexor",   "Diffuse",   "SuperQ",    "Acid",      "HSVBoost",  "EdgeRGB",    "BladeBlur",  "Unveil", "PolyPop",
    "Enviro",   "VFog",      "Rayleigh",  "DropShadow", "Lens",     "Confusion"};

// The class of the n-th plug-in (from 0): the classes change at fixed rows.
inline const char *CollectionClassStem(int plugin) {
    return plugin < 16 ? "ItemMotion" : plugin < 21 ? "Displacement" : plugin < 27 ? "Shader"
                                      : plugin < 30 ? "PixelFilter" : "ImageFilter";
}
