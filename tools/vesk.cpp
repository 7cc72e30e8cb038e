// The vesk command: the module's plug-ins run by the embedded host, without the
// host program.
#include <cstdio>
#include <cstring>
#include <string>

#include "host/embedded_host.h"
#include "host/module_loader.h"
#include "host/pe_image.h"

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
    "usage: vesk list [--module FILE]\n"
    "\n"
    "Prints the module's server table as the host reads it: one row per server,\n"
    "its position, class and name.\n"
    "\n"
    "  --module FILE  read the table out of a built 32-bit vesk.p without running\n"
    "                 it, with the module's internal name, exports and imported DLLs;\n"
    "                 without it, the module built into this program is loaded and\n"
    "                 started by the embedded host\n";

bool WantsHelp(int argc, char **argv) {
    for (int i = 2; i < argc; ++i)
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) return true;
    return false;
}

void PrintRow(int row, const char *className, const char *name) { std::printf("%2d  %-22s %s\n", row, className, name); }

int ListFile(const char *path) {
    PeModuleFacts facts;
    std::string error;
    if (!ReadPeModule(path, &facts, &error)) {
        std::fprintf(stderr, "vesk: %s\n", error.c_str());
        return 1;
    }
    if (!facts.hasDescriptor) {
        std::fprintf(stderr, "vesk: %s exports no 32-bit _mod_descrip\n", path);
        return 1;
    }
    std::printf("module %s (%s): sync 0x%08X, version %u, machine 0x%X\n", facts.internalName.c_str(), path,
                facts.sysSync, facts.sysVersion, facts.sysMachine);
    std::printf("exports:");
    for (const std::string &e : facts.exports) std::printf(" %s", e.c_str());
    std::printf("\nimports:");
    for (const std::string &dll : facts.importedDlls) std::printf(" %s", dll.c_str());
    std::printf("\n");
    int row = 0;
    for (const StaticServerRow &server : facts.servers) PrintRow(++row, server.className.c_str(), server.name.c_str());
    std::printf("%d servers\n", row);
    return 0;
}

int List(int argc, char **argv) {
    if (WantsHelp(argc, argv)) {
        std::fputs(kListUsage, stdout);
        return 0;
    }
    if (argc == 4 && std::strcmp(argv[2], "--module") == 0) return ListFile(argv[3]);
    if (argc > 2) {
        std::fprintf(stderr, "vesk list: unexpected argument '%s'\n\n%s", argv[2], kListUsage);
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
    std::printf("module vesk.uuu (built in): sync 0x%08lX, version %lu, machine 0x%lX\n",
                static_cast<unsigned long>(d.sysSync), static_cast<unsigned long>(d.sysVersion),
                static_cast<unsigned long>(d.sysMachine));
    int row = 0;
    for (const ServerRecord *server : ServerRows(module)) PrintRow(++row, server->className, server->name);
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
