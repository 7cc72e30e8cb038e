// HSVBoost and EdgeRGB on single shading spots, against colours worked out
// here with a second HSV formula, and the bias and gain curves against their
// defining points and the symmetry that makes gain out of bias.
#include <cmath>

#include "controls/numeric.h"
#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "helpers/curves.h"
#include "plugin_harness.h"

namespace {

TEST(Curves, BiasAndGain) {
    for (double x : {0.1, 0.3, 0.5, 0.77, 0.95}) {
        EXPECT_NEAR(Bias(x, 0.5), x, 1e-15) << "bias 0.5 is the identity";
        EXPECT_NEAR(Gain(x, 0.5), x, 1e-15) << "gain 0.5 is the identity";
        for (double g : {0.1, 0.3, 0.8}) {
            // Gain is bias applied to each half, point-symmetric about the middle.
            double want = x < 0.5 ? Bias(2 * x, g) / 2 : 1 - Bias(2 - 2 * x, g) / 2;
            EXPECT_NEAR(Gain(x, g), want, 1e-15) << x << " " << g;
        }
    }
    for (double b : {0.05, 0.2, 0.785, 0.99}) EXPECT_NEAR(Bias(0.5, b), b, 1e-15) << "bias passes (0.5, b)";
    struct Case {
        double value, want;
    } ends[] = {{Bias(0, 0.3), 0}, {Bias(1, 0.3), 1}, {Bias(0.4, 1), 1}, {Bias(0.4, 0), 0},  {Gain(-1, 0.3), 0},
                {Gain(2, 0.3), 1}, {Gain(0.7, 0), 1},  {Gain(0.3, 0), 0},  {Gain(0.3, 1), 0.5}, {Gain(0.7, 1), 0.5}};
    for (const Case &c : ends) EXPECT_EQ(c.value, c.want);
}

// HSV to RGB by the channel formula (not the sector table): channel n is
// V - V S max(0, min(k, 4 - k, 1)), k = (n + H / 60) mod 6.
std::array<double, 3> FromHsv(double h, double s, double v) {
    std::array<double, 3> rgb;
    const int n[3] = {5, 3, 1};
    for (int i = 0; i < 3; ++i) {
        double k = std::fmod(n[i] + h / 60, 6.0);
        rgb[i] = v - v * s * std::max(0.0, std::min({k, 4 - k, 1.0}));
    }
    return rgb;
}

class ViewAngleShader : public PluginTest {
protected:
    const ShaderHandler *handler = nullptr;
    LWInstance instance = nullptr;
    void TearDown() override {
        if (instance) handler->destroy(instance);
        PluginTest::TearDown();
    }
    void Make(const char *server, const std::string &settings = "") {
        handler = HandlerOf<ShaderHandler>("ShaderHandler", server);
        Renew(handler, &instance, server, settings);
        ASSERT_EQ(handler->newTime(instance, 1, 0), nullptr);
    }
    // A spot at the origin seen from +Z, its normal `cosine` off the view.
    std::array<double, 3> Shade(std::array<double, 3> colour, double cosine, double luminous = 0, ShaderAccess *out = nullptr) {
        ShaderAccess s{};
        s.raySource[2] = 7;
        double sine = std::sqrt(std::max(0.0, 1 - cosine * cosine));
        s.wNorm[0] = 3 * sine, s.wNorm[2] = 3 * cosine;  // not of unit length
        for (int i = 0; i < 3; ++i) s.color[i] = colour[i];
        s.luminous = luminous;
        handler->evaluate(instance, &s);
        if (out) *out = s;
        return {s.color[0], s.color[1], s.color[2]};
    }
};

void ExpectColour(const std::array<double, 3> &got, const std::array<double, 3> &want, double eps, const std::string &what) {
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(got[i], want[i], eps) << what << " [" << i << "]";
}

TEST_F(ViewAngleShader, HSVBoostFacingAndGrazing) {
    const auto base = FromHsv(20, 0.75, 0.8);
    const std::string settings = Number("PERPSAT", 0.5) + Number("PERPHUE", 30) + Number("PERPBRIGHT", 0.8) +
                                 Number("GLANCESAT", 1.2) + Number("GLANCEHUE", -50) + Number("GLANCEBRIGHT", 1.25);
    Make("HSVBoost");
    ExpectColour(Shade(base, 0.6), base, 1e-12, "defaults leave the colour");
    Make("HSVBoost", settings);
    ShaderAccess spot;
    ExpectColour(Shade(base, 1, 0, &spot), FromHsv(50, 0.375, 0.64), 1e-12, "facing: the perpendicular settings");
    EXPECT_NEAR(spot.wNorm[2], 1, 1e-15) << "the normal is written back normalised";
    ExpectColour(Shade(base, 0), FromHsv(330, 0.9, 1.0), 1e-12, "edge-on: the glancing settings");
    ExpectColour(Shade(base, -0.7), FromHsv(330, 0.9, 1.0), 1e-12, "back-facing counts as glancing");
    Make("HSVBoost", Number("PERPHUE", 400) + Number("GLANCEHUE", 400));
    ExpectColour(Shade(base, 0.5), FromHsv(60, 0.75, 0.8), 1e-12, "hue wraps past 360");
    Make("HSVBoost", settings + Number("GLANCESAT", 3));
    // Brightness at x = 0.09: 1.25 + (0.8 - 1.25) x 0.09 = 1.2095; no hue to shift.
    ExpectColour(Shade({0.4, 0.4, 0.4}, 0.3), {0.4 * 1.2095, 0.4 * 1.2095, 0.4 * 1.2095}, 1e-12, "grey stays grey");
}

// x = cosine^2 moves along bias then gain, with the entered values turned
// round: entered 0.2 becomes 1 - (0.2 x 0.95 + 0.025) = 0.785.
TEST_F(ViewAngleShader, HSVBoostTransitions) {
    const auto base = FromHsv(200, 0.5, 0.5);
    const std::string bright = Number("PERPBRIGHT", 2) + Number("GLANCEBRIGHT", 1);
    struct Case {
        std::string settings;
        double cosine, along;  // how far from glancing to perpendicular
    } cases[] = {
        {"", 0.5, 0.25},                                   // linear at the defaults
        {Number("TRANSBRIGHT", 0.2), std::sqrt(0.5), 0.785},  // bias(0.5, b) = b
        {Number("SHARPBRIGHT", 0.9), 0.5, 0.06},            // gain(0.25, 0.12) = bias(0.5, 0.12) / 2
        {Number("SHARPBRIGHT", 0.9), std::sqrt(0.5), 0.5},  // and the middle stays
    };
    for (const Case &c : cases) {
        Make("HSVBoost", bright + c.settings);
        ExpectColour(Shade(base, c.cosine), FromHsv(200, 0.5, 0.5 * (1 + c.along)), 1e-12, c.settings);
    }
}

TEST_F(ViewAngleShader, HSVBoostLuminosityAndSwatches) {
    const auto base = FromHsv(20, 0.75, 0.8);
    Make("HSVBoost", Number("GLANCEHUE", 90) + Toggle("LUMIN", true));
    ShaderAccess spot;
    ExpectColour(Shade(base, 0, 0, &spot), base, 0, "luminosity 0: unchanged");
    EXPECT_EQ(spot.luminous, 0);
    auto half = Shade(base, 0, 0.5, &spot), full = FromHsv(110, 0.75, 0.8);
    ExpectColour(half, {(base[0] + full[0]) / 2, (base[1] + full[1]) / 2, (base[2] + full[2]) / 2}, 1e-12, "half");
    EXPECT_EQ(spot.luminous, 0) << "the luminosity is used up";

    // The hue swatch: the base colour where the disc faces the viewer, the
    // glancing shift towards its rim; a changed setting redraws it.
    auto *p = static_cast<PluginInstance *>(instance);
    p->panel->afterLoad(p);  // as the window opens
    auto *swatch = reinterpret_cast<PreviewControl *>(FindControl(p->panel, "HUESWATCH"));
    auto pixel = [&](int x, int y) {
        const unsigned char *px = &swatch->rgb[(y * swatch->width + x) * 3];
        return std::array<int, 3>{px[0], px[1], px[2]};
    };
    const std::array<int, 3> centre = {int(0.75 * 255 + 0.5), int(0.45 * 255 + 0.5), int(0.30 * 255 + 0.5)};
    EXPECT_EQ(pixel(32, 32), centre);
    EXPECT_GT(pixel(2, 32)[1], pixel(2, 32)[0]) << "90 degrees on from orange is green at the rim";
    auto *glance = reinterpret_cast<NumericControl *>(FindControl(p->panel, "GLANCEHUE"));
    glance->value = 0;
    ReportChange(&glance->record);  // as a typed value reports
    EXPECT_EQ(pixel(2, 32), centre) << "redrawn without the shift";
    EXPECT_EQ(pixel(0, 0), (std::array<int, 3>{60, 60, 60})) << "outside the disc";
}

TEST_F(ViewAngleShader, EdgeRGB) {
    const std::array<double, 3> own = {0.2, 0.5, 0.9}, edge = {90 / 255.0, 25 / 255.0, 25 / 255.0};
    Make("EdgeRGB");
    ExpectColour(Shade(own, 0), edge, 1e-15, "edge-on: the edge colour");
    ExpectColour(Shade(own, -0.4), edge, 1e-15, "back-facing: an edge too");
    ExpectColour(Shade(own, 1), own, 0, "facing: its own colour");
    auto middle = Shade(own, 0.6);
    for (int i = 0; i < 3; ++i) {
        EXPECT_GT(middle[i], std::min(own[i], edge[i])) << i;
        EXPECT_LT(middle[i], std::max(own[i], edge[i])) << i;
    }
    // Coverage and sharpness are held off the curves' ends.
    for (auto [entered, held] : {std::pair{0.0, 0.0001}, std::pair{1.0, 0.9999}}) {
        Make("EdgeRGB", Number("TRANS", entered) + Number("SHARP", entered));
        auto a = Shade(own, 0.6);
        Make("EdgeRGB", Number("TRANS", held) + Number("SHARP", held));
        ExpectColour(a, Shade(own, 0.6), 0, "coverage " + std::to_string(entered));
    }
    EXPECT_EQ(handler->flags(instance), static_cast<unsigned>(LWSHF_COLOR));
    EXPECT_STREQ(handler->descln(instance), "EdgeRGB");
    EXPECT_STREQ(handler->init(nullptr), "Eeeek, no instance at init!");
    EXPECT_STREQ(handler->newTime(nullptr, 0, 0), "Eeek, no inst at newtime");
    Make("HSVBoost");
    EXPECT_EQ(handler->flags(instance), static_cast<unsigned>(LWSHF_COLOR));
    EXPECT_STREQ(handler->descln(instance), "HSV Boost");
}

}  // namespace
