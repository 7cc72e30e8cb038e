// PathAlign on a null moving along keyed paths at 30 fps: the aligned axis
// against directions worked out by hand, and a circle's lean into its centre.
#include <cmath>

#include "helpers/transform.h"
#include "motion_plugin_test.h"

namespace {

constexpr double kDeg = 0.017453292519943295;

class PathAlignTest : public MotionPluginTest {
protected:
    PathAlignTest() : MotionPluginTest("Plane") {}
    // The item's axis (0 +X ... 5 -Z) in the world at a frame.
    Vec3 Axis(double frame, int axis = 4) {
        std::vector<double> m = At(frame);
        Vec3 row = RotationRows({m[3] * kDeg, m[4] * kDeg, m[5] * kDeg})[axis / 2];
        return axis % 2 ? Vec3{-row[0], -row[1], -row[2]} : row;
    }
    void Linear(std::vector<std::pair<double, Vec3>> keys) {
        item->SetRest(keys[0].second);
        for (auto &c : item->motion) c.keys[0].linear = true;
        for (size_t i = 1; i < keys.size(); ++i) {
            const Vec3 &p = keys[i].second;
            item->AddKey(keys[i].first, {p[0], p[1], p[2], 0, 0, 0, 1, 1, 1}, true);
        }
    }
};

void ExpectDirection(const Vec3 &got, Vec3 want, const std::string &what) {
    want = Normalised(want);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(got[i], want[i], 1e-9) << what << " [" << i << "]";
}

TEST_F(PathAlignTest, AlongTheVelocityWithMixedWeights) {
    Linear({{0, {0, 0, 0}}, {30, {1, 2, -2}}});
    Apply("PathAlign");
    ExpectDirection(Axis(15), {1, 2, -2}, "+Z along a straight path");
    Apply("PathAlign", " BEGIN RADIO AXIS\n  SELECTION 1\n END RADIO AXIS\n");
    ExpectDirection(Axis(15, 1), {1, 2, -2}, "-X chosen");
    // At time 0 the span runs from 0 to two frames, not shortened to one.
    Linear({{0, {0, 0, 0}}, {1, {1, 0, 0}}, {2, {1, 1, 0}}});
    Apply("PathAlign");
    ExpectDirection(Axis(0), {1, 1, 0}, "the span at time 0");
    // Stopped at frame 20 after moving along +X: still facing +X at frame 30.
    Linear({{0, {0, 0, 0}}, {20, {5, 0, 0}}, {40, {5, 0, 0}}});
    ExpectDirection(Axis(30), {1, 0, 0}, "held after stopping");
    // Never moved: its own keyed axis.
    item->SetRest({1, 1, 1}, {90, 0, 0});
    ExpectDirection(Axis(10), {1, 0, 0}, "never moved");
    // Weights mix the directions.
    Linear({{0, {0, 0, 0}}, {30, {3, 0, 0}}});
    Apply("PathAlign", Number("VEL", 0.5));
    ExpectDirection(Axis(15), {1, 0, 1}, "half the velocity, half the keyed +Z");
    // Round a circle of radius 5 at a steady speed: velocity and acceleration
    // are at right angles, so 100% and 50% lean atan(1/2) into the centre.
    item->SetRest({5, 0, 0});
    for (int f = 1; f <= 120; ++f) {
        double a = f * 3 * kDeg;
        item->AddKey(f, {5 * std::cos(a), 0, 5 * std::sin(a), 0, 0, 0, 1, 1, 1});
    }
    Apply("PathAlign", Number("ACCEL", 0.5));
    double a = 60 * 3 * kDeg;
    Vec3 d = Axis(60), tangent = {-std::sin(a), 0, std::cos(a)}, inward = {-std::cos(a), 0, -std::sin(a)};
    EXPECT_NEAR(std::atan2(Dot(d, inward), Dot(d, tangent)), std::atan(0.5), 0.01);
    EXPECT_NEAR(d[1], 0, 1e-9);
    Apply("PathAlign", Toggle("DISABLE", true));
    EXPECT_TRUE(SetsAt(60).empty());
    EXPECT_STREQ(handler->descln(instance), "PathAlign: Disabled");
}

}  // namespace
