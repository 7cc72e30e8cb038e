// The cycle-link family on a walker whose keyed X is its frame number over the
// cycle definition (frames 0 to 100), so the X it is given tells the phase:
// X = 100 x phase. Driven by a control null at 30 fps; phases worked out by hand.
#include <cmath>

#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "helpers/transform.h"
#include "motion_plugin_test.h"

namespace {

class CycleLinkTest : public MotionPluginTest {
protected:
    Item *driver = nullptr;
    void SetUp() override {
        MotionPluginTest::SetUp();
        driver = &host.scene.AddNullObject("Driver");
        item = &host.scene.AddNullObject("Walker");
        item->SetRest({0, 7, 0});
        item->AddKey(100, {100, 7, 0, 0, 0, 0, 1, 1, 1}, true);
        item->motion[kPosX].keys[0].linear = true;
        item->SetEndBehavior(EndBehavior::Stop);
    }
    static std::string Driven() { return " BEGIN ITEM CONTROLITEM\n OBJECT 1 1 6 @Driver\n END ITEM CONTROLITEM\n"; }
    void LinearDriver(std::vector<std::pair<double, Vec3>> keys) {
        driver->SetRest(keys[0].second);
        for (auto &c : driver->motion) c.keys[0].linear = true;
        for (size_t i = 1; i < keys.size(); ++i)
            driver->AddKey(keys[i].first, {keys[i].second[0], keys[i].second[1], keys[i].second[2], 0, 0, 0, 1, 1, 1}, true);
    }
    GraphControl *Graph() {
        Reghost();  // the window's refresh when it opens
        return reinterpret_cast<GraphControl *>(FindControl(static_cast<PluginInstance *>(instance)->panel, "GRAPH"));
    }
};

TEST_F(CycleLinkTest, PhaseLinkMapsEndsAndFallsBackToSelf) {
    struct Case {
        double x;
        int end;
        double shown;
    } cases[] = {
        {1.5, 0, 50}, {-0.25, 0, 75},                 // repeat, negative phases wrap
        {0.25, 1, 25}, {1.25, 1, 75}, {2.25, 1, 25},  // ping-pong
        {-0.3, 2, 0},  {1.7, 2, 100},                 // stop
        {1.7, 3, 100},                                 // extend: the keys hold past their end
    };
    for (const Case &c : cases) {
        driver->SetRest({c.x, 0, 0});
        Apply("PhaseLink", Driven() + Radio("ENDBEHAVIOR", c.end));
        EXPECT_NEAR(At(10)[0], c.shown, 1e-9) << "X " << c.x << " end " << c.end;
    }
    // Only X switched on at half strength: X halfway between the cycle's and its
    // own now (10 at frame 10); Y and Z its own.
    driver->SetRest({0.5, 0, 0});
    std::string onlyX;
    for (const char *key : {"YCHANGE", "ZCHANGE", "HCHANGE", "PCHANGE", "BCHANGE", "SXCHANGE", "SYCHANGE", "SZCHANGE"})
        onlyX += Toggle(key, false);
    Apply("PhaseLink", Driven() + onlyX + Number("STRENGTH", 0.5));
    std::vector<double> m = At(10);
    EXPECT_NEAR(m[0], (50 + 10) / 2.0, 1e-9);
    EXPECT_NEAR(m[1], 7, 1e-12);
    Apply("PhaseLink", Driven() + onlyX + Toggle("XCHANGE", false));
    EXPECT_NEAR(At(10)[0], 10, 1e-12) << "all channels off: its own motion";
    Apply("PhaseLink");
    EXPECT_TRUE(SetsAt(10).empty()) << "no control object";
    EXPECT_STREQ(handler->descln(instance), "PhaseLink: No control item");
    // A control object that names no item falls back to the item itself.
    item->SetRest({0.4, 0, 0});  // its own X as the control value is 0.4 at rest... but it is the cycle too
    Apply("PhaseLink", Radio("CONTROL", 2));
    EXPECT_STREQ(handler->descln(instance), "PhaseLink: Controlled by Walker");
    TextStore saved;
    LWSaveState state = saved.SaveState();
    handler->save(instance, &state);
    std::string text;
    for (const std::string &line : saved.lines) text += line + "\n";
    EXPECT_NE(text.find(" BEGIN RADIO CONTROL\n  SELECTION 1"), std::string::npos) << "kept as self:\n" << text;
}

TEST_F(CycleLinkTest, SpansAndAccumulations) {
    // 60 m/s for one frame, then still. At time 0 with one frame of lookahead
    // the span runs from 0 to 2/30 s: 2 m in 2/30 s is 30 m/s (not 60).
    LinearDriver({{0, {0, 0, 0}}, {1, {2, 0, 0}}, {2, {2, 0, 0}}});
    Apply("SpeedLink", Driven() + Number("HIGHFROM", 100) + Radio("ENDBEHAVIOR", 2));
    EXPECT_NEAR(At(0)[0], 30, 1e-9);
    Apply("SpeedLink", Driven() + Number("HIGHFROM", 100) + Radio("ENDBEHAVIOR", 2) + Radio("TRACKFROM", 3));
    EXPECT_NEAR(At(0)[0], 30, 1e-9) << "absolute";
    // Still until frame 15, then 30 m/s: the second difference over frames 10
    // to 20 is 5 m, divided by the span of 10 frames (1/3 s): 15.
    LinearDriver({{0, {0, 0, 0}}, {15, {0, 0, 0}}, {20, {5, 0, 0}}});
    Apply("AccelLink", Driven() + Number("HIGHFROM", 100) + Radio("ENDBEHAVIOR", 2));
    EXPECT_NEAR(At(15)[0], 15, 1e-9);
    EXPECT_STREQ(handler->descln(instance), "AccelLink: Controlled by Driver");
    // Distance and throttle accumulate.
    // Diagonally (3, 4) metres a second for two seconds: in +X 3 m, in all 5 m,
    // a tenth of a cycle per metre.
    LinearDriver({{0, {0, 0, 0}}, {60, {6, 8, 0}}});
    struct Case {
        std::string settings;
        double shown;
    } cases[] = {
        {Number("DISTANCE", 10), 30}, {Number("DISTANCE", 10) + Radio("TRACKFROM", 3), 50},
        {Number("DISTANCE", 10) + Radio("TRACKFROM", 3) + Number("STARTPHASE", 0.25), 75},
        {Number("DISTANCE", 1e-7), 0},  // 3 m taken as 3 cycles: phase 0 again
    };
    for (const Case &c : cases) {
        Apply("DistLink", Driven() + c.settings);
        EXPECT_NEAR(std::fmod(At(30)[0] + 0.5, 100) - 0.5, c.shown, 1e-9) << c.settings;
    }
    driver->SetRest({1, 2, 3});
    Apply("DistLink", Driven() + Number("STARTPHASE", 0.3));
    EXPECT_NEAR(At(45)[0], 30, 1e-9) << "standing still: the starting phase";

    Apply("ThrottleLink");
    EXPECT_NEAR(At(15)[0], 50, 1e-9) << "100% a second: half a cycle at 0.5 s";
    EXPECT_NEAR(std::fmod(At(30)[0] + 50, 100) - 50, 0, 1e-9) << "a whole cycle at 1 s";
    EXPECT_STREQ(handler->descln(instance), "ThrottleLink");
}

// The graph integrates once for its 480 samples; for motion at a steady speed
// and a steady throttle that equals 480 single evaluations.
TEST_F(CycleLinkTest, GraphEqualsSingleEvaluations) {
    LinearDriver({{0, {0, 0, 0}}, {300, {30, 0, 0}}});
    for (const char *server : {"DistLink", "ThrottleLink", "SpeedLink"}) {
        // Phases stay below 1 over the graph, where the walker's keys show them.
        Apply(server, Driven() + Number("DISTANCE", 30) + Number("HIGHFROM", 35) + Number("PHASEVELOCITY", 0.1) +
                          Radio("ENDBEHAVIOR", 3) +
                          Number("LOWGRAPH", 5) + Number("HIGHGRAPH", 245));
        GraphControl *g = Graph();
        ASSERT_EQ(g->count, 480);
        EXPECT_EQ(g->xLow, 5);
        EXPECT_EQ(g->xHigh, 245);
        for (int i = 0; i < 480; i += 7) {
            double frame = 5 + i * 240 / 479.0;
            EXPECT_NEAR(g->y[i] * 100, At(frame)[0], 1e-6) << server << " sample " << i;
        }
    }
    Apply("DistLink", Driven() + Number("LOWGRAPH", 20) + Number("HIGHGRAPH", 3));
    GraphControl *g = Graph();
    EXPECT_EQ(g->xHigh, 30) << "at least ten frames";
    auto *p = static_cast<PluginInstance *>(instance);
    // The least and most distance reached after each 0.2 s step up to frame 30.
    EXPECT_STREQ(reinterpret_cast<TextControl *>(FindControl(p->panel, "RANGE1"))->text,
                 "Over Frames 20 to 30,  Min: 0.600   Max: 3.000");
}

TEST_F(CycleLinkTest, DescriptionsAndADriverMovedByTrack) {
    for (const char *server : {"PhaseLink", "SpeedLink", "AccelLink", "DistLink"}) {
        Apply(server, Driven());
        EXPECT_EQ(std::string(handler->descln(instance)), std::string(server) + ": Controlled by Driver");
        Apply(server, Driven() + Toggle("DISABLE", true));
        EXPECT_EQ(std::string(handler->descln(instance)), std::string(server) + ": Disabled");
        EXPECT_EQ(handler->useItems(instance), nullptr);
    }
    Apply("ThrottleLink", Toggle("DISABLE", true));
    EXPECT_STREQ(handler->descln(instance), "ThrottleLink: Disabled");

    // The driver turns to face a target with Track: the heading Track gives it
    // (45 degrees to a target at (1, 0, 1)) drives the walker.
    Item &target = host.scene.AddNullObject("Target");
    target.SetRest({1, 0, 1});
    std::string error;
    LWInstance track = host.AddMotionPlugin(*driver, "Track", &error);
    ASSERT_NE(track, nullptr) << error;
    Settings(driver->motionPlugins[0].handler, track, "Track", " BEGIN ITEM TRACKITEM\n OBJECT 1 1 6 @Target\n END ITEM TRACKITEM\n");
    Apply("PhaseLink", Driven() + Radio("TRACKFROM", 3) + Number("HIGHFROM", 90) + Radio("ENDBEHAVIOR", 2));
    EXPECT_NEAR(At(10)[0], 50, 1e-9);
}

}  // namespace
