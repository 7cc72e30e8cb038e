// The vesk command: the module's plug-ins run by the embedded host, without the
// host program. Each subcommand lives in its own file.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tools/command_line.h"

namespace {

const Command *const kCommands[] = {&listCommand,     &settingsCommand, &describeCommand, &bakeCommand,
                                    &blurCommand,     &displaceCommand, &describePluginCommand,
                                    &filterCommand,   &shadeCommand,    &genericCommand,  &exportCommand,
#ifndef VESK_NO_RENDER  // the 32-bit build has no renderer
                                    &renderCommand
#endif
};

void PrintUsage(FILE *to) {
    std::fputs("usage: vesk [--module FILE] COMMAND [ARGS]\n\nThe Vesk Collection's plug-ins, run by the embedded host"
               " (with --module, those of a built\nvesk.p, in the 32-bit build).\n\ncommands:\n", to);
    for (const Command *c : kCommands) std::fprintf(to, "  %-10s %s\n", c->name, c->summary);
    std::fputs("\nvesk COMMAND --help tells more of one command.\n", to);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc >= 3 && std::strcmp(argv[1], "--module") == 0) {
        sessionModuleFile = argv[2];
        argv += 2, argc -= 2;
    }
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        PrintUsage(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    for (const Command *c : kCommands) {
        if (std::strcmp(argv[1], c->name) != 0) continue;
        std::vector<std::string> args(argv + 2, argv + argc);
        for (const std::string &a : args)
            if (a == "--help" || a == "-h") {
                std::fputs(c->usage, stdout);
                return 0;
            }
        return c->run(args);
    }
    std::fprintf(stderr, "vesk: unknown command '%s'\n\n", argv[1]);
    PrintUsage(stderr);
    return 2;
}
