// Speedlimit, Limiter and VelAccel on a null of the embedded host, against
// positions and angles worked out by hand (chases at a known speed, clamps,
// the integrals of constant and linear velocities and accelerations).

#include "motion_plugin_test.h"

namespace {

class MotionChannels : public MotionPluginTest {
protected:
    MotionChannels() : MotionPluginTest("Mover") {}
    // A linear key on all channels at a time in seconds.
    void Key(double seconds, std::array<double, 9> values) { item->AddKey(seconds * 30, values, true); }
    static std::string Linear(const char *key, double value, double perFrame) {
        char text[160];
        std::snprintf(text, sizeof text, " BEGIN NUM %s\n  ANIMATE LINEAR\n VALUE %.17g\n  LINEAR %.17g\n END\n", key, value,
                      perFrame);
        return text;
    }
};

TEST_F(MotionChannels, SpeedlimitChases) {
    item->SetRest({0, 0, 0});
    Key(0.5, {10, 0, 0, 0, 0, 0, 1, 1, 1});  // 20 m/s along X
    struct Case {
        std::string settings;
        double seconds, x;
    } cases[] = {
        {Radio("VEL", 0), 0.5, 5},  {Radio("VEL", 0), 1.0, 10},                      // 10 m/s bites
        {Radio("VEL", 0), 0.25, 2.5}, {Radio("VEL", 0) + Number("X", 30), 0.25, 5},  // 30 m/s does not
        {Radio("VEL", 1) + Number("V", 4), 1.0, 4},                                  // the absolute limit
    };
    for (const Case &c : cases) {
        Apply("Speedlimit", c.settings);
        EXPECT_NEAR(At(c.seconds * 30)[0], c.x, 1e-9) << c.settings << " at " << c.seconds;
    }
    Apply("Speedlimit");
    EXPECT_TRUE(SetsAt(15).empty()) << "no speed limit by default";

    // Diagonally, at most V along the straight line to the keys.
    item->SetRest({0, 0, 0});
    Key(0.1, {3, 4, 0, 0, 0, 0, 1, 1, 1});
    Apply("Speedlimit", Radio("VEL", 1) + Number("V", 10));
    auto m = At(0.25 * 30);
    EXPECT_NEAR(m[0], 1.5, 1e-9);
    EXPECT_NEAR(m[1], 2.0, 1e-9);
    Apply("Speedlimit", Radio("VEL", 0) + Number("X", 10) + Number("Y", 10));
    m = At(0.25 * 30);
    EXPECT_NEAR(m[0], 2.5, 1e-9) << "per channel, each at its own limit";
    EXPECT_NEAR(m[1], 2.5, 1e-9);

    // Heading keyed round by 360 degrees in one frame: 90 deg/s lets it turn
    // 180 degrees a second, so it catches up after 2 seconds.
    item->SetRest({0, 0, 0});
    item->AddKey(1, {0, 0, 0, 360, 0, 0, 1, 1, 1}, true);
    Apply("Speedlimit", Radio("VEL", 0) + Radio("ROT", 0));
    EXPECT_NEAR(At(30)[3], 180, 1e-9);
    EXPECT_NEAR(At(60)[3], 360, 1e-9);
    std::vector<double> alone = At(45);
    Apply("Speedlimit", Radio("VEL", 0) + Radio("ROT", 0));
    for (int f = 0; f < 45; ++f) At(f);
    EXPECT_EQ(At(45), alone) << "a frame alone equals the frames in order";
}

TEST_F(MotionChannels, LimiterClampsAndVelAccelIntegrates) {
    item->SetRest({3, -2, 7}, {80, -60, 10}, {1, 4, 1});
    Apply("Limiter");
    std::vector<double> keyed = {3, -2, 7, 80, -60, 10}, all = At(0);
    for (int c = 0; c < 6; ++c) EXPECT_NEAR(all[c], keyed[c], 1e-12) << "all off, channel " << c;
    auto Switch = [&](const char *key) { return Toggle(key, true); };
    Apply("Limiter", Switch("PYL") + Switch("RHL") + Number("RHLVAL", -45) + Switch("RHH") + Number("RHHVAL", 45) +
                         Switch("RPL") + Number("RPLVAL", -45) + Switch("PXL") + Number("PXLVAL", 5) + Switch("PXH") +
                         Number("PXHVAL", 3) + Switch("SYH") + Number("SYHVAL", 2));
    std::vector<double> m = At(0);
    EXPECT_EQ(m[1], 0) << "kept above the ground";
    EXPECT_NEAR(m[3], 45, 1e-12) << "heading within 45 degrees";
    EXPECT_NEAR(m[4], -45, 1e-12);
    EXPECT_EQ(m[0], 3) << "min 5 above max 3: the max";
    EXPECT_EQ(m[2], 7);
    double scale[9];
    host.FinalMotion(*item, 0, scale);
    EXPECT_EQ(scale[7], 2);
    // A bound animated by a change per frame is taken at the current time.
    Apply("Limiter", Switch("PZH") + Linear("PZHVAL", 1, 0.5));
    EXPECT_NEAR(At(9)[2], 5, 1e-12) << "1 + 0.5 x (9 - 1)";
    EXPECT_NEAR(At(21)[2], 7, 1e-12) << "bound above the value";
    Apply("Limiter", Toggle("DISABLE", true) + Switch("PYL"));
    EXPECT_TRUE(SetsAt(0).empty());
    EXPECT_STREQ(handler->descln(instance), "Limiter: Disabled");
    // VelAccel integrates.
    item->SetRest({1, 2, 3});
    struct Case {
        std::string settings;
        double seconds;
        std::array<double, 3> added;
    } cases[] = {
        {Number("XVEL", 1), 2.5, {2.5, 0, 0}},
        {Number("XACCEL", 2), 1.234, {1.234 * 1.234, 0, 0}},          // t^2, partial last step included
        {Number("YVEL", 3) + Number("YACCEL", -9.8), 0.75, {0, 3 * 0.75 - 4.9 * 0.5625, 0}},
        {Linear("ZVEL", 2, 0.3), 1.5, {0, 0, 2 * 1.5 + 0.3 * (15 * 1.5 * 1.5 - 1.5)}},  // the integral of a linear speed
        {Number("XVEL", 5), 0, {0, 0, 0}}, {Number("XVEL", 5), -1, {0, 0, 0}},
    };
    for (const Case &c : cases) {
        Apply("VelAccel", c.settings);
        std::vector<double> m = At(c.seconds * 30);
        for (int a = 0; a < 3; ++a) EXPECT_NEAR(m[a], (a + 1) + c.added[a], 1e-9) << c.settings << " axis " << a;
    }
    Apply("VelAccel", Number("XVEL", 1) + Toggle("DISABLE", true));
    EXPECT_TRUE(SetsAt(30).empty());
    EXPECT_STREQ(handler->descln(instance), "Vel-Accel: Disabled");
    EXPECT_EQ(handler->useItems(instance), nullptr);
    Apply("VelAccel");
    EXPECT_STREQ(handler->descln(instance), "Vel-Accel");
    EXPECT_EQ(SetsAt(0), (std::vector<int>{LWIP_POSITION, LWIP_SCALING, LWIP_ROTATION}));
}

}  // namespace
