// Acid through its handler against the listed whole-spot values (the
// pattern, the eaten share, colour, specularity and the bumped normal for
// both shapes, and on a scaled object), effectors near a null, coverage as a
// share of the surface, band-limiting, offsets, inversion and the flags.
#include <cmath>
#include <random>

#include "helpers/random.h"
#include "plugin_harness.h"

namespace {

class Acid : public InstanceTest<ShaderHandler> {
protected:
    Acid() : InstanceTest("Acid") {}
    void With(const std::string &settings) {
        Renew(settings);
        ASSERT_EQ(h->init(instance), nullptr);
        ASSERT_EQ(h->newTime(instance, 0, 0), nullptr);
    }
    // A spot at an object position (the world's too, unless scaled), facing +Y,
    // colour 0.8 grey, specular 0.5.
    ShaderAccess Spot(double x, double y, double z, double scale = 1, double spotSize = 0) const {
        ShaderAccess s{};
        s.oPos[0] = x, s.oPos[1] = y, s.oPos[2] = z;
        for (int i = 0; i < 3; ++i) {
            s.wPos[i] = s.oPos[i] * scale;
            s.oXfrm[4 * i] = scale, s.wXfrm[4 * i] = 1 / scale;
            s.color[i] = 0.8;
        }
        s.wNorm[1] = 1;
        s.specular = 0.5;
        s.spotSize = spotSize;
        h->evaluate(instance, &s);
        return s;
    }
    // The eaten share at a spot, read back from the specular (0.5 towards 0).
    double Eaten(double x, double y, double z, double spotSize = 0) const { return 1 - Spot(x, y, z, 1, spotSize).specular / 0.5; }
};

TEST_F(Acid, TheListedSpots) {
    struct Case {
        const char *shape;
        std::string settings;
        double x, y, z, P, colour[3], specular, normal[3];
    } cases[] = {
        {"ragged", "", 0.2, 0.37, -0.21, 0.356334572, {0.612749676, 0.584801867, 0.556854057}, 0.321832714,
         {-0.002084399, 0.786982193, 0.616972189}},
        {"breakup", Radio("SHAPE", 1), 0.24, 0.37, -0.21, 0.595015871, {0.487324993, 0.440657082, 0.393989170},
         0.202492065, {-0.440945905, 0.877531568, -0.188427851}},
    };
    for (const Case &c : cases)
        for (double scale : {1.0, 2.0}) {  // the depth is in object units: the normal is the same
            With(c.settings);
            ShaderAccess s = Spot(c.x, c.y, c.z, scale);
            for (int i = 0; i < 3; ++i) {
                EXPECT_NEAR(s.color[i], c.colour[i], 1e-9) << c.shape;
                EXPECT_NEAR(s.wNorm[i], c.normal[i], 1e-9) << c.shape << " scale " << scale;
            }
            EXPECT_NEAR(s.specular, c.specular, 1e-9) << c.shape;
            EXPECT_NEAR(1 - s.specular / 0.5, c.P, 1e-9) << c.shape;
        }
}

TEST_F(Acid, EffectorsNearANull) {
    // Coverage 0 but 100 % within an effector's radius 1 (falloff 50 %) of a
    // null at the origin: inside 0.5 fully eaten, beyond 1 untouched, between
    // partly, along the pattern.
    host.scene.AddNullObject("Drop1").SetRest({0, 0, 0});
    const std::string near = PluginTest::Number("COVERAGE", 0) + " BEGIN ITEM PREFIX\n PREFIX 1 1 4 @Drop\n END ITEM PREFIX\n";
    With(near);
    for (double x : {0.3, 0.5}) {
        ShaderAccess s = Spot(x, 0, 0);
        EXPECT_NEAR(s.color[0], 70 / 255.0, 1e-9);
        EXPECT_NEAR(s.color[2], 30 / 255.0, 1e-9);
        EXPECT_NEAR(s.specular, 0, 1e-12);
    }
    EXPECT_NEAR(Spot(0.8, 0, 0).specular, 0.214859333, 1e-9) << "local coverage 0.352";
    for (double x : {0.9, 1.0, 1.2}) EXPECT_EQ(Spot(x, 0, 0).specular, 0.5) << x;
    EXPECT_STREQ(h->descln(instance), "Acid, ragged, 1 effectors");
    // Scaling the null by 2 doubles both radii.
    host.scene.objects[0]->SetRest({0, 0, 0}, {0, 0, 0}, {2, 2, 2});
    With(near);
    EXPECT_NEAR(Spot(0.9, 0, 0).specular, 0, 1e-12);
    EXPECT_EQ(Spot(2.1, 0, 0).specular, 0.5);
}

TEST_F(Acid, CoverageIsTheShareEaten) {
    // Coverage 0 leaves every spot as it was (bump too); 100 % puts every
    // switched-on attribute at its level.
    With(PluginTest::Number("COVERAGE", 0));
    ShaderAccess untouched = Spot(0.3, 0.1, 0.7);
    EXPECT_EQ(untouched.specular, 0.5);
    EXPECT_EQ(untouched.wNorm[1], 1);
    With(PluginTest::Number("COVERAGE", 1));
    ShaderAccess eaten = Spot(0.3, 0.1, 0.7);
    EXPECT_NEAR(eaten.color[1], 50 / 255.0, 1e-12);
    EXPECT_EQ(eaten.specular, 0);
    // With a hard edge, the share of random spots fully eaten is near the coverage.
    std::mt19937 random(9);
    std::uniform_real_distribution<double> anywhere(-20, 20);
    std::vector<std::array<double, 3>> spots(100000);
    for (auto &p : spots) p = {anywhere(random), anywhere(random), anywhere(random)};
    for (int shape : {0, 1})
        for (double coverage : {0.25, 0.5, 0.75}) {
            With(Radio("SHAPE", shape) + PluginTest::Number("COVERAGE", coverage) + PluginTest::Number("SOFTNESS", 0) +
                 Toggle("BUMPON", false));
            long full = 0;
            for (const auto &p : spots) full += Eaten(p[0], p[1], p[2]) == 1;
            EXPECT_NEAR(full / 100000.0, coverage, shape == 1 ? 0.04 : 0.06) << "shape " << shape;
            // Inverted, the spots eaten at c are those not eaten at 1 - c.
            if (coverage == 0.25) {
                With(Radio("SHAPE", shape) + PluginTest::Number("COVERAGE", 0.75) + PluginTest::Number("SOFTNESS", 0) +
                     Toggle("BUMPON", false) + Toggle("INVERT", true));
                long complement = 0;
                for (const auto &p : spots) complement += Eaten(p[0], p[1], p[2]) == 0;
                EXPECT_NEAR(complement, full, 5) << "shape " << shape;
            }
        }
}

TEST_F(Acid, BandLimitingOffsetsAndBump) {
    // A spot as large as Size fades every octave: v is 0.5, so at 50 %
    // coverage P is 0.5 whatever the softness.
    With(Toggle("BUMPON", false));
    EXPECT_NEAR(Eaten(0.3, 0.1, 0.7, 0.25), 0.5, 1e-12);
    With(Radio("SHAPE", 1) + Toggle("BUMPON", false));
    EXPECT_NEAR(Eaten(1.3, -0.4, 0.2, 0.3), 0.5, 1e-12);
    // An X offset d moves the pattern by d.
    With(Toggle("BUMPON", false));
    double here = Eaten(0.2, 0.37, -0.21);
    With(Toggle("BUMPON", false) + PluginTest::Number("XOFF", 0.05));
    EXPECT_NEAR(Eaten(0.25, 0.37, -0.21), here, 1e-12);
    // A small change of phase changes the pattern a little.
    With(Toggle("BUMPON", false) + PluginTest::Number("PHASE", 1e-4));
    EXPECT_NEAR(Eaten(0.2, 0.37, -0.21), here, 0.01);
    // The bump leans the normal towards rising P, away with a negative depth;
    // it stays unit length.
    With("");
    ShaderAccess in = Spot(0.2, 0.37, -0.21);
    With(PluginTest::Number("BUMPDEPTH", -0.01));
    ShaderAccess out = Spot(0.2, 0.37, -0.21);
    for (const ShaderAccess &s : {in, out})
        EXPECT_NEAR(std::sqrt(s.wNorm[0] * s.wNorm[0] + s.wNorm[1] * s.wNorm[1] + s.wNorm[2] * s.wNorm[2]), 1, 1e-12);
    EXPECT_LT(in.wNorm[2] * out.wNorm[2], 0) << "opposite leans";
}

TEST_F(Acid, FlagsAndDescriptions) {
    EXPECT_EQ(h->flags(instance), 19u);
    Settings(h, instance, "Acid", Toggle("TRANON", true) + Toggle("BUMPON", false) + Toggle("DISABLE", true));
    EXPECT_EQ(h->flags(instance), 82u) << "colour, specular, transparency; the same while disabled";
    EXPECT_STREQ(h->descln(instance), "Acid: Disabled");
    With(Radio("SHAPE", 1) + Toggle("SPECON", false) + PluginTest::Number("COVERAGE", 1));
    EXPECT_STREQ(h->descln(instance), "Acid, breakup");
    EXPECT_EQ(Spot(0.1, 0.2, 0.3).specular, 0.5) << "a switched-off attribute is never written";
    EXPECT_EQ(h->flags(nullptr), 0u);
}

TEST_F(Acid, TheNoiseAsListed) {
    // One octave of "Breakup" at size 1 samples the noise at the spot itself:
    // P = s(v), v = 1 / (1 + exp(-1.702 N / 0.2701)) at coverage 50 % and
    // softness 100 %. N is read back through both and checked against the
    // listed values (seed 1, octave 0), and the octave key by its hash.
    EXPECT_EQ(VeskHash(kAcidDomain, 1, 0), 0x2C21CF7C60998F64ull);
    With(Radio("SHAPE", 1) + PluginTest::Number("DETAIL", 1) + PluginTest::Number("SCALE", 1) +
         PluginTest::Number("SOFTNESS", 1) + Toggle("BUMPON", false));
    struct Case {
        double x, y, z, noise;
    } cases[] = {{0.5, 0.5, 0.5, -0.125}, {1.25, -2.5, 3.75, 0.514278889}, {0.1, 0.2, 0.3, -0.428298377}, {2, 3, 4, 0}};
    for (const Case &c : cases) {
        double P = Eaten(c.x, c.y, c.z), lo = 0, hi = 1;
        for (int i = 0; i < 200; ++i) {  // v from P = v^2 (3 - 2v), rising on 0 to 1
            double mid = (lo + hi) / 2;
            (mid * mid * (3 - 2 * mid) < P ? lo : hi) = mid;
        }
        double v = (lo + hi) / 2, noise = std::log(v / (1 - v)) * 0.2701 / 1.702;
        EXPECT_NEAR(noise, c.noise, 1e-9) << c.x << " " << c.y << " " << c.z;
    }
}

}  // namespace
