// Diffuse through the host's displacement pass: the reference displacements,
// the law of diffusion over many points, coherence, and determinism.
#include <cmath>

#include "displacement_plugin_test.h"
#include "helpers/random.h"

namespace {

class DiffuseTest : public DisplacementPluginTest {
protected:
    DiffuseTest() : DisplacementPluginTest("Dust", "Dust.lwo") {}
    void SetUp() override {
        DisplacementPluginTest::SetUp();
        object->geometry.points = {{0.31, 0.72, -1.13}};
    }
    Point Moved(double frame, size_t n = 0) {
        Point p = At(frame)[n], rest = object->geometry.points[n];
        return {p[0] - rest[0], p[1] - rest[1], p[2] - rest[2]};
    }
    // Root-mean-square displacement per axis over a grid of points.
    double Spread(double frame) {
        auto points = At(frame);
        double sum = 0;
        for (size_t n = 0; n < points.size(); ++n)
            for (int a = 0; a < 3; ++a) sum += std::pow(points[n][a] - object->geometry.points[n][a], 2);
        return std::sqrt(sum / (3.0 * points.size()));
    }
};

TEST_F(DiffuseTest, ReferenceDisplacements) {
    EXPECT_EQ(VeskHash(kDiffuseDomain, 1, 1, 325059, 754975, -1184891), 0x7562D84A4F7694D3ull) << "the point's own key";
    const std::string smooth = Toggle("SMOOTH", true);
    struct Case {
        double frame;
        std::string settings;
        Point moved;
    } cases[] = {
        {1.5, "", {-0.007609176, 0.002738238, -0.008675676}}, {1.5, smooth, {-0.006241115, 0.002083186, -0.008218195}},
        {2, "", {-0.015218353, 0.005476477, -0.017351353}}, {2, smooth, {-0.015218353, 0.005476477, -0.017351353}},
        {61, "", {0.024741962, 0.061520224, -0.133116137}},
        {61, Number("PULL", 0.5), {0.025459478, 0.050090671, -0.077221969}},
        {300.5, "", {0.056926662, -0.006863903, -0.144032228}},
        {300.5, smooth, {0.056727172, -0.007458833, -0.145172189}},
        {5000.25, smooth, {0.226703889, -0.370726694, -0.290709636}},
    };
    for (const Case &c : cases) {
        Apply("Diffuse", c.settings);
        ExpectPoint(Moved(c.frame), c.moved, 1e-9, "frame " + std::to_string(c.frame) + c.settings);
    }
    Apply("Diffuse");
    for (double frame : {-3.0, 0.0, 1.0}) EXPECT_EQ(At(frame)[0], object->geometry.points[0]) << "frame " << frame;
    Point half = Moved(1.5), whole = Moved(2);
    for (int a = 0; a < 3; ++a) EXPECT_NEAR(half[a], whole[a] / 2, 1e-12 * std::fabs(whole[a])) << "half a step";
    // Smooth steps leave the start at rest: the drift grows as u^2 there.
    Apply("Diffuse", smooth);
    Point early = Moved(1.01), later = Moved(1.02);
    EXPECT_NEAR(later[0] / early[0], 4, 0.05);
    // Past the last step the walk stands still.
    Point cap = Moved(1 + 1048575), beyond = Moved(1 + 1048575 + 500.5);
    EXPECT_EQ(cap, beyond);
}

// 20,000 points over many coherence cells, rates 1: rms displacement per axis
// is sqrt(tau) without a pull and settles at 1 / sqrt(2 pull) with one.
TEST_F(DiffuseTest, LawOfDiffusionCoherenceAndAxes) {
    object->geometry.points.clear();
    for (int i = 0; i < 20000; ++i) object->geometry.points.push_back({(i % 40) * 0.37, (i / 40 % 25) * 0.41, (i / 1000) * 0.53});
    const std::string unit = Number("RATEX", 1) + Number("RATEY", 1) + Number("RATEZ", 1) + Number("SIZE", 0.3);
    for (double coherence : {0.0, 1.0}) {
        std::string what = "coherence " + std::to_string(coherence);
        Apply("Diffuse", unit + Number("COHERENCE", coherence));
        EXPECT_NEAR(Spread(1 + 4 * 30), 2.0, 0.06) << what;
        EXPECT_NEAR(Spread(1 + 16 * 30), 4.0, 0.12) << what;
        Apply("Diffuse", unit + Number("COHERENCE", coherence) + Number("PULL", 0.5));
        EXPECT_NEAR(Spread(1 + 100 * 30), 1.0, 0.03) << what;
    }
    // Coherence, axes and determinism.
    object->geometry.points = {{0.2, 0.3, 0.4}, {0.2, 0.3, 0.4}, {0.21, 0.3, 0.4}, {5, -2, 1}};
    Apply("Diffuse", Number("COHERENCE", 0));
    auto a = At(40);
    EXPECT_EQ(a[0], a[1]) << "points at one place move as one";
    Apply("Diffuse", Number("COHERENCE", 1) + Number("SIZE", 50));
    auto lump = At(40);
    double apart = std::hypot(lump[2][0] - lump[0][0] - 0.01, lump[2][1] - lump[0][1], lump[2][2] - lump[0][2]);
    double moved = std::hypot(lump[0][0] - 0.2, lump[0][1] - 0.3, lump[0][2] - 0.4);
    EXPECT_LT(apart, moved / 100) << "neighbours sway as one lump";

    Apply("Diffuse", Number("RATEY", 0));
    auto still = At(40);
    for (size_t n = 0; n < still.size(); ++n) EXPECT_EQ(still[n][1], object->geometry.points[n][1]) << "no Y rate";
    for (std::string none : {Number("STRENGTH", 0), Number("RATEX", 0) + Number("RATEY", 0) + Number("RATEZ", 0),
                             Toggle("DISABLE", true)}) {
        Apply("Diffuse", none);
        EXPECT_EQ(At(40), object->geometry.points) << none;
    }

    Apply("Diffuse");
    auto first = At(50);
    At(10);
    EXPECT_EQ(At(50), first) << "the order of frames does not matter";
    Apply("Diffuse");
    EXPECT_EQ(At(50), first) << "a second instance gives the same points";
    auto straight = At(50.5);
    Apply("Diffuse", Toggle("SMOOTH", true));
    EXPECT_EQ(At(50), first) << "both forms agree at whole steps";
    EXPECT_NE(At(50.5), straight) << "and differ between them";
}

TEST_F(DiffuseTest, FlagsDescriptionsAndGhosts) {
    Apply("Diffuse");
    EXPECT_EQ(handler->flags(instance), 0u);
    EXPECT_STREQ(handler->descln(instance), "Diffuse, seed 1");
    Apply("Diffuse", " BEGIN RADIO SPACE\n  SELECTION 1\n END RADIO SPACE\n" + Number("SEED", 12));
    EXPECT_EQ(handler->flags(instance), static_cast<unsigned>(LWDMF_WORLD));
    EXPECT_STREQ(handler->descln(instance), "Diffuse, seed 12, world axes");
    // World axes: the drift is the same vector whatever way the object turns.
    object->SetRest({1, 2, 3}, {90, 0, 0});
    Point turned = Moved(40);
    object->SetRest({1, 2, 3});
    Point straight = Moved(40);
    // Points come back in object coordinates: turned by 90 degrees of heading,
    // the object's X is the world's -Z and its Z the world's X.
    ExpectPoint({turned[2], turned[1], -turned[0]}, straight, 1e-12, "the same world drift");
    EXPECT_FALSE(Ghosted("SIZE"));
    Apply("Diffuse", Number("COHERENCE", 0));
    EXPECT_TRUE(Ghosted("SIZE")) << "nothing shared to size";
    EXPECT_FALSE(Ghosted("SEED"));
    Apply("Diffuse", Toggle("DISABLE", true));
    EXPECT_STREQ(handler->descln(instance), "Diffuse: Disabled");
    EXPECT_EQ(handler->useItems(instance), nullptr);
    EXPECT_TRUE(Ghosted("RATEX") && Ghosted("SPACE") && Ghosted("START"));
    EXPECT_STREQ(handler->newTime(nullptr, IdOf(object), 0, 0), "Eeek, no inst at newtime");
}

}  // namespace
