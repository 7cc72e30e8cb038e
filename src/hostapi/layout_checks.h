// Compile-time pins of the host's constants, and of the record sizes and offsets
// the 32-bit host relies on.
// The records' pins hold only for the i386 Windows build, where pointers are 4 bytes and the
// compiler aligns doubles in records to 8 (the host's own layout, assumed from
// its compiler's default packing; if that assumption ever changes, it changes here
// and in lwhost.h, nowhere else), and for the 32-bit Linux build that runs that
// product, compiled with -malign-double to the same layout. Other builds check
// the constants alone.
#pragma once

#include <cstddef>

#include "hostapi/lwhost.h"

// The constants both this project and the host maker's headers declare (88), as
// numbers the maker's headers give; they hold in every build.
#define VESK_PIN_VALUE(name, n) static_assert(static_cast<long long>(name) == (n), #name)
VESK_PIN_VALUE(AFUNC_BADAPP, 4); VESK_PIN_VALUE(AFUNC_BADGLOBAL, 2); VESK_PIN_VALUE(AFUNC_BADLOCAL, 3);
VESK_PIN_VALUE(AFUNC_BADVERSION, 1); VESK_PIN_VALUE(AFUNC_OK, 0);
VESK_PIN_VALUE(GFUSE_ACQUIRE, 1); VESK_PIN_VALUE(GFUSE_RELEASE, 2); VESK_PIN_VALUE(GFUSE_TRANSIENT, 0);
VESK_PIN_VALUE(LWBONEF_ACTIVE, 1); VESK_PIN_VALUE(LWBONEF_LIMITEDRANGE, 2);
VESK_PIN_VALUE(LWBUF_ALPHA, 35); VESK_PIN_VALUE(LWBUF_BLUE, 34); VESK_PIN_VALUE(LWBUF_DEPTH, 12);
VESK_PIN_VALUE(LWBUF_DIFFSHADE, 13); VESK_PIN_VALUE(LWBUF_DIFFUSE, 2); VESK_PIN_VALUE(LWBUF_GEOMETRY, 11);
VESK_PIN_VALUE(LWBUF_GREEN, 33); VESK_PIN_VALUE(LWBUF_LUMINOUS, 1); VESK_PIN_VALUE(LWBUF_MIRROR, 4);
VESK_PIN_VALUE(LWBUF_RAW_BLUE, 8); VESK_PIN_VALUE(LWBUF_RAW_GREEN, 7); VESK_PIN_VALUE(LWBUF_RAW_RED, 6);
VESK_PIN_VALUE(LWBUF_RED, 32); VESK_PIN_VALUE(LWBUF_SHADING, 9); VESK_PIN_VALUE(LWBUF_SHADOW, 10);
VESK_PIN_VALUE(LWBUF_SPECIAL, 0); VESK_PIN_VALUE(LWBUF_SPECSHADE, 14); VESK_PIN_VALUE(LWBUF_SPECULAR, 3);
VESK_PIN_VALUE(LWBUF_TRANS, 5);
VESK_PIN_VALUE(LWDMF_BEFOREBONES, 2); VESK_PIN_VALUE(LWDMF_WORLD, 1);
VESK_PIN_VALUE(LWIO_OBJECT, 0); VESK_PIN_VALUE(LWIO_SCENE, 1);
VESK_PIN_VALUE(LWIP_FORWARD, 4); VESK_PIN_VALUE(LWIP_PIVOT, 7); VESK_PIN_VALUE(LWIP_POSITION, 1);
VESK_PIN_VALUE(LWIP_RIGHT, 2); VESK_PIN_VALUE(LWIP_ROTATION, 5); VESK_PIN_VALUE(LWIP_SCALING, 6);
VESK_PIN_VALUE(LWIP_UP, 3); VESK_PIN_VALUE(LWIP_W_FORWARD, 11); VESK_PIN_VALUE(LWIP_W_POSITION, 8);
VESK_PIN_VALUE(LWIP_W_RIGHT, 9); VESK_PIN_VALUE(LWIP_W_UP, 10);
static_assert(LWITEM_NULL == nullptr, "LWITEM_NULL");
VESK_PIN_VALUE(LWI_BONE, 3); VESK_PIN_VALUE(LWI_CAMERA, 2); VESK_PIN_VALUE(LWI_LIGHT, 1);
VESK_PIN_VALUE(LWI_OBJECT, 0);
VESK_PIN_VALUE(LWLFL_LIMITED_RANGE, 1); VESK_PIN_VALUE(LWLFL_NO_DIFFUSE, 2); VESK_PIN_VALUE(LWLFL_NO_SPECULAR, 4);
VESK_PIN_VALUE(LWLIGHT_AREA, 4); VESK_PIN_VALUE(LWLIGHT_DISTANT, 0); VESK_PIN_VALUE(LWLIGHT_LINEAR, 3);
VESK_PIN_VALUE(LWLIGHT_POINT, 1); VESK_PIN_VALUE(LWLIGHT_SPOT, 2);
VESK_PIN_VALUE(LWLSHAD_MAP, 2); VESK_PIN_VALUE(LWLSHAD_OFF, 0); VESK_PIN_VALUE(LWLSHAD_RAYTRACE, 1);
VESK_PIN_VALUE(LWOSHAD_CAST, 2); VESK_PIN_VALUE(LWOSHAD_RECEIVE, 4); VESK_PIN_VALUE(LWOSHAD_SELF, 1);
VESK_PIN_VALUE(LWPFF_RAYTRACE, 2147483648);
VESK_PIN_VALUE(LWROPT_DEPTHOFFIELD, 64); VESK_PIN_VALUE(LWROPT_EVENFIELDS, 16); VESK_PIN_VALUE(LWROPT_FIELDS, 8);
VESK_PIN_VALUE(LWROPT_LIMITEDREGION, 128); VESK_PIN_VALUE(LWROPT_MOTIONBLUR, 32);
VESK_PIN_VALUE(LWROPT_REFLECTTRACE, 2); VESK_PIN_VALUE(LWROPT_REFRACTTRACE, 4);
VESK_PIN_VALUE(LWROPT_SHADOWTRACE, 1);
VESK_PIN_VALUE(LWRTYPE_QUICK, 1); VESK_PIN_VALUE(LWRTYPE_REALISTIC, 2); VESK_PIN_VALUE(LWRTYPE_WIRE, 0);
VESK_PIN_VALUE(LWSHF_COLOR, 2); VESK_PIN_VALUE(LWSHF_DIFFUSE, 8); VESK_PIN_VALUE(LWSHF_ETA, 128);
VESK_PIN_VALUE(LWSHF_LUMINOUS, 4); VESK_PIN_VALUE(LWSHF_MIRROR, 32); VESK_PIN_VALUE(LWSHF_NORMAL, 1);
VESK_PIN_VALUE(LWSHF_RAYTRACE, 1024); VESK_PIN_VALUE(LWSHF_ROUGH, 256); VESK_PIN_VALUE(LWSHF_SPECULAR, 16);
VESK_PIN_VALUE(LWSHF_TRANSP, 64);
VESK_PIN_VALUE(LWVECF_0, 1); VESK_PIN_VALUE(LWVECF_1, 2); VESK_PIN_VALUE(LWVECF_2, 4);
#undef VESK_PIN_VALUE

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
