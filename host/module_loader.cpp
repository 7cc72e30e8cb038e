#include "host/module_loader.h"

#include <cstring>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif
#ifdef VESK_WINDOWS_MODULES
#include "host/windows/module_file.h"
#endif

bool AttachModule(const ModuleDescriptor *d, LoadedModule *out, std::string *error) {
    if (!d) {
        *error = "no module descriptor";
        return false;
    }
    if (d->sysSync != MOD_SYSSYNC) {
        *error = "module descriptor has the wrong sync value";
        return false;
    }
    if (d->sysVersion != MOD_SYSVER) {
        *error = "module format version " + std::to_string(d->sysVersion) + " is not 2";
        return false;
    }
    if (d->sysMachine != MOD_MACHINE_X86) {
        *error = "module is not built for this machine";
        return false;
    }
    // The start-up function is optional; without one the servers get no
    // server data. One that is there and answers null has failed.
    void *data = nullptr;
    if (d->startup && !(data = d->startup())) {
        *error = "module startup failed";
        return false;
    }
    out->descriptor = d;
    out->serverData = data;
    return true;
}

bool LoadModuleFile(const std::string &path, LoadedModule *out, std::string *error) {
#ifdef _WIN32
    HMODULE library = LoadLibraryA(path.c_str());
    if (!library) {
        *error = "cannot load " + path;
        return false;
    }
    auto *d = reinterpret_cast<const ModuleDescriptor *>(GetProcAddress(library, "_mod_descrip"));
    if (!d || !AttachModule(d, out, error)) {
        if (!d) *error = path + " has no _mod_descrip";
        FreeLibrary(library);
        return false;
    }
#elif defined(VESK_WINDOWS_MODULES)
    // A 32-bit process here runs the Windows module itself.
    const void *d = nullptr;
    WindowsModule *library = StartWindowsModule(path, &d, error);
    if (!library) return false;
    if (!AttachModule(static_cast<const ModuleDescriptor *>(d), out, error)) {
        StopWindowsModule(library);
        return false;
    }
#else
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        *error = dlerror();
        return false;
    }
    auto *d = static_cast<const ModuleDescriptor *>(dlsym(library, "_mod_descrip"));
    if (!d || !AttachModule(d, out, error)) {
        if (!d) *error = path + " has no _mod_descrip";
        dlclose(library);
        return false;
    }
#endif
    out->library = library;
    return true;
}

void UnloadModule(LoadedModule *module) {
    if (module->descriptor && module->descriptor->shutdown) module->descriptor->shutdown(module->serverData);
    if (module->library) {
#ifdef _WIN32
        FreeLibrary(static_cast<HMODULE>(module->library));
#elif defined(VESK_WINDOWS_MODULES)
        StopWindowsModule(static_cast<WindowsModule *>(module->library));
#else
        dlclose(module->library);
#endif
    }
    *module = LoadedModule{};
}

std::vector<const ServerRecord *> ServerRows(const LoadedModule &module) {
    std::vector<const ServerRecord *> rows;
    for (const ServerRecord *r = module.descriptor->serverDefs; r && r->className; ++r) rows.push_back(r);
    return rows;
}

const ServerRecord *FindServer(const LoadedModule &module, const char *className, const char *name) {
    for (const ServerRecord *r : ServerRows(module))
        if (std::strcmp(r->className, className) == 0 && std::strcmp(r->name, name) == 0) return r;
    return nullptr;
}

size_t HandlerSlotCount(const char *className, long version) {
    // Slots per version 1, 2, 3 (0: the class had no such version). Each
    // version's record is the one before with slots added at its end: the
    // description line at 2, the items used and their change at 3.
    static const struct {
        const char *name;
        size_t slots[3];
    } classes[] = {
        {"ItemMotionHandler", {6, 7, 9}},    {"DisplacementHandler", {8, 9, 11}}, {"ShaderHandler", {10, 11, 13}},
        {"PixelFilterHandler", {0, 11, 13}}, {"ImageFilterHandler", {7, 8, 10}},
    };
    if (version < 1) return 0;
    for (const auto &c : classes)
        if (std::strcmp(c.name, className) == 0) return c.slots[version > 3 ? 2 : version - 1];
    return 0;
}

int ActivateServer(const LoadedModule &module, const ServerRecord &server, long version, GlobalFunc *global,
                   void *local) {
    return server.activate(version, global, local, module.serverData);
}

int NegotiateHandler(const LoadedModule &module, const ServerRecord &server, long highestVersion, GlobalFunc *global,
                     std::vector<void *> *record, long *version) {
    // Room for the newest record whatever is offered, every slot empty: the
    // slots an older version lacks stay null, and nothing the module writes
    // lands outside the record.
    int code = AFUNC_BADVERSION;
    *version = 0;
    for (long v = highestVersion; v >= 1 && code == AFUNC_BADVERSION; --v) {
        if (!HandlerSlotCount(server.className, v)) continue;  // the class had no such version: not offered
        record->assign(HandlerSlotCount(server.className, highestVersion), nullptr);
        *version = v;
        code = ActivateServer(module, server, v, global, record->data());
    }
    return code;
}

int NegotiateInterface(const LoadedModule &module, const ServerRecord &server, GlobalFunc *global, LWInstance instance,
                       long *version) {
    // Which version a 5.x host offers an interface is not known for certain:
    // the maker's samples accept 1 alone, and interfaces are taken to have
    // been bumped with their handlers, so 3, then 2, then 1 are offered.
    constexpr long kHighestInterfaceVersion = 3;
    int code = AFUNC_BADVERSION;
    for (*version = kHighestInterfaceVersion; *version >= 1; --*version)
        if ((code = ActivateServer(module, server, *version, global, instance)) != AFUNC_BADVERSION) break;
    if (*version < 1) *version = 1;
    return code;
}
