// Diffuser, evaluated by the embedded host on a null at rest, so the item's
// position and rotation are the drift itself; checked against the walk's
// reference values and against the walk computed alone.
#include <cmath>

#include "helpers/random.h"
#include "motion_plugin_test.h"

namespace {

class DiffuserTest : public MotionPluginTest {
protected:
    DiffuserTest() : MotionPluginTest("Debris.003") {}
    // X drift alone: the other five rates off.
    static std::string OnlyX(double rate) {
        std::string s = Number("XRATE", rate);
        for (const char *key : {"YRATE", "ZRATE", "HRATE", "PRATE", "BRATE"}) s += Number(key, 0);
        return s;
    }
    // The unit walk of a channel at SEED 1, STEP 4 frames at 30 fps.
    static double Unit(int channel, double steps, bool smooth, double pull = 0) {
        VeskWalk walk;
        VeskWalkSetUp(&walk, pull, 4 / 30.0);
        return VeskWalkAt(walk, VeskHash(kDiffuserDomain, 1, channel), steps, smooth);
    }
};

TEST_F(DiffuserTest, DriftMatchesTheReferenceWalk) {
    struct Case {
        std::string settings;
        double frame, x;
    } cases[] = {
        // Frame 6 is 1.5 steps of 4 frames; the rate 0.5 scales the unit walk.
        {Toggle("SMOOTH", false), 6, 0.5 * Unit(0, 1.5, false)}, {"", 6, 0.5 * Unit(0, 1.5, true)},
        {Toggle("SMOOTH", false) + Number("DAMPING", 0.5), 4, 0.5 * Unit(0, 1, false, 0.5)},
        {Toggle("SMOOTH", false), 12, 0.5 * Unit(0, 3, false)},
    };
    for (const Case &c : cases) {
        Apply("Diffuser", OnlyX(0.5) + c.settings);
        EXPECT_NEAR(At(c.frame)[0], c.x, 1e-9 * std::fabs(c.x)) << c.settings;
        EXPECT_EQ(At(c.frame)[1], 0) << "Y has no rate";
    }
    // Rotation rates are degrees per square-root second, channels 3 to 5.
    Apply("Diffuser", Number("XRATE", 0) + Number("HRATE", 3) + Number("BRATE", 1));
    std::vector<double> m = At(10);
    EXPECT_NEAR(m[3], 3 * Unit(3, 2.5, true), 1e-9);
    EXPECT_NEAR(m[5], 1 * Unit(5, 2.5, true), 1e-9);
    EXPECT_NEAR(m[1], 0.1 * Unit(1, 2.5, true), 1e-12);
    // Lattice times land on their steps exactly, whatever the division's rounding.
    Apply("Diffuser", OnlyX(1) + Toggle("SMOOTH", false));
    for (int step : {123, 245, 490}) EXPECT_EQ(At(step * 4)[0], Unit(0, step, false)) << step;
    // Half a step between lattice values is their mean.
    EXPECT_NEAR(At(6)[0], (Unit(0, 1, false) + Unit(0, 2, false)) / 2, 1e-12);
}

TEST_F(DiffuserTest, ChannelsAndFramesAreIndependentAndNoDriftLeavesTheItem) {
    // No drift at time 0 and before, disabled, without strength or rates.
    struct Case {
        std::string what, settings;
        double frame;
    } cases[] = {
        {"time 0", "", 0}, {"before time 0", "", -5}, {"disabled", Toggle("DISABLE", true), 30},
        {"no strength", Number("STRENGTH", 0), 30}, {"no rates", OnlyX(0), 30},
    };
    for (const Case &c : cases) {
        Apply("Diffuser", c.settings);
        EXPECT_TRUE(SetsAt(c.frame).empty()) << c.what;
    }
    Apply("Diffuser");
    EXPECT_EQ(SetsAt(30), (std::vector<int>{LWIP_POSITION, LWIP_ROTATION}));

    Apply("Diffuser");
    std::vector<double> base = At(40);
    Apply("Diffuser", Number("YRATE", 0.7));
    EXPECT_EQ(At(40)[0], base[0]) << "another rate leaves X exactly";
    Apply("Diffuser", Number("YRATE", 0));
    EXPECT_EQ(At(40)[0], base[0]);
    EXPECT_EQ(At(40)[1], 0);
    Apply("Diffuser", Number("STRENGTH", 0.5));
    EXPECT_NEAR(At(40)[2], base[2] / 2, 1e-15);

    Apply("Diffuser");
    std::vector<double> alone = At(500);
    Apply("Diffuser");
    for (int f = 0; f <= 500; ++f) At(f);
    EXPECT_EQ(At(500), alone) << "frame 500 after 0 to 500 equals frame 500 alone";
    At(300);
    EXPECT_EQ(At(40), base);
}

TEST_F(DiffuserTest, VaryByItemAndAnimatedRates) {
    // "Debris.003" with Vary by Item: the walk keyed by its name, seed 1 and
    // channel 0 (key 0x34A99240C425E490), at step 1.
    Apply("Diffuser", OnlyX(1) + Toggle("VARY", true) + Toggle("SMOOTH", false));
    VeskWalk walk;
    VeskWalkSetUp(&walk, 0, 4 / 30.0);
    EXPECT_NEAR(At(4)[0], VeskWalkAt(walk, 0x34A99240C425E490ull, 1, false), 1e-15);
    Apply("Diffuser", OnlyX(1) + Toggle("SMOOTH", false));
    EXPECT_NEAR(At(4)[0], Unit(0, 1, false), 1e-15) << "without it, the seed's walk";

    // XRATE changing by 0.01 a frame from 0 at frame 1: the drift scales with it.
    Apply("Diffuser", OnlyX(0) + " BEGIN NUM XRATE\n  ANIMATE LINEAR\n VALUE 0\n  LINEAR 0.01\n END\n");
    EXPECT_EQ(At(1)[0], 0);
    for (double f : {7.0, 50.0}) EXPECT_NEAR(At(f)[0], 0.01 * (f - 1) * Unit(0, f / 4, true), 1e-12) << f;
}

TEST_F(DiffuserTest, DescribesGhostsAndListsItems) {
    Apply("Diffuser", Number("SEED", 42));
    EXPECT_STREQ(handler->descln(instance), "Diffuser (seed 42)");
    EXPECT_EQ(handler->useItems(instance)[0], IdOf(item));
    Apply("Diffuser", Toggle("DISABLE", true));
    EXPECT_STREQ(handler->descln(instance), "Diffuser: Disabled");
    EXPECT_EQ(handler->useItems(instance), nullptr);
}

}  // namespace
