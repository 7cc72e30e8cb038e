// vesk settings: a plug-in's settings text and description line.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/command_line.h"
#include "module/server_table.h"

namespace {

int Settings(const std::vector<std::string> &args) {
    if (args.empty() || args.size() > 2) return FailCommand("settings: give a plug-in and at most one file");
    Session s;
    if (!s.ready) return FailCommand(s.error);
    NewInstance made;
    std::string error;
    if (!CreateInstance(s, args[0], args.size() == 2 ? args[1] : "", &made, &error)) {
        s.PrintMessages();
        return FailCommand(error);
    }
    // A load that failed says so in an error message; the instance is still
    // shown (what did load, and the defaults), but the command fails.
    std::string loadFailure;
    for (const ShownMessage &m : s.host.messages)
        if (m.kind == MessageKind::Error && loadFailure.empty())
            loadFailure = args[1] + ": the settings did not load: " + m.line1 + (m.line2.empty() ? "" : " (" + m.line2 + ")");
    // A module file's own options server, where it has one, is run on the
    // instance as the host runs it from the Options button. Ours open a panel,
    // which has no screen here; a module's may show its settings in messages,
    // printed below with the rest.
    const std::string optionsClass = made.className.substr(0, made.className.size() - 7) + "Interface";
    const ServerRecord *options = sessionModuleFile.empty() ? nullptr
                                  : FindServer(s.module, optionsClass.c_str(), args[0].c_str());
    if (options) {
        long version = 0;
        int code = NegotiateInterface(s.module, *options, EmbeddedHost::Lookup(), made.instance, &version);
        std::printf("options: %s %s %s\n", optionsClass.c_str(), args[0].c_str(),
                    code == AFUNC_OK           ? ("ran at version " + std::to_string(version)).c_str()
                    : code == AFUNC_BADVERSION ? "refused every version offered (3, 2, 1)"
                                               : ("refused at version " + std::to_string(version) + " with code " +
                                                  std::to_string(code)).c_str());
    }
    const std::string &className = made.className;
    const void *handler = made.handler;
    LWInstance instance = made.instance;
    std::vector<std::string> lines;
    LWSaveState save = {LWIO_SCENE, &lines, [](void *d, char *buf, int) {
                            static_cast<std::vector<std::string> *>(d)->push_back(buf);
                        }};
    LWError saveError = static_cast<const ShaderHandler *>(handler)->save(instance, &save);
    // The description line ends every class's version-2 record.
    auto slots = static_cast<void *const *>(handler);
    auto describe = reinterpret_cast<const char *(*)(LWInstance)>(slots[HandlerSlotCount(className.c_str(), 2) - 1]);
    // A version-1 record has no description line: the server's name stands in, as in describe.
    const char *description = describe ? describe(instance) : args[0].c_str();
    s.PrintMessages();
    std::printf("description: %s\n", description ? description : "");
    if (saveError) std::printf("save error: %s\n", saveError);
    // Each write is one line of the host's file (the saved-date line brings a line end of its own).
    for (const std::string &l : lines) std::printf("%s\n", l.c_str());
    Destroy(made);
    std::fflush(stdout);
    return loadFailure.empty() ? 0 : FailCommand(loadFailure);
}

}  // namespace

extern const Command settingsCommand = {
    "settings", "a plug-in's settings text, optionally after loading a settings file",
    "usage: vesk settings PLUGIN [FILE]\n"
    "\n"
    "Creates an instance of the plug-in, loads FILE into it as its panel's load\n"
    "button does (the file may come from any plug-in), and prints every message\n"
    "the plug-in showed, its description line and the settings text it saves.\n"
    "With --module, FILE goes in through the handler's load slot: a shader's as\n"
    "the bytes its object's surface keeps, any other's as the lines of its scene\n"
    "block; then the module's own options server for the plug-in, if it has\n"
    "one, runs on the instance.\n",
    Settings};
