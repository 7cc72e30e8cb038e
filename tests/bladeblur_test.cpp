// BladeBlur through its handler, against coverages worked out by hand: a
// stopped rotor's blades, one and several blade spacings swept in an
// exposure, strobing at a whole spacing a frame, a spin-up's angle, the tip
// and hub, the exposure's source, the six axes and the steady disc.
#include <cmath>

#include "plugin_harness.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

class BladeBlur : public InstanceTest<ShaderHandler> {
protected:
    BladeBlur() : InstanceTest("BladeBlur") {}
    void SetUp() override {
        InstanceTest::SetUp();
        host.scene.AddCamera("Camera");
    }
    // A fresh instance with these settings, at a frame (and a pass time).
    void At(const std::string &settings, double frame, double time = -1) {
        Renew(settings);
        ASSERT_EQ(h->init(instance), nullptr);
        ASSERT_EQ(h->newTime(instance, static_cast<LWFrame>(frame), time < 0 ? frame / 30 : time), nullptr);
    }
    ShaderAccess Spot(double x, double y, double z) const {
        ShaderAccess s{};
        s.oPos[0] = x, s.oPos[1] = y, s.oPos[2] = z;
        s.color[0] = s.color[1] = s.color[2] = 0.5;
        s.transparency = 0.25, s.specular = 0.8, s.mirror = 0.4;
        h->evaluate(instance, &s);
        return s;
    }
    double Clear(double x, double y, double z = 0) const { return Spot(x, y, z).transparency; }
    // A spot at radius r and angle a (radians) about +Z.
    double ClearAt(double r, double a) const { return Clear(r * std::cos(a), r * std::sin(a)); }
    static std::string Widths(double w) { return Number("ROOTW", w) + Number("TIPW", w); }
    static std::string Own(double frames) { return Radio("EXPMODE", 1) + Number("EXPOSURE", frames); }
};

TEST_F(BladeBlur, StoppedAndSweptBlades) {
    // Stopped, two blades 0.2 wide: on blade 0 opaque, between the blades clear.
    At(Number("RPM", 0) + Number("BLADES", 2) + Widths(0.2), 10);
    EXPECT_EQ(Clear(0.5, 0), 0);
    EXPECT_EQ(Clear(0, 0.5), 1);
    At(Number("RPM", 0) + Number("BLADES", 2) + Widths(0.2) + Number("OPACITY", 0.6), 10);
    EXPECT_NEAR(Clear(0.5, 0), 0.4, 1e-12);
    // Four blades, alpha 0.1 at r = 1; 900 RPM for half a frame at 30 fps sweeps
    // exactly one spacing (pi/2): the coverage is 2 alpha / P = 0.2 / (pi / 2)
    // at every angle; two spacings give the same; one and a half vary by angle
    // but average the same over the circle.
    const std::string four = Number("BLADES", 4) + Widths(2 * std::sin(0.1)) + Own(0.5);
    const double c = 0.2 / (kPi / 2);
    for (double rpm : {900.0, 1800.0}) {
        At(four + Number("RPM", rpm), 10);
        for (double a : {0.0, 0.3, 1.0, 2.5, 4.0}) EXPECT_NEAR(ClearAt(1, a), 1 - c, 1e-9) << rpm << " rpm at " << a;
    }
    At(four + Number("RPM", 1350), 10);
    double sum = 0, low = 1, high = 0;
    const int n = 3600;
    for (int i = 0; i < n; ++i) {
        double v = ClearAt(1, 2 * kPi * (i + 0.5) / n);
        sum += v, low = std::min(low, v), high = std::max(high, v);
    }
    EXPECT_NEAR(sum / n, 1 - c, 1e-4);
    EXPECT_GT(high - low, 0.01) << "one and a half spacings vary by angle";
}

TEST_F(BladeBlur, StrobingAndTheSteadyDisc) {
    // Three blades at 600 RPM and 30 fps turn one spacing a frame: frames 10
    // and 11 look the same. At 590 RPM they turn 118 degrees, the pattern
    // creeping back by 2 degrees a frame.
    const std::string three = Number("BLADES", 3) + Widths(0.3) + Own(0.5);
    auto pattern = [&](double rpm, double frame, double shift) {
        At(three + Number("RPM", rpm), frame);
        std::vector<double> v;
        for (int i = 0; i < 90; ++i) v.push_back(ClearAt(0.8, i * 4 * kPi / 180 + shift));
        return v;
    };
    auto ten = pattern(600, 10, 0), eleven = pattern(600, 11, 0);
    for (int i = 0; i < 90; ++i) EXPECT_NEAR(ten[i], eleven[i], 1e-9);
    auto back = pattern(590, 10, 0), next = pattern(590, 11, -2 * kPi / 180);
    for (int i = 0; i < 90; ++i) EXPECT_NEAR(back[i], next[i], 1e-9) << "the frame after, 2 degrees back";
    // Steady disc: 300 RPM over half a frame sweeps pi/6; the spot (1, 0, 0)
    // with alpha 0.1 is covered for 0.1 of it at every frame.
    const std::string steady = Number("BLADES", 3) + Widths(2 * std::sin(0.1)) + Own(0.5) + Number("RPM", 300);
    for (double frame : {10.0, 11.0, 57.0}) {
        At(steady + Toggle("STEADY", true), frame);
        EXPECT_NEAR(Clear(1, 0), 1 - 0.1 / (kPi / 6), 1e-9) << "frame " << frame;
    }
    At(steady, 10);
    double frameTen = Clear(1, 0);
    At(steady, 11);
    EXPECT_GT(std::fabs(Clear(1, 0) - frameTen), 0.05) << "without it the rotor turns 60 degrees a frame";
}

TEST_F(BladeBlur, SpinUpFollowsTheIntegratedSpeed) {
    // RPM from 0 at frame 1 rising 10 a frame: the angle at t is
    // (2 pi / 60) 10 (15 t^2 - t). With no exposure a blade's edges stand
    // at that angle plus and minus alpha.
    const double alpha = 0.1;
    const std::string spin = Number("BLADES", 1) + Widths(2 * std::sin(alpha)) + Own(0) +
                             " BEGIN NUM RPM\n  ANIMATE LINEAR\n VALUE 0\n  LINEAR 10\n END\n";
    for (double frame : {15.0, 40.0, 90.0}) {
        At(spin, frame);
        double t = frame / 30, angle = 2 * kPi / 60 * 10 * (15 * t * t - t);
        EXPECT_EQ(ClearAt(1, angle), 0) << frame;
        EXPECT_EQ(ClearAt(1, angle + alpha - 1e-4), 0) << frame;
        EXPECT_EQ(ClearAt(1, angle + alpha + 1e-4), 1) << frame;
        EXPECT_EQ(ClearAt(1, angle - alpha - 1e-4), 1) << frame;
    }
}

TEST_F(BladeBlur, RadiiExposureAndAxes) {
    // Beyond the tip: clear whatever the opacity; inside the hub: untouched;
    // with no hub the blades overlap at the centre.
    At(Number("RPM", 0) + Number("HUBRAD", 0.1), 10);
    EXPECT_EQ(Clear(1.2, 0), 1);
    ShaderAccess hub = Spot(0.05, 0, 0);
    EXPECT_EQ(hub.transparency, 0.25);
    EXPECT_EQ(hub.specular, 0.8);
    At(Number("RPM", 0), 10);
    EXPECT_EQ(Clear(1e-4, 1e-4), 0);
    // Motion blur on with a blur length of 0.5: E = 1/60 s whatever Exposure
    // says, and two passes of one frame share one window.
    host.scene.renderOptions |= LWROPT_MOTIONBLUR;
    host.scene.cameras[0]->blurLength = ConstantChannel(0.5);
    const std::string four = Number("BLADES", 4) + Widths(2 * std::sin(0.1)) + Number("RPM", 900);
    At(four + Number("EXPOSURE", 3), 10, 10.0 / 30);
    double first = ClearAt(1, 0.7);
    EXPECT_NEAR(first, 1 - 0.2 / (kPi / 2), 1e-9) << "one spacing in 1/60 s";
    At(four + Number("EXPOSURE", 3), 10, 9.7 / 30);
    EXPECT_EQ(ClearAt(1, 0.7), first);
    At(four + Own(0), 10);
    double v = ClearAt(1, 0.7);
    EXPECT_TRUE(v == 0 || v == 1) << "no exposure: covered or clear";
    host.scene.renderOptions &= ~LWROPT_MOTIONBLUR;
    // The six axes: the same spot in each axis's plane gives one coverage; -Z
    // at +R mirrors +Z at +R.
    const std::string moving = Number("BLADES", 3) + Widths(0.3) + Own(0.5) + Number("RPM", 400);
    const double p = 0.6, q = 0.35;
    double want = -1;
    for (int axis = 0; axis < 6; ++axis) {
        At(moving + Radio("AXIS", axis), 10);
        static const int kP[6] = {1, 2, 0, 2, 0, 1}, kQ[6] = {2, 0, 1, 1, 2, 0};
        double o[3] = {0.7, 0.7, 0.7};  // the axis coordinate is ignored
        o[kP[axis]] = p, o[kQ[axis]] = q;
        double got = Clear(o[0], o[1], o[2]);
        if (want < 0) want = got;
        EXPECT_NEAR(got, want, 1e-12) << "axis " << axis;
    }
    At(moving + Radio("AXIS", 5), 10);
    double mirrored = Clear(q, p);  // -Z takes p from y and q from x
    At(moving + Radio("AXIS", 2), 10);
    EXPECT_NEAR(mirrored, Clear(p, q), 1e-12);
}

TEST_F(BladeBlur, FlagsTintAndDisable) {
    EXPECT_EQ(h->flags(instance), 114u);
    At(Toggle("FADESPEC", false) + Number("TINTAMT", 0.5) + Number("RPM", 0), 10);
    EXPECT_EQ(h->flags(instance), 66u);
    ShaderAccess s = Spot(0.5, 0, 0);
    EXPECT_NEAR(s.color[0], 0.5 * 0.5 + 0.5 * 30 / 255.0, 1e-12);
    EXPECT_EQ(s.specular, 0.8) << "highlights kept";
    At(Number("RPM", 0), 10);
    EXPECT_EQ(Spot(0, 0.5, 0).specular, 0) << "no blade there: no highlight";
    At(Toggle("DISABLE", true), 10);
    EXPECT_EQ(Clear(0.5, 0), 0.25);
    EXPECT_STREQ(h->descln(instance), "Blade Blur: Disabled");
    EXPECT_EQ(h->flags(instance), 114u);
    At(Number("BLADES", 5), 10);
    EXPECT_STREQ(h->descln(instance), "Blade Blur: 5-Blade Rotor");
    EXPECT_EQ(h->flags(nullptr), 0u);
}

}  // namespace
