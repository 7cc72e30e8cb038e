// Compile-time pins of the record sizes and offsets the 32-bit host relies on.
// They hold only for the i386 Windows build, where pointers are 4 bytes and the
// compiler aligns doubles in records to 8 (the host's own layout, assumed from
// its compiler's default packing; if that assumption ever changes, it changes here
// and in lwhost.h, nowhere else), and for the 32-bit Linux build that runs that
// product, compiled with -malign-double to the same layout. Other builds check nothing.
#pragma once

#include <cstddef>

#include "hostapi/lwhost.h"

#if (defined(_WIN32) && !defined(_WIN64)) || (defined(__i386__) && defined(VESK_WINDOWS_MODULES))

#define VESK_PIN_SIZE(T, n) static_assert(sizeof(T) == (n), #T " size")
#define VESK_PIN_AT(T, f, n) static_assert(offsetof(T, f) == (n), #T "." #f " offset")

VESK_PIN_SIZE(ModuleDescriptor, 24);
VESK_PIN_AT(ModuleDescriptor, startup, 12);
VESK_PIN_AT(ModuleDescriptor, serverDefs, 20);
VESK_PIN_SIZE(ServerRecord, 12);
VESK_PIN_AT(ServerRecord, activate, 8);

// Handler records: one 4-byte slot each, v3 form.
VESK_PIN_SIZE(ItemMotionHandler, 9 * 4);
VESK_PIN_AT(ItemMotionHandler, descln, 24);
VESK_PIN_SIZE(DisplacementHandler, 11 * 4);
VESK_PIN_AT(DisplacementHandler, descln, 32);
VESK_PIN_SIZE(ShaderHandler, 13 * 4);
VESK_PIN_AT(ShaderHandler, descln, 40);
VESK_PIN_SIZE(PixelFilterHandler, 13 * 4);
VESK_PIN_AT(PixelFilterHandler, descln, 40);
VESK_PIN_SIZE(ImageFilterHandler, 10 * 4);
VESK_PIN_AT(ImageFilterHandler, descln, 28);

VESK_PIN_SIZE(LWLoadState, 12);
VESK_PIN_SIZE(LWSaveState, 12);

VESK_PIN_SIZE(ItemMotionAccess, 24);
VESK_PIN_AT(ItemMotionAccess, time, 8);
VESK_PIN_AT(ItemMotionAccess, getParam, 16);
VESK_PIN_AT(ItemMotionAccess, setParam, 20);

VESK_PIN_SIZE(DisplacementAccess, 48);
VESK_PIN_AT(DisplacementAccess, source, 24);

VESK_PIN_SIZE(ShaderAccess, 400);
VESK_PIN_AT(ShaderAccess, oPos, 8);
VESK_PIN_AT(ShaderAccess, wPos, 32);
VESK_PIN_AT(ShaderAccess, gNorm, 56);
VESK_PIN_AT(ShaderAccess, spotSize, 80);
VESK_PIN_AT(ShaderAccess, raySource, 88);
VESK_PIN_AT(ShaderAccess, rayLength, 112);
VESK_PIN_AT(ShaderAccess, cosine, 120);
VESK_PIN_AT(ShaderAccess, oXfrm, 128);
VESK_PIN_AT(ShaderAccess, wXfrm, 200);
VESK_PIN_AT(ShaderAccess, objID, 272);
VESK_PIN_AT(ShaderAccess, polNum, 276);
VESK_PIN_AT(ShaderAccess, wNorm, 280);
VESK_PIN_AT(ShaderAccess, color, 304);
VESK_PIN_AT(ShaderAccess, luminous, 328);
VESK_PIN_AT(ShaderAccess, transparency, 360);
VESK_PIN_AT(ShaderAccess, roughness, 376);
VESK_PIN_AT(ShaderAccess, illuminate, 384);
VESK_PIN_AT(ShaderAccess, rayShade, 396);

VESK_PIN_SIZE(PixelAccess, 48);
VESK_PIN_AT(PixelAccess, bufVal, 16);
VESK_PIN_AT(PixelAccess, setRGBA, 24);
VESK_PIN_AT(PixelAccess, rayShade, 40);

VESK_PIN_SIZE(Monitor, 16);
VESK_PIN_SIZE(FilterAccess, 56);
VESK_PIN_AT(FilterAccess, start, 16);
VESK_PIN_AT(FilterAccess, end, 24);
VESK_PIN_AT(FilterAccess, bufLine, 32);
VESK_PIN_AT(FilterAccess, monitor, 48);

VESK_PIN_SIZE(MessageFuncs, 12);
VESK_PIN_SIZE(HostDisplayInfo, 8);
VESK_PIN_SIZE(LWSceneInfo, 96);
VESK_PIN_AT(LWSceneInfo, frameStep, 32);
VESK_PIN_AT(LWSceneInfo, framesPerSecond, 40);
VESK_PIN_AT(LWSceneInfo, frameWidth, 48);
VESK_PIN_AT(LWSceneInfo, pixelAspect, 56);
VESK_PIN_AT(LWSceneInfo, limitedRegion, 72);
VESK_PIN_AT(LWSceneInfo, recursionDepth, 88);

// The generic server's local data (version 2), and the older handler records:
// each a prefix of the newest, so the slot a version lacks starts where its
// record ends (an image filter of version 1 ends before its description).
VESK_PIN_SIZE(LayoutGeneric, 8);
VESK_PIN_AT(LayoutGeneric, loadScene, 4);
VESK_PIN_AT(ImageFilterHandler, descln, 7 * 4);
VESK_PIN_AT(ItemMotionHandler, descln, 6 * 4);
VESK_PIN_AT(DisplacementHandler, descln, 8 * 4);
VESK_PIN_AT(ShaderHandler, descln, 10 * 4);
VESK_PIN_SIZE(LWItemInfo, 52);
VESK_PIN_AT(LWItemInfo, param, 36);
VESK_PIN_SIZE(LWObjectInfo, 20);
VESK_PIN_SIZE(LWBoneInfo, 16);
VESK_PIN_SIZE(LWLightInfo, 28);
VESK_PIN_SIZE(LWCameraInfo, 24);
VESK_PIN_SIZE(LWImageList, 52);

#undef VESK_PIN_SIZE
#undef VESK_PIN_AT

#endif
