// Whip on an antenna null, its base keyed; the result read back as the
// antenna's up direction. Checked against where a still antenna must point,
// the hinge planes, the query budget, and the decay of a damped oscillation.
#include <cmath>

#include "helpers/transform.h"
#include "motion_plugin_test.h"

namespace {

constexpr double kDeg = 0.017453292519943295;

class WhipTest : public MotionPluginTest {
protected:
    WhipTest() : MotionPluginTest("Antenna") {}
    Vec3 Up(double frame) {
        std::vector<double> m = At(frame);
        return RotationRows({m[3] * kDeg, m[4] * kDeg, m[5] * kDeg})[1];
    }
    long QueriesAt(double frame) {
        long before = host.paramQueries;
        At(frame);
        return host.paramQueries - before;
    }
};

TEST_F(WhipTest, HingesBudgetAndASuddenStart) {
    item->SetRest({1, 2, 3}, {30, 20, 10});
    Vec3 keyed = RotationRows({30 * kDeg, 20 * kDeg, 10 * kDeg})[1];
    Apply("Whip", Number("GRAVITY", 0));
    Vec3 up = Up(40);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(up[i], keyed[i], 1e-9) << "a still antenna keeps its up direction";
    Apply("Whip");
    EXPECT_LT(Up(40)[1], keyed[1] - 0.01) << "gravity makes it sag";
    item->SetRest({0, 0, 0});
    EXPECT_NEAR(Up(40)[1], 1, 1e-12) << "straight up it does not";

    // A base thrown about in every direction: the hinges keep their planes.
    item->AddKey(10, {3, 1, -2, 0, 0, 0, 1, 1, 1});
    item->AddKey(20, {-1, 0, 4, 0, 0, 0, 1, 1, 1});
    for (int axis : {0, 1}) {
        Apply("Whip", Radio("AXIS", axis));
        for (double f : {12.0, 25.0, 40.0}) EXPECT_NEAR(Up(f)[axis == 0 ? 2 : 0], 0, 1e-12) << "hinge " << axis << " frame " << f;
    }
    // Lying flat with no spring, gravity pulls it down past the horizontal; a
    // limit of 75% raises D.y to 0.5 whenever it is lower, so once renormalised
    // it never lies lower than 0.5 / sqrt(1.25) = 0.447.
    item->SetRest({0, 0, 0}, {0, 90, 0});
    const std::string flat = Number("RESTORE", 0) + Number("GRAVITY", 1);
    Apply("Whip", flat);
    EXPECT_LT(Up(45)[1], -0.2);
    Apply("Whip", flat + Number("LIMIT", 0.75));
    for (double f : {5.0, 20.0, 45.0}) EXPECT_GE(Up(f)[1], 0.5 / std::sqrt(1.25) - 1e-9) << f;

    // 2 (N + 3) queries of the base: N = 3 at the lowest quality, 30 per
    // second at 100% (N = 0.5 x 2 s x 30 = 30 at the default).
    Apply("Whip", Number("QUALITY", 0));
    EXPECT_EQ(QueriesAt(60), 2 * (3 + 3));
    Apply("Whip");
    EXPECT_EQ(QueriesAt(60), 2 * (30 + 3));
    Apply("Whip", Number("QUALITY", 1));
    EXPECT_EQ(QueriesAt(30 * 100), 2 * (1019 + 3)) << "capped";
    // 0.7 x 1/3 s x 30 is 7, though in doubles it comes out 6.999999999999999.
    Apply("Whip", Number("QUALITY", 0.7));
    EXPECT_EQ(QueriesAt(10), 2 * (7 + 3)) << "a whole count a rounding below counts whole";

    Apply("Whip");
    std::vector<double> alone = At(40);
    Apply("Whip");
    for (int f = 0; f < 40; ++f) At(f);
    EXPECT_EQ(At(40), alone);
    EXPECT_TRUE(SetsAt(0).empty()) << "time 0 shows the keys";
    // A sudden start throws the tip back; it settles.
    item->SetRest({0, 0, 0});
    item->AddKey(30, {0, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    item->AddKey(30 * 31, {90, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    Apply("Whip", Number("GRAVITY", 0) + Number("DAMPING", 0.6) + Number("QUALITY", 1));
    std::vector<double> lean;  // towards -X, every frame from the start
    for (int f = 30; f <= 30 + 30 * 8; ++f) {
        Vec3 up = Up(f);
        lean.push_back(std::atan2(-up[0], up[1]));
    }
    EXPECT_GT(lean[6], 0.05) << "thrown back against the start";
    std::vector<int> peaks;
    for (size_t i = 1; i + 1 < lean.size(); ++i)
        if (lean[i] > lean[i - 1] && lean[i] >= lean[i + 1]) peaks.push_back(static_cast<int>(i));
    std::vector<int> troughs;
    for (size_t i = 1; i + 1 < lean.size(); ++i)
        if (lean[i] < lean[i - 1] && lean[i] <= lean[i + 1]) troughs.push_back(static_cast<int>(i));
    ASSERT_GE(peaks.size(), 3u);
    ASSERT_GE(troughs.size(), 2u);
    // Swing sizes peak to trough, one period apart.
    double first = lean[peaks[0]] - lean[troughs[0]], second = lean[peaks[1]] - lean[troughs[1]];
    double period = (peaks[1] - peaks[0]) / 30.0, rate = 0.6 * 0.6 + 0.1;
    EXPECT_NEAR(std::log(first / second), rate * period / 2, 0.15 * rate * period / 2);
}

// A base that starts at 3 m/s along +X at frame 30: the tip is thrown back,
// then swings about its new lean, the swing dying as exp(-(d^2 + 0.1) t / 2)
// for a velocity damped at d^2 + 0.1 per second.
}  // namespace
