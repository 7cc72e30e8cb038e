// vesk list: the server table, from the built-in module or a built vesk.p.
#include "host/pe_loader.h"
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/command_line.h"

namespace {

void PrintRow(int row, const char *className, const char *name) { std::printf("%2d  %-22s %s\n", row, className, name); }

#ifndef VESK_WINDOWS_MODULES
int ListFile(const char *path) {
    PeModuleFacts facts;
    std::string error;
    if (!ReadPeModule(path, &facts, &error)) return FailCommand(error);
    if (!facts.hasDescriptor) return FailCommand(std::string(path) + " exports no 32-bit _mod_descrip");
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
#endif

int List(const std::vector<std::string> &args) {
#ifdef VESK_WINDOWS_MODULES
    // The 32-bit host starts the file and activates its servers.
    if (args.size() == 2 && args[0] == "--module") sessionModuleFile = args[1];
#else
    if (args.size() == 2 && args[0] == "--module") return ListFile(args[1].c_str());
#endif
    if (!args.empty() && args[0] != "--module") return FailCommand("list: unexpected argument '" + args[0] + "'");
    Session s;
    if (!s.ready) return FailCommand(s.error);
    const ModuleDescriptor &d = *s.module.descriptor;
    std::printf("module %s: sync 0x%08lX, version %lu, machine 0x%lX\n",
                sessionModuleFile.empty() ? "vesk.uuu (built in)" : (sessionModuleFile + " (started)").c_str(),
                static_cast<unsigned long>(d.sysSync), static_cast<unsigned long>(d.sysVersion),
                static_cast<unsigned long>(d.sysMachine));
    int row = 0;
    for (const ServerRecord *server : ServerRows(s.module)) {
        PrintRow(++row, server->className, server->name);
        if (sessionModuleFile.empty()) continue;
        // Each handler activated as the host would: version 3 offered first,
        // then 2 and 1. An interface is activated only on an instance to
        // edit, which a list has none of, so it is not.
        if (!HandlerSlotCount(server->className, 3)) {
            std::printf(std::strstr(server->className, "Interface")
                            ? "      not activated: an interface is activated only on an instance to edit\n"
                            : "      not activated: run only when asked for\n");
            continue;
        }
        std::vector<void *> record;
        long version = 0;
        int code = NegotiateHandler(s.module, *server, 3, EmbeddedHost::Lookup(), &record, &version);
        if (code == AFUNC_OK)
            std::printf("      activated at version %ld\n", version);
        else if (code == AFUNC_BADVERSION)
            std::printf("      refused every version offered (3, 2, 1)\n");
        else
            std::printf("      refused at version %ld with code %d\n", version, code);
    }
    s.PrintMessages();
    std::printf("%d servers\n", row);
    return 0;
}

}  // namespace

extern const Command listCommand = {
    "list", "the server table the module offers",
    "usage: vesk list [--module FILE]\n"
    "\n"
    "Prints the module's server table as the host reads it: one row per server,\n"
    "its position, class and name.\n"
    "\n"
    "  --module FILE  read the table out of a built 32-bit vesk.p without running\n"
    "                 it, with the module's internal name, exports and imported DLLs;\n"
    "                 in the 32-bit build (build/host32/vesk), start it and activate\n"
    "                 every server; without it, the module built into this program\n"
    "                 is listed\n",
    List};
