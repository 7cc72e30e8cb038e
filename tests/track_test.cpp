// Track, applied to items of the embedded host's scene and evaluated by the
// host, checked against directions worked out from the scene.

#include "controls/plugin_instance.h"
#include "motion_plugin_test.h"
#include "helpers/transform.h"

namespace {

constexpr double kDeg = 0.017453292519943295;

class TrackTest : public MotionPluginTest {
protected:
    Item *&self = item;
    Item *target = nullptr;

    void SetUp() override {
        MotionPluginTest::SetUp();
        host.scene.framesPerSecond = 24;
        target = &host.scene.AddNullObject("Target");
        item = &host.scene.AddNullObject("Tracker");
        Apply("Track");
    }
    // Settings go in as the host's load slot takes them, tracking Target.
    void Settings(const std::string &blocks) {
        PluginTest::Settings(handler, instance, "Track",
                             blocks + " BEGIN ITEM TRACKITEM\n OBJECT 1 1 6 @Target\n END ITEM TRACKITEM\n");
    }
    Vec3 World(const Item &item, int param, double time = 0) {
        Vec3 v;
        static_cast<const LWItemInfo *>(host.Service(LWSERVICE_ITEM_INFO_2, 0))->param(IdOf(&item), param, time, v.data());
        return v;
    }
    Vec3 Rotation(double time = 0) { return World(*self, LWIP_ROTATION, time); }
    Vec3 ToTarget(double targetTime = 0) {
        Vec3 a = World(*target, LWIP_W_POSITION, targetTime), b = World(*self, LWIP_W_POSITION);
        return Normalised({a[0] - b[0], a[1] - b[1], a[2] - b[2]});
    }
};

void ExpectNear(const Vec3 &a, const Vec3 &b, const std::string &what, double eps = 1e-9) {
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], eps) << what << " [" << i << "]";
}

TEST_F(TrackTest, AimsEachAxisThroughATurnedParent) {
    Item &parent = host.scene.AddNullObject("Rig");
    parent.SetRest({1, 2, -3}, {50, -20, 35}, {1, 1, 1});
    self->parent = &parent;
    self->SetRest({0.5, -1, 2}, {10, 20, 30});
    target->SetRest({4, 5, 6});
    const int rows[] = {LWIP_RIGHT, LWIP_RIGHT, LWIP_UP, LWIP_UP, LWIP_FORWARD, LWIP_FORWARD};
    for (int choice = 0; choice < 6; ++choice) {
        Settings(Radio("AXIS", choice));
        Vec3 axis = Normalised(World(*self, rows[choice]));
        if (choice % 2) axis = {-axis[0], -axis[1], -axis[2]};
        ExpectNear(axis, ToTarget(), "choice " + std::to_string(choice), 1e-6);
    }
}

TEST_F(TrackTest, DelayAimsWhereTheTargetWas) {
    target->SetRest({0, 0, 10});
    target->AddKey(48, {48, 0, 10, 0, 0, 0, 1, 1, 1});  // one metre a frame along X
    Settings(Number("DELAY", 24));
    double now = 36 / 24.0;
    Vec3 f = Normalised(World(*self, LWIP_FORWARD, now));
    ExpectNear(f, Normalised(Vec3{12, 0, 10}), "a second earlier the target was at x = 12");
}

TEST_F(TrackTest, TurnsByStrengthLimitsAndAxis) {
    // Limits apply to the Z choices in order; strength blends toward the own
    // axis; a target standing on the tracker turns it to nothing.
    const Vec3 behind{-10, 10, -10};  // behind, to the left and above
    struct Case {
        Vec3 at, hpb, target;
        std::string settings;
        Vec3 degrees;
    } cases[] = {
        {{}, {0, 0, 25}, behind, "", {-135, -35.26438968, 25}},
        {{}, {0, 0, 25}, behind, Number("MINH", 10) + Number("MAXH", 5), {5, -35.26438968, 25}},  // the maximum wins
        {{}, {0, 0, 25}, behind, Number("MINP", -20), {-135, -20, 25}},
        {{}, {0, 0, 25}, behind, Radio("AXIS", 5), {45, 35.26438968, 25}},  // -Z points at the target
        {{}, {0, 0, 25}, behind, Radio("AXIS", 5) + Number("MAXH", 30) + Number("MAXP", 0), {30, 0, 25}},
        {{}, {}, {10, 0, 0}, Number("STRENGTH", 0), {0, 0, 0}},  // the keyed rotation
        {{}, {}, {10, 0, 0}, Number("STRENGTH", 0.5), {45, 0, 0}},  // half of +X, half of the own +Z
        {{}, {}, {10, 0, 0}, Number("STRENGTH", 1), {90, 0, 0}},
        {{1, 1, 1}, {30, 40, 50}, {1, 1, 1}, "", {0, 0, 50}},  // Z keeps its own bank
        {{1, 1, 1}, {30, 40, 50}, {1, 1, 1}, Radio("AXIS", 2), {0, 0, 0}},  // Y: all zero
    };
    for (const Case &c : cases) {
        self->SetRest(c.at, c.hpb);
        target->SetRest(c.target);
        Settings(Number("MINH", -180) + Number("MAXH", 180) + Number("MINP", -90) + Number("MAXP", 90) + Radio("AXIS", 4) +
                 c.settings);
        ExpectNear(Rotation(), {c.degrees[0] * kDeg, c.degrees[1] * kDeg, c.degrees[2] * kDeg}, c.settings, 1e-7);
    }
}

TEST_F(TrackTest, ItemsTrackingEachOtherAreCut) {
    // The target tracks the tracker back: each, asked inside the other's
    // evaluation, answers with its motion before its own Track.
    std::string error;
    LWInstance back = host.AddMotionPlugin(*target, "Track", &error);
    ASSERT_NE(back, nullptr) << error;
    TextStore text = TextStore::Text(
        "BEGIN MARVEN_LABS_PLUGIN Track\nVERSION 1\n BEGIN ITEM TRACKITEM\n OBJECT 1 1 7 @Tracker\n END ITEM TRACKITEM\n"
        "END MARVEN_LABS_PLUGIN Track\n");
    LWLoadState state = text.LoadState();
    handler->load(back, &state);
    Settings("");
    self->SetRest({0, 0, 0});
    target->SetRest({0, 10, 0});
    ExpectNear(Normalised(World(*self, LWIP_FORWARD)), {0, 1, 0}, "the tracker looks up");
    ExpectNear(Normalised(World(*target, LWIP_FORWARD)), {0, -1, 0}, "the target looks down");
}

TEST_F(TrackTest, GhostsDescribesAndListsItsItems) {
    auto *p = static_cast<PluginInstance *>(instance);
    // The window re-ghosts through the after-load hook when it opens; so does the load button.
    auto ghosted = [&](const char *key) {
        p->panel->afterLoad(p);
        return FindControl(p->panel, key)->ghosted != 0;
    };
    EXPECT_STREQ(handler->descln(instance), "Track (no target!)");
    EXPECT_EQ(handler->useItems(instance)[0], IdOf(self)) << "no target: only the item itself";

    Settings(Radio("AXIS", 0));
    EXPECT_TRUE(ghosted("MINH") && ghosted("MAXP"));
    EXPECT_FALSE(ghosted("STRENGTH"));
    EXPECT_STREQ(handler->descln(instance), "Tracking Target");
    EXPECT_EQ(ItemsUsed(handler->useItems(instance)), (std::vector<LWItemID>{IdOf(target), IdOf(self)}));

    Settings(" BEGIN BUTTON DISABLE\n  CHECKED YES\n  HIGHLIGHTED YES\n END\n");
    for (const char *key : {"STRENGTH", "DELAY", "MINH", "INTERACTIVE", "AXIS", "TRACKITEM"}) EXPECT_TRUE(ghosted(key)) << key;
    EXPECT_STREQ(handler->descln(instance), "Track: Disabled");
    EXPECT_EQ(handler->useItems(instance), nullptr);

    Settings(Radio("AXIS", 4) + " BEGIN BUTTON INTERACTIVE\n  CHECKED NO\n  HIGHLIGHTED NO\n END\n" +
             " BEGIN BUTTON DISABLE\n  CHECKED NO\n  HIGHLIGHTED NO\n END\n");
    EXPECT_FALSE(ghosted("MINH"));
    EXPECT_EQ(handler->useItems(instance), nullptr) << "not interactive";
}

}  // namespace
