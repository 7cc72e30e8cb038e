// The module's one export: the descriptor the host reads when it loads vesk.p,
// and the server table it points at.
#include "hostapi/layout_checks.h"
#include "hostapi/lwhost.h"
#include "module/activation.h"
#include "module/server_table.h"

namespace {

// Handler class names per class, as string literals for the static table.
#define VESK_HANDLER_ItemMotion "ItemMotionHandler"
#define VESK_HANDLER_Displacement "DisplacementHandler"
#define VESK_HANDLER_Shader "ShaderHandler"
#define VESK_HANDLER_PixelFilter "PixelFilterHandler"
#define VESK_HANDLER_ImageFilter "ImageFilterHandler"
#define VESK_INTERFACE_ItemMotion "ItemMotionInterface"
#define VESK_INTERFACE_Displacement "DisplacementInterface"
#define VESK_INTERFACE_Shader "ShaderInterface"
#define VESK_INTERFACE_PixelFilter "PixelFilterInterface"
#define VESK_INTERFACE_ImageFilter "ImageFilterInterface"

#define VESK_SERVER_ROWS(id, name, cls)                                 \
    {VESK_HANDLER_##cls, name, &ActivateHandler<&id##Plugin>},            \
        {VESK_INTERFACE_##cls, name, &ActivateInterface},

ServerRecord serverTable[] = {VESK_PLUGINS(VESK_SERVER_ROWS){nullptr, nullptr, nullptr}};

static_assert(sizeof serverTable / sizeof serverTable[0] == 66 + 1, "33 handler and interface pairs");

// The value handed back to every activation; nothing in the module reads it.
void *Startup() { return reinterpret_cast<void *>(4); }

void Shutdown(void *) {}

}  // namespace

extern "C" {

#ifdef _WIN32
__declspec(dllexport)
#endif
ModuleDescriptor _mod_descrip = {MOD_SYSSYNC, MOD_SYSVER, MOD_MACHINE_X86, Startup, Shutdown, serverTable};
}
