// Blink, evaluated by the embedded host. Events are observed from the outside:
// the stretch is a linear ramp of X by 6 units, so inside an event X tells the
// phase, and two samples give the event's start and duration.
#include <cmath>

#include "motion_plugin_test.h"

namespace {

struct Event {
    double start, duration;  // frames
};

class BlinkTest : public MotionPluginTest {
protected:
    BlinkTest() : MotionPluginTest("Null") {}
    void SetUp() override {
        MotionPluginTest::SetUp();
        Ramp(*item);
    }
    // At rest until frame 1000, then X and heading rise by 6 over six frames.
    static void Ramp(Item &on) {
        on.SetRest({0, 0, 0});
        on.AddKey(1000, {0, 0, 0, 0, 0, 0, 1, 1, 1}, true);
        on.AddKey(1006, {6, 0, 0, 6, 0, 0, 1, 1, 1}, true);
        on.motion[kPosX].keys[0].linear = on.motion[kHeading].keys[0].linear = true;
    }
    // The events between two frames: scans in quarter frames for X leaving 0,
    // then solves the ramp's line through two samples inside the event.
    std::vector<Event> Events(double from, double to, const Item *of = nullptr) {
        std::vector<Event> found;
        for (double f = from; f < to; f += 0.25) {
            double x1 = At(f, of)[0];
            if (x1 <= 0) continue;
            double x2 = At(f + 0.1, of)[0];
            double duration = 6 * 0.1 / (x2 - x1);
            found.push_back({f - x1 * duration / 6, duration});
            f = found.back().start + duration;
        }
        return found;
    }
};

void ExpectEvents(const std::vector<Event> &got, const std::vector<Event> &want, const std::string &what) {
    ASSERT_GE(got.size(), want.size()) << what;
    for (size_t i = 0; i < want.size(); ++i) {
        EXPECT_NEAR(got[i].start, want[i].start, 2e-6) << what << " event " << i;
        EXPECT_NEAR(got[i].duration, want[i].duration, 2e-6) << what << " event " << i;
    }
}

TEST_F(BlinkTest, EventsFollowTheSeededSequence) {
    const std::string base = Number("START", 1000) + Number("DURVAR", 0);
    struct Case {
        std::string what, settings;
        std::vector<Event> events;
    } cases[] = {
        {"plain", "", {{42.643643, 6}, {96.711295, 6}, {201.393208, 6}, {309.181053, 6}}},
        {"duration variation 50%", Number("DURVAR", 0.5),
         {{42.643643, 7.114785}, {96.711295, 7.814260}, {201.393208, 6.264853}, {309.181053, 7.511691}}},
        {"a 100-frame gap", Number("GAP", 100), {{42.643643, 6}, {148.643643, 6}, {254.643643, 6}, {362.431488, 6}}},
        {"twice the stretch", Number("DURATION", 2), {{42.643643, 12}, {96.711295, 12}, {201.393208, 12}}},
    };
    for (double fps : {24.0, 30.0}) {
        host.scene.framesPerSecond = fps;
        for (const Case &c : cases) {
            Apply("Blink", base + c.settings);
            ExpectEvents(Events(0, 400), c.events, c.what + " at " + std::to_string(fps) + " fps");
        }
    }
    // Inside the first event, frame 45 is at phase 0.392726: the stretch is read
    // at 1002.356357, or at 1001.178178 when the event lasts twice as long.
    host.scene.framesPerSecond = 30;
    Apply("Blink", base);
    EXPECT_NEAR(At(45)[0], 2.356357, 2e-6);
    Apply("Blink", base + Number("DURATION", 2));
    EXPECT_NEAR(At(45)[0], 1.178178, 2e-6);
    // The earliest frame delays the first event by exactly its offset.
    Apply("Blink", base + Number("FIRST", 500));
    ExpectEvents(Events(0, 600), {{542.643643, 6}}, "earliest frame 500");
}

TEST_F(BlinkTest, VaryByItemTakesTheName) {
    Item &twin = host.scene.AddNullObject("Null");  // shown as "Null (2)"
    Ramp(twin);
    const std::string base = Number("START", 1000) + Number("DURVAR", 0);
    Apply("Blink", base + Toggle("VARY", true));
    Apply("Blink", base + Toggle("VARY", true), &twin);
    std::vector<Event> mine = Events(0, 200), theirs = Events(0, 200, &twin);
    ExpectEvents(mine, {{88.645676, 6}}, "Null");
    ASSERT_FALSE(theirs.empty());
    EXPECT_GT(std::fabs(theirs[0].start - mine[0].start), 0.01) << "Null (2) blinks at its own moments";
    Apply("Blink", base);
    Apply("Blink", base, &twin);
    ExpectEvents(Events(0, 100, &twin), {{42.643643, 6}}, "without Vary, as any item with seed 1");
}

TEST_F(BlinkTest, ReplaceAddStrengthAndEase) {
    // Keyed X is 20 around frame 200; the stretch 1000-1006 goes 100, 101, 100.
    item->SetRest({20, 0, 0});
    item->AddKey(990, {20, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    item->AddKey(1000, {100, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    item->AddKey(1003, {101, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    item->AddKey(1006, {100, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    for (auto &key : item->motion[kPosX].keys) key.linear = true;
    const double middle = 201.393208 + 3;  // of the third event
    struct Case {
        int mode;
        double strength, x;
    } cases[] = {{0, 1, 101}, {1, 1, 21}, {0, 0.5, 60.5}, {1, 0.5, 20.5}};
    for (const Case &c : cases) {
        Apply("Blink", Number("START", 1000) + Number("DURVAR", 0) + Radio("MODE", c.mode) + Number("STRENGTH", c.strength));
        EXPECT_NEAR(At(middle)[0], c.x, 1e-5) << "mode " << c.mode << " strength " << c.strength;
    }
    // Ease weights the event.
    // Replace mode on a stretch held at X = 10: X is ten times the weight.
    item->SetRest({0, 0, 0});
    item->AddKey(999, {0, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    item->AddKey(1000, {10, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    item->AddKey(1006, {10, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    Apply("Blink", Number("START", 1000) + Number("DURVAR", 0) + Number("BLEND", 2) + Radio("MODE", 0));
    const double start = 42.643643;
    const double into[] = {1, 2, 3, 4, 5}, weight[] = {0.5, 1, 1, 1, 0.5};
    for (int i = 0; i < 5; ++i) EXPECT_NEAR(At(start + into[i])[0], 10 * weight[i], 1e-4) << into[i] << " frames in";
    EXPECT_NEAR(At(start + 0.5)[0], 10 * (3 * 0.0625 - 2 * 0.015625), 1e-4) << "the flat-ended cubic";
}

TEST_F(BlinkTest, OutsideEventsTheItemIsUntouched) {
    Apply("Blink", Number("START", 1000) + Number("FIRST", 100));
    EXPECT_TRUE(SetsAt(0).empty());
    EXPECT_TRUE(SetsAt(99).empty()) << "before the earliest frame";
    Apply("Blink", Number("START", 1000) + Number("DURVAR", 0));
    EXPECT_TRUE(SetsAt(0).empty()) << "no event can be active at time 0";
    EXPECT_TRUE(SetsAt(60).empty()) << "between events";
    EXPECT_EQ(SetsAt(45), (std::vector<int>{LWIP_POSITION, LWIP_ROTATION}));
    Apply("Blink", Number("START", 1000) + Number("DURVAR", 0) + Toggle("POSITION", false));
    EXPECT_EQ(SetsAt(45), std::vector<int>{LWIP_ROTATION});
    EXPECT_NEAR(At(45)[3], 2.356357, 2e-6) << "heading replays";
    EXPECT_EQ(At(45)[0], 0) << "the keyed position passes through";
    // Events without duration never show, and the search still ends at its cap.
    Apply("Blink", Number("LENGTH", 0) + Number("PERIOD", 1) + Number("PERIODVAR", 1));
    EXPECT_TRUE(SetsAt(50).empty());
    EXPECT_TRUE(SetsAt(300000).empty());
    // A frame does not depend on the frames asked before it.
    Apply("Blink", Number("START", 1000) + Number("DURVAR", 0.7) + Number("PERIODVAR", 1));
    std::vector<double> fresh = At(100);
    Apply("Blink", Number("START", 1000) + Number("DURVAR", 0.7) + Number("PERIODVAR", 1));
    At(380);
    EXPECT_EQ(At(100), fresh);
}

TEST_F(BlinkTest, DescribesGhostsAndListsItems) {
    Item &rig = host.scene.AddNullObject("Rig");
    item->parent = &rig;
    Apply("Blink");
    EXPECT_STREQ(handler->descln(instance), "Blink: frames 0 to 6, every 96 frames");
    Apply("Blink", Number("START", 12.5) + Number("LENGTH", 3) + Number("PERIOD", 40));
    EXPECT_STREQ(handler->descln(instance), "Blink: frames 12.5 to 15.5, every 40 frames");
    EXPECT_EQ(ItemsUsed(handler->useItems(instance)), (std::vector<LWItemID>{IdOf(item), IdOf(&rig)}));
    Apply("Blink", Toggle("POSITION", false) + Toggle("ROTATION", false));
    EXPECT_STREQ(handler->descln(instance), "Blink: No Channels");
    EXPECT_TRUE(SetsAt(45).empty());

    Apply("Blink", Toggle("DISABLE", true));
    EXPECT_STREQ(handler->descln(instance), "Blink: Disabled");
    EXPECT_EQ(handler->useItems(instance), nullptr);
}

}  // namespace
