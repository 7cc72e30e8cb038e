// The vesk command: the module's plug-ins run by the embedded host, without the
// host program.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "controls/plugin_instance.h"
#include "export/motion_export.h"
#include "host/embedded_host.h"
#include "host/module_loader.h"
#include "host/pe_image.h"
#include "host/passes.h"
#include "host/scene_file.h"
#include "module/lifecycle.h"
#include "tools/image_files.h"

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
    "  blur       an item's motion at each motion-blur pass of a frame\n"
    "  filter     a pixel or image filter run over a rendered image\n"
    "  displace   an object's points after its displacement plug-ins, as an OBJ file\n"
    "  shade      a shader's preview on a lit sphere\n"
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

// An instance of a plug-in by name, created as the host creates it (item
// motion and displacement for no item), with FILE loaded as its panel's load
// button does; null with the reason.
struct NewInstance {
    const void *handler = nullptr;
    std::string className;
    LWInstance instance = nullptr;
};

bool CreateInstance(Session &s, const std::string &name, const std::string &settingsFile, NewInstance *out,
                    std::string *error) {
    out->handler = FindHandler(s, name, &out->className, error);
    if (!out->handler) return false;
    if (!settingsFile.empty() && access(settingsFile.c_str(), R_OK) != 0) return *error = settingsFile + ": cannot be read", false;
    // Every class's record begins with create, destroy, copy, load and save.
    LWError failure = nullptr;
    bool forItem = out->className == "ItemMotionHandler" || out->className == "DisplacementHandler";
    out->instance = forItem ? static_cast<const ItemMotionHandler *>(out->handler)->create(&failure, nullptr)
                            : static_cast<const ShaderHandler *>(out->handler)->create(&failure);
    if (!out->instance) return *error = name + ": " + (failure ? failure : "could not be created"), false;
    if (!settingsFile.empty()) {
        s.host.fileAnswers.push_back({1, settingsFile});
        PanelLoadButton(static_cast<PluginInstance *>(out->instance)->panel, false);
    }
    return true;
}

void Destroy(const NewInstance &n) { static_cast<const ShaderHandler *>(n.handler)->destroy(n.instance); }

int Settings(const std::vector<std::string> &args) {
    if (args.empty() || args.size() > 2) return Fail("settings: give a plug-in and at most one file");
    Session s;
    if (!s.ready) return Fail(s.error);
    NewInstance made;
    std::string error;
    if (!CreateInstance(s, args[0], args.size() == 2 ? args[1] : "", &made, &error)) {
        s.PrintMessages();
        return Fail(error);
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
    const char *description = describe(instance);
    s.PrintMessages();
    std::printf("description: %s\n", description ? description : "");
    if (saveError) std::printf("save error: %s\n", saveError);
    // Each write is one line of the host's file (the saved-date line brings a line end of its own).
    for (const std::string &l : lines) std::printf("%s\n", l.c_str());
    Destroy(made);
    return 0;
}

// Options of the form --name VALUE and -o VALUE; the rest are positional.
bool Options(const std::vector<std::string> &args, const std::vector<std::string> &names,
             std::vector<std::string> *positional, std::vector<std::string> *values, std::string *error) {
    values->assign(names.size(), "");
    for (size_t i = 0; i < args.size(); ++i) {
        auto known = std::find(names.begin(), names.end(), args[i]);
        if (known != names.end()) {
            if (i + 1 >= args.size()) return *error = args[i] + " needs a value", false;
            (*values)[known - names.begin()] = args[++i];
        } else if (args[i].size() > 1 && args[i][0] == '-') {
            return *error = "unknown option '" + args[i] + "'", false;
        } else {
            positional->push_back(args[i]);
        }
    }
    return true;
}

int Filter(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"--settings", "--in", "--depth", "--frame", "-o"}, &positional, &v, &error))
        return Fail("filter: " + error);
    if (positional.size() != 1 || v[1].empty() || v[4].empty()) return Fail("filter: give a filter, --in IMAGE.png and -o OUT.png");
    RgbaImage image;
    if (!ReadPng(v[1], &image, &error) || (!v[2].empty() && !ReadDepthPfm(v[2], &image, &error))) return Fail(error);
    Session s;
    if (!s.ready) return Fail(s.error);
    s.host.scene.frameWidth = image.width;
    s.host.scene.frameHeight = image.height;
    int frame = v[3].empty() ? 0 : std::atoi(v[3].c_str());
    double time = frame / s.host.scene.framesPerSecond;
    NewInstance made;
    if (!CreateInstance(s, positional[0], v[0], &made, &error)) return Fail(error);
    bool ok = false;
    if (made.className == "PixelFilterHandler")
        ok = RunPixelFilter(static_cast<const PixelFilterHandler *>(made.handler), made.instance, &image, frame, time, &error);
    else if (made.className == "ImageFilterHandler")
        ok = RunImageFilter(static_cast<const ImageFilterHandler *>(made.handler), made.instance, &image, frame, time, &error);
    else
        error = positional[0] + " is not a pixel or image filter";
    s.PrintMessages();
    Destroy(made);
    if (!ok || !WritePng(v[4], image, &error)) return Fail(error);
    std::printf("wrote %dx%d to %s\n", image.width, image.height, v[4].c_str());
    return 0;
}

int Shade(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"--settings", "-o", "--size", "--color"}, &positional, &v, &error)) return Fail("shade: " + error);
    if (positional.size() != 1 || v[1].empty()) return Fail("shade: give a shader and -o OUT.png");
    int size = v[2].empty() ? 256 : std::atoi(v[2].c_str());
    if (size < 8 || size > 4096) return Fail("shade: --size is from 8 to 4096 pixels");
    std::array<double, 3> base = {0.8, 0.8, 0.8};
    if (!v[3].empty()) {
        int rgb[3], used = 0;
        if (std::sscanf(v[3].c_str(), "%d,%d,%d%n", &rgb[0], &rgb[1], &rgb[2], &used) != 3 ||
            used != static_cast<int>(v[3].size()) || *std::min_element(rgb, rgb + 3) < 0 || *std::max_element(rgb, rgb + 3) > 255)
            return Fail("shade: --color wants R,G,B from 0 to 255, as 200,120,60");
        for (int i = 0; i < 3; ++i) base[i] = rgb[i] / 255.0;
    }
    Session s;
    if (!s.ready) return Fail(s.error);
    NewInstance made;
    if (!CreateInstance(s, positional[0], v[0], &made, &error)) return Fail(error);
    RgbaImage image;
    bool ok = made.className == "ShaderHandler"
                  ? RenderShaderPreview(static_cast<const ShaderHandler *>(made.handler), made.instance, size, size, &image,
                                        &error, base)
                  : (error = positional[0] + " is not a shader", false);
    s.PrintMessages();
    Destroy(made);
    if (!ok || !WritePng(v[1], image, &error)) return Fail(error);
    std::printf("wrote a %dx%d preview of %s to %s\n", size, size, positional[0].c_str(), v[1].c_str());
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
        auto show = [&](const std::string &server, const char *line) {
            std::printf("%s: %s: %s\n", s.host.scene.ShownName(item).c_str(), server.c_str(), line);
            ++count;
        };
        for (const MotionPluginUse &use : item.motionPlugins) show(use.server, use.handler->descln(use.instance));
        for (const DisplacementPluginUse &use : item.displacementPlugins) show(use.server, use.handler->descln(use.instance));
    });
    s.PrintMessages();
    std::printf("%d plug-in instance%s\n", count, count == 1 ? "" : "s");
    return 0;
}

// A bar on the terminal for long runs: bakes of 500 keys or more, displacement
// over 20 frames or more.
void DrawProgress(int done, int total) {
    if (!isatty(2) || total <= 0) return;
    int width = 40, filled = done * width / total;
    std::fprintf(stderr, "\r[%.*s%*s] %3.1f%%", filled, "========================================", width - filled, "",
                 100.0 * done / total);
    if (done == total) std::fprintf(stderr, "\n");
}

bool ShowProgress(void *data, int done, int total) {
    if (total >= 500) DrawProgress(done, total);
    return true;
}

// An item by the name the host shows (with its number) or its own.
Item *NamedItem(Scene &scene, const std::string &name) {
    Item *item = nullptr;
    EachItem(scene, [&](Item &candidate) {
        if (!item && (scene.ShownName(candidate) == name || candidate.name == name)) item = &candidate;
    });
    return item;
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
    Item *item = NamedItem(scene, positional[1]);
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

int Blur(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"--frame"}, &positional, &v, &error)) return Fail("blur: " + error);
    if (positional.size() != 2) return Fail("blur: give a scene file and an item name");
    Session s;
    int status = 0;
    if (!LoadScene(s, positional[0], &status)) return status;
    Scene &scene = s.host.scene;
    Item *item = NamedItem(scene, positional[1]);
    if (!item) return Fail(positional[0] + ": no item named '" + positional[1] + "'");
    int frame = v[0].empty() ? scene.firstFrame : std::atoi(v[0].c_str());
    std::vector<double> times = s.host.BlurPassTimes(frame);
    std::printf("%s at frame %d: %zu pass%s%s\n", positional[1].c_str(), frame, times.size(), times.size() == 1 ? "" : "es",
                times.size() == 1 ? " (no motion blur)" : "");
    std::printf("%10s %12s %12s %12s %10s %10s %10s %8s %8s %8s\n", "frame", "X", "Y", "Z", "H", "P", "B", "SX", "SY",
                "SZ");
    for (double t : times) {
        double m[9];
        s.host.MotionInPass(*item, frame, t, m);
        std::printf("%10.4f %12.6g %12.6g %12.6g %10.4f %10.4f %10.4f %8.4g %8.4g %8.4g\n", t * scene.framesPerSecond,
                    m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8]);
    }
    s.PrintMessages();
    return 0;
}

// The file of one frame of a sequence: the frame number, four digits, before
// the extension ("dust.obj" gives "dust_0012.obj").
std::string FrameFileName(const std::string &out, int frame) {
    size_t dot = out.find_last_of('.'), slash = out.find_last_of("/\\");
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) dot = out.size();
    char number[16];
    std::snprintf(number, sizeof number, "_%04d", frame);
    return out.substr(0, dot) + number + out.substr(dot);
}

int Displace(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"--frame", "--frames", "-o"}, &positional, &v, &error)) return Fail("displace: " + error);
    if (positional.size() != 2 || v[2].empty()) return Fail("displace: give a scene, an object and -o OUT.obj");
    int first = v[0].empty() ? 0 : std::atoi(v[0].c_str()), last = first;
    bool sequence = !v[1].empty();
    if (sequence) {
        char dash = 0;
        if (!v[0].empty()) return Fail("displace: give --frame or --frames, not both");
        if (std::sscanf(v[1].c_str(), "%d%c%d", &first, &dash, &last) != 3 || dash != '-' || last < first)
            return Fail("displace: --frames wants FIRST-LAST, as 1-120");
    }
    Session s;
    int status = 0;
    if (!LoadScene(s, positional[0], &status)) return status;
    Scene &scene = s.host.scene;
    Item *object = nullptr;
    for (auto &item : scene.objects)
        if (!object && (scene.ShownName(*item) == positional[1] || item->name == positional[1])) object = item.get();
    if (!object) return Fail(positional[0] + ": no object named '" + positional[1] + "'");
    if (object->geometry.points.empty())
        return Fail(positional[1] + " has no points (its object file " + object->filename + " could not be read)");
    // Each frame's file is written whole before the next frame is moved, so a
    // failure keeps every frame written before it.
    for (int frame = first; frame <= last; ++frame) {
        auto points = DisplacedPoints(s.host, *object, frame / scene.framesPerSecond, &error);
        if (!error.empty()) return Fail(error);
        std::ostringstream obj;
        obj << "# " << positional[1] << " at frame " << frame << ", displaced by vesk\n";
        char line[128];
        for (const auto &p : points) {
            std::snprintf(line, sizeof line, "v %.9g %.9g %.9g\n", p[0], p[1], p[2]);
            obj << line;
        }
        for (const auto &polygon : object->geometry.polygons) {
            obj << "f";
            for (int i : polygon) obj << " " << i + 1;
            obj << "\n";
        }
        std::string out = sequence ? FrameFileName(v[2], frame) : v[2];
        if (!WriteWhole(out, obj.str(), &error)) return Fail(error);
        if (last - first + 1 >= 20) DrawProgress(frame - first + 1, last - first + 1);
        if (!sequence)
            std::printf("wrote %zu points and %zu polygons to %s\n", points.size(), object->geometry.polygons.size(),
                        out.c_str());
    }
    s.PrintMessages();
    if (sequence)
        std::printf("wrote frames %d to %d of %s, %zu points each, to %s ... %s\n", first, last, positional[1].c_str(),
                    object->geometry.points.size(), FrameFileName(v[2], first).c_str(), FrameFileName(v[2], last).c_str());
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
     "Loads a LightWave 5 scene file (.lws) and prints each item-motion and\n"
     "displacement plug-in instance as ITEM: PLUGIN: description line.\n",
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
    {"filter",
     "usage: vesk filter PLUGIN [--settings FILE] --in IMAGE.png [--depth DEPTH.pfm] [--frame N] -o OUT.png\n"
     "\n"
     "Runs a pixel filter (per pixel, with depth) or an image filter (per frame)\n"
     "over a rendered image, as the host would after rendering frame N.\n"
     "\n"
     "  --settings FILE  settings to load first, as the panel's load button would\n"
     "  --in IMAGE.png   the render: an RGBA PNG (alpha is the render's coverage)\n"
     "  --depth FILE     its depth: a single-channel float PFM (Pf) of the same size;\n"
     "                   without it every pixel lies far away\n"
     "  --frame N        the frame being filtered (default 0), at 30 frames a second\n"
     "  -o OUT.png       where to write\n",
     Filter},
    {"blur",
     "usage: vesk blur SCENE ITEM [--frame N]\n"
     "\n"
     "Prints the item's final motion (position, heading, pitch and bank in degrees,\n"
     "scale) at every pass the host samples while rendering frame N with motion\n"
     "blur (default the scene's first frame): as many passes as the antialiasing\n"
     "level gives (5, 9 or 17), spread from N minus the camera's blur length to N.\n"
     "Without motion blur, the one pass at N. Item-motion plug-ins such as Objblur\n"
     "see the frame N with each pass's time, as when rendering.\n",
     Blur},
    {"displace",
     "usage: vesk displace SCENE OBJECT [--frame N | --frames FIRST-LAST] -o OUT.obj\n"
     "\n"
     "Moves the object's points through its displacement plug-ins at frame N and\n"
     "writes them with its polygons as a Wavefront OBJ. The object file is looked\n"
     "for where the scene names it, then beside the scene.\n"
     "  --frames A-B     one file a frame, the frame number before the extension:\n"
     "                   -o dust.obj writes dust_0001.obj, dust_0002.obj, ...\n",
     Displace},
    {"shade",
     "usage: vesk shade SHADER [--settings FILE] [--size N] [--color R,G,B] -o OUT.png\n"
     "\n"
     "Renders the shader on a lit sphere four units from the camera (the default\n"
     "lens), over a checkerboard that shows through where it is transparent.\n"
     "  --size N         the picture's width and height in pixels (default 256)\n"
     "  --color R,G,B    the sphere's own colour, 0 to 255 (default 204,204,204)\n",
     Shade},
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
