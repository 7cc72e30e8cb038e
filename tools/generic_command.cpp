// vesk generic: runs a LayoutGeneric server on a scene, as an animator runs
// one from Layout's menu: activated (at version 2, else 1) with the host's
// scene functions, the work done in the activation itself.
#include <cstdio>

#include "host/scene_file.h"
#include "tools/command_line.h"
#include "tools/whole_file.h"

namespace {

Session *running = nullptr;  // the session whose scene the server works on

// Saves the scene as the host would: the whole file, or none. 1 when saved.
int SaveScene(const char *file) {
    std::string error;
    if (!running || !file || !WriteWhole(file, SceneText(running->host), &error)) {
        std::fprintf(stderr, "vesk: the server's scene save failed: %s\n", error.c_str());
        return 0;
    }
    return 1;
}

// Replacing the scene while a server works on it is not something a command
// can follow: the server is told it failed (0), and the user why.
int ReplaceScene(const char *file, const char *) {
    std::fprintf(stderr, "vesk: the server asked to load %s in place of the scene; a vesk command keeps its scene\n",
                 file ? file : "a scene");
    return 0;
}

int Generic(const std::vector<std::string> &args) {
    if (args.size() != 2) return FailCommand("generic: give the server's name and a scene file");
    Session s;
    if (!s.ready) return FailCommand(s.error);
    int status = 0;
    if (!LoadScene(s, args[1], &status)) return status;
    const ServerRecord *row = FindServer(s.module, "LayoutGeneric", args[0].c_str());
    if (!row) return FailCommand("the module has no LayoutGeneric server named " + args[0]);
    running = &s;
    // The class had versions 1 and 2; the newest is offered first.
    LayoutGeneric record = {SaveScene, ReplaceScene};
    int code = AFUNC_BADVERSION;
    long version = 2;
    for (; version >= 1 && code == AFUNC_BADVERSION; --version)
        code = ActivateServer(s.module, *row, version, EmbeddedHost::Lookup(), &record);
    running = nullptr;
    s.PrintMessages();
    if (code == AFUNC_BADVERSION) return FailCommand(args[0] + " refused every version this host offers (2 and 1)");
    if (code != AFUNC_OK) return FailCommand(args[0] + " ended with code " + std::to_string(code));
    return 0;
}

}  // namespace

extern const Command genericCommand = {
    "generic", "runs a LayoutGeneric server (a Layout menu command) on a scene",
    "usage: vesk generic SERVER SCENE\n"
    "\n"
    "Loads the scene and runs the module's LayoutGeneric server SERVER on it, as\n"
    "choosing it from Layout's menu does. What the server writes goes where it\n"
    "says (a file name without a folder: the current folder); its messages are\n"
    "printed. A server that saves the scene writes it whole; one that asks to\n"
    "load another scene in its place is told it failed.\n",
    Generic};
