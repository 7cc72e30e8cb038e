// The vesk command: the module's plug-ins run by the embedded host, without the
// host program.
#include <cstdio>
#include <cstring>
#include <string>

#include "host/embedded_host.h"
#include "host/module_loader.h"

extern "C" ModuleDescriptor _mod_descrip;

namespace {

const char *kUsage =
    "usage: vesk COMMAND [ARGS]\n"
    "\n"
    "The Vesk Collection's plug-ins, run by the embedded host.\n"
    "\n"
    "commands:\n"
    "  list    the server table the module offers\n"
    "\n"
    "vesk COMMAND --help tells more of one command.\n";

const char *kListUsage =
    "usage: vesk list\n"
    "\n"
    "Prints the module's server table as the host reads it: one row per server,\n"
    "its position, class and name.\n";

bool WantsHelp(int argc, char **argv) {
    for (int i = 2; i < argc; ++i)
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) return true;
    return false;
}

int List(int argc, char **argv) {
    if (WantsHelp(argc, argv)) {
        std::fputs(kListUsage, stdout);
        return 0;
    }
    if (argc > 2) {
        std::fprintf(stderr, "vesk list: unexpected argument '%s'\n", argv[2]);
        return 2;
    }
    EmbeddedHost host;
    LoadedModule module;
    std::string error;
    if (!AttachModule(&_mod_descrip, &module, &error)) {
        std::fprintf(stderr, "vesk: %s\n", error.c_str());
        return 1;
    }
    const ModuleDescriptor &d = *module.descriptor;
    std::printf("module vesk.uuu: sync 0x%08lX, version %lu, machine 0x%lX\n", static_cast<unsigned long>(d.sysSync),
                static_cast<unsigned long>(d.sysVersion), static_cast<unsigned long>(d.sysMachine));
    int row = 0;
    for (const ServerRecord *server : ServerRows(module))
        std::printf("%2d  %-22s %s\n", ++row, server->className, server->name);
    std::printf("%d servers\n", row);
    UnloadModule(&module);
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        std::fputs(kUsage, argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    if (std::strcmp(argv[1], "list") == 0) return List(argc, argv);
    std::fprintf(stderr, "vesk: unknown command '%s'\n\n%s", argv[1], kUsage);
    return 2;
}
