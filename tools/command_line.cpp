#include "tools/command_line.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

#include "controls/plugin_instance.h"
#include "host/scene_file.h"
#include "module/lifecycle.h"
#include "module/panel_files.h"
#include "tools/image_files.h"

extern "C" ModuleDescriptor _mod_descrip;

int FailCommand(const std::string &message) {
    std::fprintf(stderr, "vesk: %s\n", message.c_str());
    return 1;
}

std::string sessionModuleFile;

Session::Session() {
    if (sessionModuleFile.empty()) {
        ready = AttachModule(&_mod_descrip, &module, &error);
    } else {
#ifdef VESK_WINDOWS_MODULES
        ready = LoadModuleFile(sessionModuleFile, &module, &error);
#else
        ready = false;
        error = "--module runs a built vesk.p only in the 32-bit build (build/host32/vesk)";
#endif
    }
    host.UseModule(&module);
    host.warn = [](const std::string &text) { std::fprintf(stderr, "vesk: warning: %s\n", text.c_str()); };
}


bool BindBuiltInModule(std::string *error) {
    static LoadedModule builtIn;
    if (!builtIn.descriptor && !AttachModule(&_mod_descrip, &builtIn, error)) return false;
    const ServerRecord *row = FindServer(builtIn, "ItemMotionHandler", "Track");
    std::vector<void *> record;
    long version = 0;
    if (!row || NegotiateHandler(builtIn, *row, 3, EmbeddedHost::Lookup(), &record, &version) != AFUNC_OK)
        return *error = "the built-in module would not bind to the host", false;
    return true;
}

void Session::PrintMessages() {
    for (const ShownMessage &m : host.messages)
        std::printf("%s: %s%s%s\n", MessageKindName(m.kind), m.line1.c_str(), m.line2.empty() ? "" : " / ",
                    m.line2.c_str());
    host.messages.clear();
}

bool Options(const std::vector<std::string> &args, const std::vector<std::string> &names,
             std::vector<std::string> *positional, std::vector<std::string> *values, std::string *error,
             const std::vector<std::string> &flags) {
    values->assign(names.size(), "");
    for (size_t i = 0; i < args.size(); ++i) {
        auto known = std::find(names.begin(), names.end(), args[i]);
        if (known != names.end() && std::find(flags.begin(), flags.end(), args[i]) != flags.end()) {
            (*values)[known - names.begin()] = "1";
        } else if (known != names.end()) {
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

bool WholeNumber(const std::string &text, long low, long high, long *out) {
    char *end = nullptr;
    errno = 0;
    long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end || errno == ERANGE || v < low || v > high) return false;
    *out = v;
    return true;
}

bool FrameNumber(const std::string &text, int *frame) {
    long v = 0;
    if (!WholeNumber(text, 0, kMostFrames, &v)) return false;
    *frame = static_cast<int>(v);
    return true;
}

bool PngLevel(const std::string &text, int *level) {
    *level = kDefaultPngLevel;
    if (text.empty()) return true;
    if (text.size() != 1 || text[0] < '0' || text[0] > '9') return false;
    *level = text[0] - '0';
    return true;
}

bool FrameRange(const std::string &text, int *first, int *last) {
    size_t dash = text.find('-', 1);
    return dash != std::string::npos && FrameNumber(text.substr(0, dash), first) &&
           FrameNumber(text.substr(dash + 1), last) && *first <= *last;
}

const void *FindHandler(Session &s, const std::string &name, std::string *className, std::string *error) {
    for (const ServerRecord *row : ServerRows(s.module)) {
        if (name != row->name || !std::strstr(row->className, "Handler")) continue;
        *className = row->className;
        return s.host.Handler(row->className, name, error);
    }
    *error = "no plug-in named '" + name + "' (vesk list shows them)";
    return nullptr;
}

bool CreateInstance(Session &s, const std::string &name, const std::string &settingsFile, NewInstance *out,
                    std::string *error) {
    out->handler = FindHandler(s, name, &out->className, error);
    if (!out->handler) return false;
    if (!settingsFile.empty() && access(settingsFile.c_str(), R_OK) != 0) return *error = settingsFile + ": cannot be read", false;
    if (!settingsFile.empty() && !NotDeviceOrFolder(settingsFile, error)) return false;
    // Every class's record begins with create, destroy, copy, load and save.
    LWError failure = nullptr;
    bool forItem = out->className == "ItemMotionHandler" || out->className == "DisplacementHandler";
    out->instance = forItem ? static_cast<const ItemMotionHandler *>(out->handler)->create(&failure, nullptr)
                            : static_cast<const ShaderHandler *>(out->handler)->create(&failure);
    if (!out->instance) return *error = name + ": " + (failure ? failure : "could not be created"), false;
    if (!settingsFile.empty() && !sessionModuleFile.empty() && out->className == "ShaderHandler") {
        // A module file's panel cannot open here (no screen): a shader's
        // settings live in its object's surface, which the host hands over
        // in the object (binary) mode, so the file holds the bytes a surface
        // keeps for it.
        std::ifstream in(settingsFile, std::ios::binary);
        std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (LWError e = LoadInstanceBytes(static_cast<const ShaderHandler *>(out->handler)->load, out->instance, bytes))
            s.host.messages.push_back({MessageKind::Error, e, ""});
    } else if (!settingsFile.empty() && !sessionModuleFile.empty()) {
        // Other classes' settings go in through the load slot line by line,
        // as a scene's do, so the file must be this plug-in's own.
        std::ifstream in(settingsFile, std::ios::binary);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            lines.push_back(line);
        }
        LoadInstanceLines(static_cast<const ShaderHandler *>(out->handler)->load, out->instance, lines);
    } else if (!settingsFile.empty()) {
        s.host.fileAnswers.push_back({1, settingsFile});
        PanelLoadButton(static_cast<PluginInstance *>(out->instance)->panel, false);
    }
    return true;
}

void Destroy(const NewInstance &n) { static_cast<const ShaderHandler *>(n.handler)->destroy(n.instance); }

bool LoadScene(Session &s, const std::string &path, int *status) {
    if (!s.ready) {
        *status = FailCommand(s.error);
        return false;
    }
    std::string error;
    if (!LoadSceneFile(s.host, path, &error)) {
        s.PrintMessages();
        *status = FailCommand(error);
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

Item *NamedItem(Scene &scene, const std::string &name) {
    Item *item = nullptr;
    EachItem(scene, [&](Item &candidate) {
        if (!item && (scene.ShownName(candidate) == name || candidate.name == name)) item = &candidate;
    });
    return item;
}

Item *LoadSceneItem(Session &s, const std::string &scenePath, const std::string &name, int *status) {
    if (!LoadScene(s, scenePath, status)) return nullptr;
    Item *item = NamedItem(s.host.scene, name);
    if (!item) *status = FailCommand(scenePath + ": no item named '" + name + "'");
    return item;
}


