// One of the demo scenes of examples/ (or none), loaded into an embedded host
// with the module linked in, for benchmarks that drive the module as the host does.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/embedded_host.h"
#include "host/module_loader.h"
#include "host/scene_file.h"

extern "C" ModuleDescriptor _mod_descrip;

struct DemoScene {
    EmbeddedHost host;
    LoadedModule module;
    // Without a scene, the host with the module and nothing in its scene.
    explicit DemoScene(const char *scene = nullptr) {
        std::string error;
        AttachModule(&_mod_descrip, &module, &error);
        host.UseModule(&module);
        if (scene && !LoadSceneFile(host, (std::string(VESK_SOURCE_DIR "/examples/") + scene).c_str(), &error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::abort();
        }
    }
    // An object by the name the host shows.
    const Item &Object(const std::string &name) const {
        for (auto &object : host.scene.objects)
            if (host.scene.ShownName(*object) == name) return *object;
        std::fprintf(stderr, "no object %s\n", name.c_str());
        std::abort();
    }
};
