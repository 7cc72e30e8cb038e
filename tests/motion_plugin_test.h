// An item-motion plug-in applied to a null of the embedded host's scene: fresh
// instances with settings given as the host's load slot takes them, the item's
// final motion at a frame, and a direct evaluation that records which
// parameters the plug-in set.
#pragma once

#include <string>
#include <vector>

#include "controls/plugin_instance.h"
#include "plugin_harness.h"

class MotionPluginTest : public PluginTest {
protected:
    const char *server = nullptr;
    Item *item = nullptr;
    LWInstance instance = nullptr;
    const ItemMotionHandler *handler = nullptr;
    const char *nullName;
    // With a name, each test starts with a null of that name as its item.
    explicit MotionPluginTest(const char *name = nullptr) : nullName(name) {}
    void SetUp() override {
        PluginTest::SetUp();
        if (nullName) item = &host.scene.AddNullObject(nullName);
    }

    // Puts a new instance of `name` on `target` (the test's item by default),
    // replacing what was there, and loads `blocks` into it.
    LWInstance Apply(const char *name, const std::string &blocks = "", Item *target = nullptr) {
        server = name;
        Item &on = target ? *target : *item;
        for (MotionPluginUse &use : on.motionPlugins) use.handler->destroy(use.instance);
        on.motionPlugins.clear();
        std::string error;
        LWInstance made = host.AddMotionPlugin(on, name, &error);
        EXPECT_NE(made, nullptr) << error;
        if (!made) return nullptr;
        handler = on.motionPlugins[0].handler;
        // The envelope carries the panel's own name, which is not always the server's.
        if (!blocks.empty()) Settings(handler, made, static_cast<PluginInstance *>(made)->panel->shortName, blocks);
        if (!target) instance = made;
        return made;
    }
    // Position in metres and rotation in degrees at a frame, plug-ins applied.
    std::vector<double> At(double frame, const Item *of = nullptr) {
        double m[9];
        host.FinalMotion(of ? *of : *item, frame / host.scene.framesPerSecond, m);
        return {m, m + 6};
    }
    // The parameters the plug-in set when evaluated at a frame (position 1,
    // rotation 5, in call order), read from the item's keys.
    std::vector<int> SetsAt(double frame) {
        static std::vector<int> sets;
        static const Item *evaluated;
        sets.clear();
        evaluated = item;
        auto get = [](LWItemParam param, LWTime t, double v[3]) {
            double m[9];
            EmbeddedHost::Active().scene.KeyedMotion(*evaluated, t, m);
            int first = param == LWIP_ROTATION ? kHeading : (param == LWIP_SCALING ? kScaleX : kPosX);
            for (int c = 0; c < 3; ++c) v[c] = m[first + c] * (param == LWIP_ROTATION ? 0.017453292519943295 : 1);
        };
        auto set = [](LWItemParam param, const double *) { sets.push_back(param); };
        ItemMotionAccess access{IdOf(item), static_cast<LWFrame>(frame), frame / host.scene.framesPerSecond, get, set};
        handler->evaluate(instance, &access);
        return sets;
    }
    bool Ghosted(const char *key) { return FindControl(static_cast<PluginInstance *>(instance)->panel, key)->ghosted != 0; }
    void Reghost() {
        auto *p = static_cast<PluginInstance *>(instance);
        p->panel->afterLoad(p);
    }
};
