// Windows check: loads vesk.p from its file as the host does (LoadLibrary,
// "_mod_descrip"), checks the descriptor and the 66 server rows, and activates
// every handler with host versions 1 to 4 against the embedded host's services,
// comparing each code, the message shown and the slots filled with what the
// host expects. Prints one line per failure and a closing count.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/embedded_host.h"
#include "host/module_loader.h"
#include "../activation_sweep.h"

namespace {

int passed = 0, failed = 0;

void Check(bool ok, const std::string &what) {
    if (ok) {
        ++passed;
    } else {
        ++failed;
        std::printf("FAIL: %s\n", what.c_str());
    }
}

bool Load(LoadedModule *module, const char *path) {
    std::string error;
    bool ok = LoadModuleFile(path, module, &error);
    Check(ok, std::string("load ") + path + ": " + error);
    return ok;
}

// A fresh load binds nothing until a handler activation of version 2 or 3 finds
// every service; a missing one names itself by its code and the next activation
// binds once it is back.
void CheckBinding(const char *path, EmbeddedHost &host) {
    LoadedModule module;
    if (!Load(&module, path)) return;
    const ServerRecord *track = FindServer(module, "ShaderHandler", "Acid");
    const ServerRecord *options = FindServer(module, "ShaderInterface", "Acid");
    Check(track && options, "Acid rows found");
    if (track && options) {
        std::vector<void *> record(HandlerSlotCount(track->className, 3));
        ActivateServer(module, *track, 1, EmbeddedHost::Lookup(), record.data());
        int code = ActivateServer(module, *options, 3, EmbeddedHost::Lookup(), &host);
        Check(code == 9237, "interface before binding: 9237, got " + std::to_string(code));
        host.Withhold(LWSERVICE_BONE_INFO);
        code = ActivateServer(module, *track, 3, EmbeddedHost::Lookup(), record.data());
        Check(code == 12, "without bone info: 12, got " + std::to_string(code));
        host.Offer(LWSERVICE_BONE_INFO);
        code = ActivateServer(module, *track, 3, EmbeddedHost::Lookup(), record.data());
        Check(code == 0, "bone info back: 0, got " + std::to_string(code));
        LWError err = nullptr;
        auto *acid = reinterpret_cast<ShaderHandler *>(record.data());
        LWInstance made = acid->create(&err);
        Check(made != nullptr && err == nullptr, std::string("Acid creates an instance once bound") + (err ? std::string(": ") + err : ""));
#ifdef VESK_WINDOWS_MODULES
        // The 32-bit Linux host has no screen: the panel refuses to open with
        // the module's own message, and the activation answers 999.
        if (made) {
            host.messages.clear();
            int opened = ActivateServer(module, *options, 3, EmbeddedHost::Lookup(), made);
            std::string shown = host.messages.empty() ? "" : host.messages[0].line1;
            std::printf("interface without a screen: code %d, \"%s\"\n", opened, shown.c_str());
            Check(opened == 999 && host.messages.size() == 1 &&
                      shown.rfind("This plugin's interface requires a screen resolution of at least ", 0) == 0,
                  "Acid's panel without a screen: code " + std::to_string(opened) + ", \"" + shown + "\"");
        }
#endif
        if (made) acid->destroy(made);
    }
    UnloadModule(&module);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: wincheck PATH\\vesk.p\n");
        return 2;
    }
    EmbeddedHost host;
    LoadedModule module;
    if (Load(&module, argv[1])) {
        const ModuleDescriptor &d = *module.descriptor;
        Check(d.sysSync == 0x04121994 && d.sysVersion == 2 && d.sysMachine == 0x300, "descriptor numbers");
        Check(module.serverData == reinterpret_cast<void *>(4), "startup returns 4");
        int row = 0;
        for (const ServerRecord *server : ServerRows(module))
            std::printf("%2d  %-22s %s\n", ++row, server->className, server->name);
        SweepActivations(module, host, Check);
        UnloadModule(&module);
    }
    CheckBinding(argv[1], host);
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed ? 1 : 0;
}
