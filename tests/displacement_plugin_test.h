// A displacement plug-in applied to an object of the embedded host's scene:
// fresh instances with settings given as the host's load slot takes them, and
// the object's points after the host's displacement pass at a frame.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "host/passes.h"
#include "controls/plugin_instance.h"
#include "plugin_harness.h"

using Point = std::array<double, 3>;

class DisplacementPluginTest : public PluginTest {
protected:
    Item *object = nullptr;
    LWInstance instance = nullptr;
    const DisplacementHandler *handler = nullptr;
    const char *objectName, *objectFile;
    // With a name, each test starts with an object of that name (loaded from
    // `file` when asked) as its object.
    explicit DisplacementPluginTest(const char *name = nullptr, const char *file = "")
        : objectName(name), objectFile(file) {}
    void SetUp() override {
        PluginTest::SetUp();
        if (objectName) object = &host.scene.AddObject(objectName, objectFile);
    }

    // Puts a new instance of `name` on the object, replacing what was there.
    void Apply(const char *name, const std::string &blocks = "") {
        for (DisplacementPluginUse &use : object->displacementPlugins) use.handler->destroy(use.instance);
        object->displacementPlugins.clear();
        std::string error;
        instance = host.AddDisplacementPlugin(*object, name, &error);
        ASSERT_NE(instance, nullptr) << error;
        handler = object->displacementPlugins[0].handler;
        if (!blocks.empty()) Settings(handler, instance, name, blocks);
    }
    std::vector<Point> At(double frame) {
        std::string error;
        auto points = DisplacedPoints(host, *object, frame / host.scene.framesPerSecond, &error);
        EXPECT_TRUE(error.empty()) << error;
        return points;
    }
    bool Ghosted(const char *key) {
        auto *p = static_cast<PluginInstance *>(instance);
        p->panel->afterLoad(p);  // as the window does when it opens
        return FindControl(p->panel, key)->ghosted != 0;
    }
};

inline void ExpectPoint(const Point &got, const Point &want, double tolerance, const std::string &what) {
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(got[i], want[i], tolerance) << what << " [" << i << "]";
}
