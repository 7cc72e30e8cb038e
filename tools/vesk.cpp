// The vesk command: the module's plug-ins run by the embedded host, without the
// host program.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "controls/plugin_instance.h"
#include "export/motion_export.h"
#include "host/embedded_host.h"
#include "host/module_loader.h"
#include "host/pe_image.h"
#include "host/scene_file.h"
#include "module/lifecycle.h"

extern "C" ModuleDescriptor _mod_descrip;

namespace {

const char *kUsage =
    "usage: vesk COMMAND [ARGS]\n"
    "\n"
    "The Vesk Collection's plug-ins, run by the embedded host.\n"
    "\n"
    "commands:\n"
    "  list       the server table the module offers\n"
    "  settings   a plug-in's settings text, optionally after loading a settings file\n"
    "  describe   every plug-in instance of a scene with its description line\n"
    "  bake       an item's final motion written as a motion file\n"
    "\n"
    "vesk COMMAND --help tells more of one command.\n";

struct Command {
    const char *name;
    const char *usage;
    int (*run)(const std::vector<std::string> &args);
};

int Fail(const std::string &message) {
    std::fprintf(stderr, "vesk: %s\n", message.c_str());
    return 1;
}

// The module as the host takes it up, in front of an embedded host.
struct Session {
    EmbeddedHost host;
    LoadedModule module;
    std::string error;
    bool ready;
    Session() {
        ready = AttachModule(&_mod_descrip, &module, &error);
        host.UseModule(&module);
    }
    void PrintMessages() {
        for (const ShownMessage &m : host.messages)
            std::printf("%s: %s%s%s\n", MessageKindName(m.kind), m.line1.c_str(), m.line2.empty() ? "" : " / ",
                        m.line2.c_str());
        host.messages.clear();
    }
};

void PrintRow(int row, const char *className, const char *name) { std::printf("%2d  %-22s %s\n", row, className, name); }

// ---- list ----

int ListFile(const char *path) {
    PeModuleFacts facts;
    std::string error;
    if (!ReadPeModule(path, &facts, &error)) return Fail(error);
    if (!facts.hasDescriptor) return Fail(std::string(path) + " exports no 32-bit _mod_descrip");
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

int List(const std::vector<std::string> &args) {
    if (args.size() == 2 && args[0] == "--module") return ListFile(args[1].c_str());
    if (!args.empty()) return Fail("list: unexpected argument '" + args[0] + "'");
    Session s;
    if (!s.ready) return Fail(s.error);
    const ModuleDescriptor &d = *s.module.descriptor;
    std::printf("module vesk.uuu (built in): sync 0x%08lX, version %lu, machine 0x%lX\n",
                static_cast<unsigned long>(d.sysSync), static_cast<unsigned long>(d.sysVersion),
                static_cast<unsigned long>(d.sysMachine));
    int row = 0;
    for (const ServerRecord *server : ServerRows(s.module)) PrintRow(++row, server->className, server->name);
    std::printf("%d servers\n", row);
    return 0;
}

// ---- settings ----

// The handler record of a plug-in by name, whatever its class; the class in *className.
const void *FindHandler(Session &s, const std::string &name, std::string *className, std::string *error) {
    for (const ServerRecord *row : ServerRows(s.module)) {
        if (name != row->name || !std::strstr(row->className, "Handler")) continue;
        *className = row->className;
        return s.host.Handler(row->className, name, error);
    }
    *error = "no plug-in named '" + name + "' (vesk list shows them)";
    return nullptr;
}

int Settings(const std::vector<std::string> &args) {
    if (args.empty() || args.size() > 2) return Fail("settings: give a plug-in and at most one file");
    Session s;
    if (!s.ready) return Fail(s.error);
    std::string className, error;
    const void *handler = FindHandler(s, args[0], &className, &error);
    if (!handler) return Fail(error);
    if (args.size() == 2 && access(args[1].c_str(), R_OK) != 0) return Fail(args[1] + ": cannot be read");

    // Every class's record starts with create, destroy, copy, load and save;
    // item motion and displacement create for an item (none here).
    LWError failure = nullptr;
    LWInstance instance = nullptr;
    bool forItem = className == "ItemMotionHandler" || className == "DisplacementHandler";
    if (forItem)
        instance = static_cast<const ItemMotionHandler *>(handler)->create(&failure, nullptr);
    else
        instance = static_cast<const ShaderHandler *>(handler)->create(&failure);
    if (!instance) {
        s.PrintMessages();
        return Fail(args[0] + ": " + (failure ? failure : "could not be created"));
    }
    auto *common = static_cast<const ShaderHandler *>(handler);
    if (args.size() == 2) {
        // As the panel's load button does it: the host's requester answers with the file.
        s.host.fileAnswers.push_back({1, args[1]});
        PanelLoadButton(static_cast<PluginInstance *>(instance)->panel, false);
    }
    std::vector<std::string> lines;
    LWSaveState save = {LWIO_SCENE, &lines, [](void *d, char *buf, int) {
                            static_cast<std::vector<std::string> *>(d)->push_back(buf);
                        }};
    LWError saveError = common->save(instance, &save);
    const char *description = nullptr;
    if (className == "ItemMotionHandler") description = static_cast<const ItemMotionHandler *>(handler)->descln(instance);
    if (className == "DisplacementHandler") description = static_cast<const DisplacementHandler *>(handler)->descln(instance);
    if (className == "ShaderHandler") description = static_cast<const ShaderHandler *>(handler)->descln(instance);
    if (className == "PixelFilterHandler") description = static_cast<const PixelFilterHandler *>(handler)->descln(instance);
    if (className == "ImageFilterHandler") description = static_cast<const ImageFilterHandler *>(handler)->descln(instance);
    s.PrintMessages();
    std::printf("description: %s\n", description ? description : "");
    if (saveError) std::printf("save error: %s\n", saveError);
    // Each write is one line of the host's file (the saved-date line brings a line end of its own).
    for (const std::string &l : lines) std::printf("%s\n", l.c_str());
    common->destroy(instance);
    return 0;
}

// ---- describe and bake ----

bool LoadScene(Session &s, const std::string &path, int *status) {
    if (!s.ready) {
        *status = Fail(s.error);
        return false;
    }
    std::string error;
    if (!LoadSceneFile(s.host, path, &error)) {
        s.PrintMessages();
        *status = Fail(error);
        return false;
    }
    return true;
}

void EachItem(Scene &scene, const std::function<void(Item &)> &visit) {
    for (auto *list : {&scene.objects, &scene.lights, &scene.cameras})
        for (auto &item : *list) {
            visit(*item);
            for (auto &bone : item->bones) visit(*bone);
        }
}

int Describe(const std::vector<std::string> &args) {
    if (args.size() != 1) return Fail("describe: give one scene file");
    Session s;
    int status = 0;
    if (!LoadScene(s, args[0], &status)) return status;
    int count = 0;
    EachItem(s.host.scene, [&](Item &item) {
        for (const MotionPluginUse &use : item.motionPlugins) {
            std::printf("%s: %s: %s\n", s.host.scene.ShownName(item).c_str(), use.server.c_str(),
                        use.handler->descln(use.instance));
            ++count;
        }
    });
    s.PrintMessages();
    std::printf("%d plug-in instance%s\n", count, count == 1 ? "" : "s");
    return 0;
}

// A bar on the terminal for long bakes.
bool ShowProgress(void *data, int done, int total) {
    if (total >= 500 && isatty(2)) {
        int width = 40, filled = done * width / total;
        std::fprintf(stderr, "\r[%.*s%*s] %3.1f%%", filled, "========================================", width - filled,
                     "", 100.0 * done / total);
        if (done == total) std::fprintf(stderr, "\n");
    }
    return true;
}

int Bake(const std::vector<std::string> &args) {
    std::vector<std::string> positional;
    int end = -1;
    double density = 1.0;
    bool parentCoordinates = false;
    std::string out;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &a = args[i];
        bool hasValue = i + 1 < args.size();
        if (a == "--end" && hasValue)
            end = std::atoi(args[++i].c_str());
        else if (a == "--density" && hasValue)
            density = std::atof(args[++i].c_str());
        else if (a == "--parent-coords")
            parentCoordinates = true;
        else if (a == "-o" && hasValue)
            out = args[++i];
        else if (!a.empty() && a[0] == '-')
            return Fail("bake: unknown option '" + a + "'");
        else
            positional.push_back(a);
    }
    if (positional.size() != 2) return Fail("bake: give a scene file and an item name");
    if (density < 0 || density > 1) return Fail("bake: the density is a fraction from 0 to 1");
    Session s;
    int status = 0;
    if (!LoadScene(s, positional[0], &status)) return status;
    Scene &scene = s.host.scene;
    Item *item = nullptr;
    EachItem(scene, [&](Item &candidate) {
        if (!item && (scene.ShownName(candidate) == positional[1] || candidate.name == positional[1])) item = &candidate;
    });
    if (!item) return Fail(positional[0] + ": no item named '" + positional[1] + "'");
    if (out.empty()) out = positional[1] + ".mot";
    // The export runs inside the module, as from an item-motion plug-in's panel;
    // a handler activation binds the module to the host first, as there.
    std::string error;
    if (!s.host.Handler("ItemMotionHandler", "Track", &error)) return Fail(error);
    ExportRequest request{IdOf(item), end < 0 ? scene.lastFrame : end, density,
                          parentCoordinates && item->parent != nullptr, scene.framesPerSecond, ShowProgress, nullptr};
    if (request.endFrame < 0) request.endFrame = 0;
    if (!ExportMotionFile(request, out.c_str())) return Fail(out + ": cannot be written");
    s.PrintMessages();
    std::printf("wrote %d keys of %s to %s\n", ExportKeyCount(request.endFrame, density), positional[1].c_str(),
                out.c_str());
    return 0;
}

const Command kCommands[] = {
    {"list",
     "usage: vesk list [--module FILE]\n"
     "\n"
     "Prints the module's server table as the host reads it: one row per server,\n"
     "its position, class and name.\n"
     "\n"
     "  --module FILE  read the table out of a built 32-bit vesk.p without running\n"
     "                 it, with the module's internal name, exports and imported DLLs;\n"
     "                 without it, the module built into this program is loaded and\n"
     "                 started by the embedded host\n",
     List},
    {"settings",
     "usage: vesk settings PLUGIN [FILE]\n"
     "\n"
     "Creates an instance of the plug-in, loads FILE into it as its panel's load\n"
     "button does (the file may come from any plug-in), and prints every message\n"
     "the plug-in showed, its description line and the settings text it saves.\n",
     Settings},
    {"describe",
     "usage: vesk describe SCENE\n"
     "\n"
     "Loads a LightWave 5 scene file (.lws) and prints each item-motion plug-in\n"
     "instance as ITEM: PLUGIN: description line.\n",
     Describe},
    {"bake",
     "usage: vesk bake SCENE ITEM [--end N] [--density D] [--parent-coords] [-o FILE]\n"
     "\n"
     "Evaluates ITEM with its motion plug-ins and writes its motion as a LightWave\n"
     "motion file (LWMO 1), as the Export Motion button does.\n"
     "\n"
     "  --end N           last frame to bake (default: the scene's last frame)\n"
     "  --density D       fraction of the frames 0..N that become keys (default 1)\n"
     "  --parent-coords   the item's own channels relative to its parent, instead of\n"
     "                    its world placement (only for items with a parent)\n"
     "  -o FILE           where to write (default: ITEM.mot)\n",
     Bake},
};

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        std::fputs(kUsage, argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    for (const Command &c : kCommands) {
        if (std::strcmp(argv[1], c.name) != 0) continue;
        std::vector<std::string> args(argv + 2, argv + argc);
        for (const std::string &a : args)
            if (a == "--help" || a == "-h") {
                std::fputs(c.usage, stdout);
                return 0;
            }
        return c.run(args);
    }
    std::fprintf(stderr, "vesk: unknown command '%s'\n\n%s", argv[1], kUsage);
    return 2;
}
