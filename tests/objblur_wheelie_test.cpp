// Objblur at the embedded host's motion-blur passes, and Wheelie rolling a
// wheel whose radius comes from its object file; against frames and angles
// worked out by hand.

#include "controls/plugin_instance.h"
#include "lwob_writer.h"
#include "motion_plugin_test.h"

namespace {

class ObjblurTest : public MotionPluginTest {
protected:
    Item *camera = nullptr;
    void SetUp() override {
        MotionPluginTest::SetUp();
        host.scene.renderOptions |= LWROPT_MOTIONBLUR;
        camera = &host.scene.AddCamera();
        camera->blurLength = ConstantChannel(0.5);
        camera->fStop = ConstantChannel(4);
        item = &host.scene.AddNullObject("Propeller");
        item->SetRest({0, 0, 0});
        item->AddKey(1000, {1000, 0, 0, 0, 0, 0, 1, 1, 1}, true);  // X is the frame
        item->motion[kPosX].keys[0].linear = true;
    }
    // X in a blur pass of frame f at a frame time: the frame Objblur showed.
    double Shown(int f, double at) {
        double m[9];
        host.MotionInPass(*item, f, at / 30, m);
        return m[0];
    }
};

TEST_F(ObjblurTest, MapsBlurSamples) {
    struct Case {
        std::string what, settings;
        int frame;
        double at, shown;
    } cases[] = {
        {"halfway through the blur: 5 frames back", "", 40, 39.75, 35}, {"the blur's start: 10 back", "", 40, 39.5, 30},
        {"before it, held", "", 40, 39.2, 30}, {"the frame itself", "", 40, 40, 40},
        {"forward frames", Number("FORWARD", 4), 40, 40, 44}, {"frozen, frame 20", Radio("MODE", 1), 20, 19.75, 5},
        {"frozen, frame 50", Radio("MODE", 1), 50, 49.75, 5}, {"frozen, start", Radio("MODE", 1), 50, 49.5, 0},
        {"normal blur of 2 frames", Radio("MODE", 2) + Number("BLUR", 2), 40, 39.75, 39},
        {"skew 0 is 1%", Number("SKEW", 0), 40, 39.75, 30.1}, {"skew 100 is 99%", Number("SKEW", 1), 40, 39.75, 39.9},
        {"disabled", Radio("MODE", 3), 40, 39.75, 39.75},
    };
    for (const Case &c : cases) {
        Apply("Objblur", c.settings);
        EXPECT_NEAR(Shown(c.frame, c.at), c.shown, 1e-9) << c.what;
    }
    // A blur length equal to the f-stop means half a frame; no blur, no change.
    camera->blurLength = ConstantChannel(4);
    Apply("Objblur");
    EXPECT_NEAR(Shown(40, 39.75), 35, 1e-9) << "blur length = f-stop";
    camera->blurLength = ConstantChannel(0);
    EXPECT_NEAR(Shown(40, 39.75), 39.75, 1e-12) << "no blur";
}

TEST_F(ObjblurTest, HostPassesAndPanel) {
    host.scene.antialiasing = 2;  // medium: 9 passes
    auto times = host.BlurPassTimes(40);
    ASSERT_EQ(times.size(), 9u);
    EXPECT_NEAR(times.front() * 30, 39.5, 1e-12);
    EXPECT_NEAR(times[4] * 30, 39.75, 1e-12);
    EXPECT_NEAR(times.back() * 30, 40, 1e-12);
    host.scene.renderOptions = 0;
    EXPECT_EQ(host.BlurPassTimes(40).size(), 1u);

    Apply("Objblur", Radio("MODE", 1));
    auto *p = static_cast<PluginInstance *>(instance);
    p->panel->afterLoad(p);
    EXPECT_TRUE(Ghosted("BACK") && Ghosted("BLUR"));
    EXPECT_FALSE(Ghosted("START") || Ghosted("END") || Ghosted("SKEW"));
    EXPECT_STREQ(handler->descln(instance), "Object Blur: Frozen In Time");
    Apply("Objblur", Radio("MODE", 3));
    EXPECT_STREQ(handler->descln(instance), "Object Blur: Disabled");
    EXPECT_EQ(handler->useItems(instance), nullptr);
}

class WheelieTest : public MotionPluginTest {
protected:
    std::string path = ScratchPath("wheelie_wheel.lwo");
    void SetUp() override {
        MotionPluginTest::SetUp();
        // A wheel of radius 1 about Z: its points lie 1 from the X axis.
        WriteLwob(path, {{1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}});
        item = &host.scene.AddObject("Wheel", path);
    }
    void TearDown() override {
        std::remove(path.c_str());
        MotionPluginTest::TearDown();
    }
};

constexpr double kTwoPi = 6.283185307179586;

TEST_F(WheelieTest, RollsByTheDistanceAlongTheParentsAxis) {
    item->SetRest({0, 0, 0});
    item->AddKey(30, {kTwoPi, 0, 0, 0, 0, 0, 1, 1, 1}, true);  // 2 pi along X in a second
    struct Case {
        std::string settings;
        double degrees;
    } cases[] = {
        {"", 360},                                    // forward bank: one turn
        {Radio("AXIS", 5), -360},                              // backward
        {Number("RATE", 0.5), 180},                   // half the rate
        // A rate falling by 1/30 a frame from 1 at frame 1: its mean over the
        // second is 1 - 1/2 + 1/30.
        {" BEGIN NUM RATE\n  ANIMATE LINEAR\n VALUE 1\n  LINEAR -0.033333333333333333\n END\n", 360 * (0.5 + 1 / 30.0)},
    };
    for (const Case &c : cases) {
        Apply("Wheelie", c.settings);
        EXPECT_NEAR(At(30)[5], c.degrees, 1e-9) << c.settings;
    }
    Apply("Wheelie");
    EXPECT_NEAR(At(0)[5], 0, 1e-12) << "at time 0, the time-0 rotation";
    EXPECT_NEAR(At(15)[5], 180, 1e-9) << "half way, half a turn";
    // Along the parent's axis.
    // The car faces +X turned by a heading of 90 degrees: its right axis is the
    // world's -Z, and it drives 2 pi along it; the wheel sits at its origin.
    Item &car = host.scene.AddNullObject("Car");
    car.SetRest({0, 0, 0}, {90, 0, 0});
    car.AddKey(30, {0, 0, -kTwoPi, 90, 0, 0, 1, 1, 1}, true);
    car.motion[kPosZ].keys[0].linear = true;
    item->parent = &car;
    item->SetRest({0, 0, 0});
    Apply("Wheelie");
    EXPECT_NEAR(At(30)[5], 360, 1e-9) << "rolled by the travel along the car's own X";
    Apply("Wheelie", " BEGIN RADIO Move\n  SELECTION 2\n END RADIO Move\n");
    EXPECT_NEAR(At(30)[5], 0, 1e-9) << "no travel along the car's forward axis";
    Apply("Wheelie", Toggle("DISABLE", true));
    EXPECT_TRUE(SetsAt(30).empty());
    EXPECT_STREQ(handler->descln(instance), "Wheelie: Disabled");
}

}  // namespace
