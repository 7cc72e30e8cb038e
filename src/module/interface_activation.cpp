// The shared interface activation: every interface row of the server table
// leads here with the instance to edit as local.
#include "module/activation.h"
#include "module/host_services.h"

namespace {

constexpr int kModuleUnbound = 9237;
constexpr int kNoInstance = 3477;

}  // namespace

extern "C" int ActivateInterface(long /*version*/, GlobalFunc * /*global*/, void *local, void * /*serverData*/) {
    if (!hostServices.global) return kModuleUnbound;
    if (!local) {
        hostServices.messages->info("No local data when starting up interface", "ARRRGGH");
        return kNoInstance;
    }
    // No plug-in can create an instance yet, so no panel can be opened for one.
    return AFUNC_OK;
}
