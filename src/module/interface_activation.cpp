// The shared interface activation: every interface row of the server table
// leads here with the instance to edit as local.
#include "module/activation.h"
#include "services/host_services.h"
#include "controls/plugin_instance.h"
#include "panelui/panel_window.h"

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
    Panel *panel = static_cast<PluginInstance *>(local)->panel;
    SynchronisePanel(panel);
    return RunPanelModal(panel) < 1 ? AFUNC_OK : 999;
}
