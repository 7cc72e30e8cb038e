// VFog against optical depths worked out by hand for a layer from altitude 0
// to 10 m (density 0.02 per m, a 5 m exponential top): inside it, looking down
// on it, above it, the sky through it, the depth along the view axis, the
// clear and maximum distances, degenerate layers, a linear bottom, the sun's
// glow and the alpha modes; each sample through the host's pixel access.
#include <cmath>

#include "plugin_harness.h"

namespace {

const double kE = std::exp(1.0);

// One sample's access: its corner, colour and depth; what it set.
struct Sample {
    double sx = 319.5, sy = 239.5;
    BufferValue rgba[4] = {0, 0, 0, 255};
    float depth = 100;
    BufferValue out[4] = {};
    int sets = 0;
} sample;

void Bytes(int type, int num, BufferValue *out) {
    for (int i = 0; i < num; ++i) out[i] = type + i >= LWBUF_RED && type + i <= LWBUF_ALPHA ? sample.rgba[type + i - LWBUF_RED] : 0;
}
void Floats(int type, int num, float *out) {
    for (int i = 0; i < num; ++i) out[i] = type + i == LWBUF_DEPTH ? sample.depth : 0;
}
void Set(BufferValue rgba[4]) {
    std::copy(rgba, rgba + 4, sample.out);
    ++sample.sets;
}

class VFog : public InstanceTest<PixelFilterHandler> {
protected:
    Item *camera = nullptr;
    VFog() : InstanceTest("VFog") {}
    void SetUp() override {
        InstanceTest::SetUp();
        host.scene.frameWidth = 640, host.scene.frameHeight = 480;
        camera = &host.scene.AddCamera("Camera");  // zoom 3.2: tan of the half angles 0.416667 and 0.3125
    }
    // The output of one sample with the camera at (0, y, 0) turned by pitch
    // degrees, from a new instance with these settings.
    std::array<int, 4> Run(double y, double pitch, const std::string &settings, Sample s = Sample()) {
        camera->SetRest({0, y, 0}, {0, pitch, 0});
        Renew(settings);
        EXPECT_EQ(h->init(instance), nullptr);
        EXPECT_EQ(h->newTime(instance, 0, 0), nullptr);
        sample = s;
        PixelAccess access{s.sx, s.sy, Bytes, Floats, Set, nullptr, nullptr, nullptr, nullptr};
        h->evaluate(instance, &access);
        EXPECT_EQ(sample.sets, 1) << "every sample is set once";
        return {sample.out[0], sample.out[1], sample.out[2], sample.out[3]};
    }
};

int Byte(double v) { return static_cast<int>(std::floor(v + 0.5)); }
// A black opaque pixel under fog amount m of colour (190, 200, 210).
std::array<int, 4> Fogged(double m) { return {Byte(190 * m), Byte(200 * m), Byte(210 * m), 255}; }

TEST_F(VFog, OpticalDepthsAcrossTheLayer) {
    const std::string linear = Radio("FALLOFF", 0);
    struct Case {
        const char *what;
        double y, pitch;
        std::string settings;
        float depth;
        double tau;  // by hand
    } cases[] = {
        {"inside the core, level", 5, 0, "", 100, 100 * 0.02},
        {"straight down from 20 m", 20, 90, "", 20, 0.2 + 0.1 * (1 - std::exp(-2.0))},
        {"the same with a bottom falloff", 20, 90, Number("BOTFALL", 10), 20, 0.2 + 0.1 * (1 - std::exp(-2.0))},
        {"above the layer, level", 30, 0, "", 100, 100 * 0.02 * std::exp(-4.0)},
        {"above a linear top", 30, 0, linear, 100, 0}, {"inside a linear top", 12.5, 0, linear, 100, 1.0},
        {"straight up into a linear bottom", -5, -90, linear + Number("BOTFALL", 10), 5, 0.02 * 5 * (1 - 5.0 / 20)},
        {"a level ray to the sky", 5, 0, "", 1e30f, 5000 * 0.02},
        {"the sky at 45 degrees up", 5, -45, "", 1e30f, std::sqrt(2.0) * (0.1 + 0.1)},
    };
    for (const Case &c : cases) {
        Sample s;
        s.depth = c.depth;
        auto out = Run(c.y, c.pitch, Number("BOTFALL", 0) + Radio("FALLOFF", 1) + c.settings, s);
        double m = 1 - std::exp(-c.tau);
        EXPECT_EQ(out, Fogged(m)) << c.what << ": m " << m;
    }
    // The first in levels, by hand: the fog colour (190, 200, 210) over black
    // by m = 1 - exp(-2) = 0.8647.
    EXPECT_EQ(Run(5, 0, Radio("FALLOFF", 1)), (std::array<int, 4>{164, 173, 182, 255}));
    // Depth is along the view axis.
    // A layer thick enough to be uniform: the fog gives the path's length.
    // The corner sample's ray has view-axis component 1 and length
    // sqrt(1 + a^2 + b^2), a = (1/640 - 1) 5/12, b = (1 - 1/480) 0.3125.
    const double a = (1.0 / 640 - 1) * 5 / 12, b = (1 - 1.0 / 480) * 0.3125, n = std::sqrt(1 + a * a + b * b);
    EXPECT_NEAR(10 * n, 11.270842, 1e-6);
    Sample corner;
    corner.sx = corner.sy = 0;
    corner.depth = 10;
    auto out = Run(0, 0, Number("ALTITUDE", -500) + Number("THICKNESS", 1000), corner);
    EXPECT_EQ(out, Fogged(1 - std::exp(-0.02 * 10 * n)));
}

TEST_F(VFog, ClearAndMaximumDistancesAndDegenerateLayers) {
    Sample grey;
    grey.rgba[0] = grey.rgba[1] = grey.rgba[2] = 77;
    grey.rgba[3] = 40;
    const std::array<int, 4> untouched = {77, 77, 77, 40};
    EXPECT_EQ(Run(5, 0, Number("NOFOG", 100) + Radio("ALPHA", 2), grey), untouched) << "clear to the point, alpha too";
    EXPECT_EQ(Run(5, 0, Number("NOFOG", 50) + Number("MAXDIST", 20), grey), untouched) << "max below clear";
    EXPECT_EQ(Run(5, 0, Number("NOFOG", 0) + Number("MAXDIST", 5000) + Number("MAXFOG", 0.5)),
              Fogged(0.5 * (1 - std::exp(-2.0))));
    EXPECT_EQ(Run(5, 0, Number("MAXFOG", 1) + Number("THICKNESS", 0) + Number("TOPFALL", 0) + Number("BOTFALL", 0), grey),
              untouched)
        << "no core and hard edges: no fog";
    EXPECT_EQ(Run(5, 0, Number("THICKNESS", 10) + Number("TOPFALL", 5) + Number("DENSITY", 0), grey), untouched)
        << "no density: inactive";
    Sample sky;
    sky.depth = 1e30f;
    EXPECT_EQ(Run(5, 0, Number("DENSITY", 0.02) + Toggle("FOGBG", false), sky), (std::array<int, 4>{0, 0, 0, 255}))
        << "the background left alone";
    EXPECT_EQ(Run(5, 0, Toggle("FOGBG", true) + Toggle("DISABLE", true)), (std::array<int, 4>{0, 0, 0, 255}));
}

TEST_F(VFog, SunGlowAndAlpha) {
    // A point light at (0, 105, 100) seen from (0, 5, 0) along +Z: 45 degrees
    // off the ray, so the glow weight is cos(45)^tightness.
    Item &sun = host.scene.AddLight("Sun");
    sun.lightType = LWLIGHT_POINT;
    sun.SetRest({0, 105, 100});
    const std::string aimed = Toggle("DISABLE", false) + " BEGIN ITEM SUN\n LIGHT 1 1 3 @Sun\n END ITEM SUN\n";
    const double m = 1 - std::exp(-2.0);
    auto glow = [&](double g) {
        double colour[3] = {190 + g * 65, 200 + g * 20, 210 - g * 50};
        return std::array<int, 4>{Byte(colour[0] * m), Byte(colour[1] * m), Byte(colour[2] * m), 255};
    };
    EXPECT_EQ(Run(5, 0, aimed + Number("SUNTIGHT", 2)), glow(0.5));
    EXPECT_EQ(Run(5, 0, aimed + Number("SUNTIGHT", 2)), (std::array<int, 4>{192, 182, 160, 255}));
    EXPECT_EQ(Run(5, 0, aimed + Number("SUNTIGHT", 8)), (std::array<int, 4>{168, 174, 179, 255}));
    sun.SetRest({0, 5, -100});  // behind the camera
    EXPECT_EQ(Run(5, 0, aimed), (std::array<int, 4>{164, 173, 182, 255}));
    // Alpha: replaced by the fog amount, or multiplied towards opaque.
    Sample clear;
    clear.rgba[3] = 0;
    EXPECT_EQ(Run(5, 0, Radio("ALPHA", 2), clear)[3], 220);
    EXPECT_EQ(Run(5, 0, Radio("ALPHA", 1), clear)[3], 220);
    EXPECT_EQ(Run(5, 0, Radio("ALPHA", 1))[3], 255);
    EXPECT_NEAR(m, 0.864665, 1e-6);
}

TEST_F(VFog, FlagsDescriptionAndItems) {
    EXPECT_EQ(h->flags(instance), 4096u);
    EXPECT_STREQ(h->descln(instance), "Vertical Fog");
    Item &sun = host.scene.AddLight("Sun");
    Settings(h, instance, "VFog", " BEGIN ITEM SUN\n LIGHT 1 1 3 @Sun\n END ITEM SUN\n" + Toggle("DISABLE", true));
    EXPECT_EQ(h->flags(instance), 4096u) << "the same with DISABLE on";
    EXPECT_STREQ(h->descln(instance), "Vertical Fog: Disabled");
    EXPECT_EQ(h->useItems(instance), nullptr);
    Settings(h, instance, "VFog", Toggle("DISABLE", false));
    EXPECT_EQ(ItemsUsed(h->useItems(instance)), std::vector<LWItemID>{IdOf(&sun)});
    EXPECT_EQ(h->flags(nullptr), 0u);
    EXPECT_STREQ(h->descln(nullptr), "Error!");
}

}  // namespace
