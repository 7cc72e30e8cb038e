#include "module/activation.h"

#include <cstring>

#include "services/host_services.h"

namespace {

constexpr int kHostTooOld = 550;

}  // namespace

int ActivatePluginHandler(const PluginDef &plugin, long version, GlobalFunc *global, void *local) {
    if (version > 3) return AFUNC_BADVERSION;
    if (version < 2) {
        // A version-1 host cannot run these plug-ins; say so if it can show it.
        // Without a lookup there is nothing to show it through.
        const MessageFuncs *messages =
            global ? static_cast<const MessageFuncs *>(global(LWSERVICE_MESSAGES, GFUSE_TRANSIENT)) : nullptr;
        if (messages) messages->error("This plugin requires LW version 5.0 or later", "");
        return kHostTooOld;
    }
    if (int code = BindHostServices(global, version)) return code;
    // Not a case the host produces; refused rather than written through.
    if (!local) return AFUNC_BADLOCAL;

    // The host allocated only as many slots as the offered version has: a
    // version-2 record ends before items used and item identifier change.
    std::memcpy(local, plugin.handler, HandlerRecordBytes(plugin.cls, version));
    return AFUNC_OK;
}
