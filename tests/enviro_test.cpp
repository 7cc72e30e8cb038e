// Enviro: each mapping's sample directions against the geometry worked out
// by hand (to 1e-12), the cube's edges agreeing, fill outside the cross and
// the discs, "Alpha from Hits", alignment to the view item, and a real render
// in which a known object appears where each mapping says its direction lies.
#include <cmath>

#include "globe.h"
#include "host/render/renderer.h"
#include "plugin_harness.h"

namespace {

using V = std::array<double, 3>;

// One sample's access: its corner; the ray the filter cast and what it set.
struct Traced {
    V from{}, direction{};
    int rays = 0;
    double length = 5;  // what the host's trace answers
    bool touchColour = true;
    BufferValue out[4] = {};
} traced;

void Bytes(int, int num, BufferValue *out) {
    for (int i = 0; i < num; ++i) out[i] = 77;
}
void Set(BufferValue rgba[4]) { std::copy(rgba, rgba + 4, traced.out); }
double Trace(const double from[3], const double direction[3], double colour[3]) {
    ++traced.rays;
    for (int i = 0; i < 3; ++i) traced.from[i] = from[i], traced.direction[i] = direction[i];
    if (traced.touchColour) colour[0] = 1, colour[1] = 0.5, colour[2] = 0;
    return traced.length;
}

class Enviro : public InstanceTest<PixelFilterHandler> {
protected:
    Enviro() : InstanceTest("Enviro") {}
    void SetUp() override {
        InstanceTest::SetUp();
        host.scene.AddCamera("Camera").SetRest({0, 2, -5});
    }
    // The direction of the sample at (sx, sy) of a W x H frame; false when it was filled.
    bool Look(int width, int height, double sx, double sy, V *direction, bool withRays = true) {
        host.scene.frameWidth = width, host.scene.frameHeight = height;
        EXPECT_EQ(h->init(instance), nullptr);
        EXPECT_EQ(h->newTime(instance, 0, 0), nullptr);
        int before = traced.rays;
        PixelAccess access{sx, sy, Bytes, nullptr, Set, nullptr, withRays ? Trace : nullptr, nullptr, nullptr};
        h->evaluate(instance, &access);
        *direction = traced.direction;
        return traced.rays > before;
    }
    static std::string Mapping(int m) { return Radio("MAPPING", m); }
};

void ExpectDirection(const V &got, V want, const char *what) {
    double n = std::sqrt(want[0] * want[0] + want[1] * want[1] + want[2] * want[2]);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(got[i], want[i] / n, 1e-12) << what << " axis " << i;
}

TEST_F(Enviro, DirectionsOfEachMapping) {
    const double r = 1 / std::sqrt(2.0);
    struct Case {
        const char *what;
        std::string settings;
        int W, H;
        double sx, sy;
        V want;
    } cases[] = {
        {"spherical centre", Mapping(0), 1024, 512, 511.5, 255.5, {0, 0, 1}},
        {"spherical three quarters across", Mapping(0), 1024, 512, 767.5, 255.5, {1, 0, 0}},
        {"spherical one quarter across", Mapping(0), 1024, 512, 255.5, 255.5, {-1, 0, 0}},
        {"spherical, heading offset 90", Mapping(0) + Number("HEADING", 90), 1024, 512, 511.5, 255.5, {1, 0, 0}},
        {"spherical 180 span, right edge", Mapping(0) + Number("HSPAN", 180), 1024, 512, 1023.5, 255.5, {1, 0, 0}},
        {"cylindrical 90 span, near the top", Mapping(1) + Number("VSPAN", 90), 1024, 512, 511.5, -0.5, {0, 1, 1}},
        {"cube front", Mapping(2), 1024, 768, 383.5, 383.5, {0, 0, 1}},
        {"cube top", Mapping(2), 1024, 768, 383.5, 127.5, {0, 1, 0}},
        {"cube bottom", Mapping(2), 1024, 768, 383.5, 639.5, {0, -1, 0}},
        {"cube back", Mapping(2), 1024, 768, 895.5, 383.5, {0, 0, -1}},
        {"cube right, a quarter up", Mapping(2), 1024, 768, 639.5, 319.5, {1, 0.5, 0}},
        {"front disc centre", Mapping(3), 1024, 512, 255.5, 255.5, {0, 0, 1}},
        {"back disc centre", Mapping(3), 1024, 512, 767.5, 255.5, {0, 0, -1}},
        {"front disc at 45 degrees right", Mapping(3), 1024, 512, 255.5 + 256 * r, 255.5, {r, 0, r}},
    };
    for (const Case &c : cases) {
        Renew(c.settings);
        V d;
        ASSERT_TRUE(Look(c.W, c.H, c.sx, c.sy, &d)) << c.what;
        ExpectDirection(d, c.want, c.what);
    }
    // The top row of the spherical map: within a pixel's latitude of straight up.
    Renew(Mapping(0));
    V up;
    Look(1024, 512, 100.5, -0.5, &up);
    EXPECT_NEAR(up[1], 1, 1e-12);
    // The touching point of the hemisphere discs: +X from both sides.
    Renew(Mapping(3));
    V left, right;
    Look(1024, 512, 511.5 - 1e-9, 255.5, &left);
    Look(1024, 512, 511.5 + 1e-9, 255.5, &right);
    // A billionth of a pixel from the rim the depth is the square root of a
    // few billionths: within 1e-5 of +X.
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(left[i], i == 0 ? 1 : 0, 1e-5) << "front disc's right edge";
        EXPECT_NEAR(right[i], i == 0 ? 1 : 0, 1e-5) << "back disc's left edge";
    }
}

TEST_F(Enviro, TheCubesEdgesMeetAndAViewItemAligns) {
    // 1024 x 768: cells of 256. Across each edge of the cross the two cells give
    // one direction: sample just either side of the boundary.
    Renew(Mapping(2));
    struct Edge {
        const char *what;
        double x1, y1, x2, y2;  // frame positions (sx + 0.5) on either side
    } edges[] = {
        {"left | front", 256, 300, 256, 300},   {"front | right", 512, 450, 512, 450},
        {"right | back", 768, 400, 768, 400},   {"top | front", 300, 256, 300, 256},
        {"front | bottom", 400, 512, 400, 512}, {"back's right | left's left", 1024, 333, 0, 333},
    };
    const double eps = 1e-7;
    for (const Edge &e : edges) {
        V a, b;
        bool horizontal = e.x1 == e.x2 && e.x1 != 0;
        bool wrap = e.x1 == 1024;
        ASSERT_TRUE(Look(1024, 768, (wrap ? e.x1 - eps : horizontal ? e.x1 - eps : e.x1) - 0.5,
                         (!horizontal && !wrap ? e.y1 - eps : e.y1) - 0.5, &a));
        ASSERT_TRUE(Look(1024, 768, (wrap ? e.x2 + eps : horizontal ? e.x2 + eps : e.x2) - 0.5,
                         (!horizontal && !wrap ? e.y2 + eps : e.y2) - 0.5, &b));
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], 1e-6) << e.what << " axis " << i;
    }
    // Aligned to a view item.
    // A null at (1, 2, 3) turned 90 degrees in heading: aligned, its map is the
    // world's map turned by a heading offset of 90, cast from the null.
    Item &eye = host.scene.AddNullObject("Eye");
    eye.SetRest({1, 2, 3}, {90, 0, 0});
    const std::string view = " BEGIN ITEM CENTER\n OBJECT 1 1 3 @Eye\n END ITEM CENTER\n";
    for (double sx : {100.5, 511.5, 900.5}) {
        V aligned, offset;
        Renew(view + Toggle("ALIGN", true) + Number("NEAR", 0.5));
        Look(1024, 512, sx, 200.5, &aligned);
        V from = traced.from;
        Renew(Number("HEADING", 90));
        Look(1024, 512, sx, 200.5, &offset);
        ExpectDirection(aligned, offset, "aligned to a null turned 90");
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(from[i], (i == 0 ? 1 : i == 1 ? 2 : 3) + 0.5 * aligned[i], 1e-12);
    }
    Renew(view);
    EXPECT_STREQ(h->descln(instance), "Enviro: Spherical from Eye");
    // With bank the horizon tilts: the map's level centre row climbs on one side.
    eye.SetRest({0, 0, 0}, {0, 0, 30});
    Renew(view + Toggle("ALIGN", true));
    V side;
    Look(1024, 512, 767.5, 255.5, &side);
    EXPECT_NEAR(std::fabs(side[1]), 0.5, 1e-12) << "the map's +X lifted or lowered by the bank of 30";
}

TEST_F(Enviro, FillHitsAndAlpha) {
    // Outside the cross with the fill left at its default: black, clear.
    V d;
    Renew(Mapping(2));
    EXPECT_FALSE(Look(1024, 768, 100, 100, &d));
    EXPECT_EQ(std::to_array(traced.out), (std::array<BufferValue, 4>{0, 0, 0, 0}));
    // Fill (10, 20, 30): outside the cross and the discs, alpha 0, no ray.
    const std::string fill = " BEGIN COLOR FILL\n  RED 10\n  GREEN 20\n  BLUE 30\n END\n";
    const std::array<BufferValue, 4> filled = {10, 20, 30, 0};
    Renew(Mapping(2) + fill);
    EXPECT_FALSE(Look(1024, 768, 100, 100, &d)) << "cell (0, 0)";
    EXPECT_EQ(std::to_array(traced.out), filled);
    EXPECT_FALSE(Look(800, 800, 400, 50, &d)) << "800 x 800: the band above the cross";
    EXPECT_TRUE(Look(800, 800, 299.5, 149.5, &d)) << "the top cell begins at row 100";
    ExpectDirection(d, {0, 1, -0.5}, "top cell, a quarter from its top edge");
    Renew(Mapping(3) + fill);
    EXPECT_FALSE(Look(1024, 512, 2, 2, &d)) << "a corner";
    EXPECT_EQ(std::to_array(traced.out), filled);
    // A hit: the colour traced, alpha 255. A miss (-1): the colour the host
    // gives, alpha 255, or 0 with "Alpha from Hits"; a host that leaves the
    // colour alone gives the fill.
    Renew(Mapping(0) + fill);
    Look(64, 32, 10, 10, &d);
    EXPECT_EQ(std::to_array(traced.out), (std::array<BufferValue, 4>{255, 128, 0, 255}));
    traced.length = -1;
    Look(64, 32, 10, 10, &d);
    EXPECT_EQ(traced.out[3], 255);
    Renew(Mapping(0) + fill + Toggle("HITALPHA", true));
    traced.touchColour = false;
    Look(64, 32, 10, 10, &d);
    EXPECT_EQ(std::to_array(traced.out), filled);
    traced.length = 5, traced.touchColour = true;
    // DISABLE, or no ray functions: the render passes through.
    Renew(Toggle("DISABLE", true));
    EXPECT_FALSE(Look(64, 32, 10, 10, &d));
    EXPECT_EQ(std::to_array(traced.out), (std::array<BufferValue, 4>{77, 77, 77, 77}));
    Renew("");
    EXPECT_FALSE(Look(64, 32, 10, 10, &d, false));
    EXPECT_EQ(std::to_array(traced.out), (std::array<BufferValue, 4>{77, 77, 77, 77}));
    EXPECT_EQ(h->flags(instance), LWPFF_RAYTRACE);
    EXPECT_STREQ(h->descln(instance), "Enviro: Spherical");
}

TEST_F(Enviro, AnObjectAppearsWhereItsDirectionMaps) {
    // A luminous red ball 10 m from a null at the origin, towards (0.5, 0, 1);
    // rendered at 512 x 256 with Enviro from the null. Where each mapping
    // puts that direction (worked out here), the map is red; straight behind,
    // it is the black backdrop.
    const double n = std::sqrt(1.25), d[3] = {0.5 / n, 0, 1 / n};
    Item &ball = host.scene.AddObject("Ball", "ball.lwo");
    ball.SetRest({10 * d[0], 10 * d[1], 10 * d[2]});
    MakeGlobe(ball.geometry, {0, 0, 0}, 0.6, 24, 12);
    Surface &red = ball.geometry.surfaces[0];
    red.color = {1, 0, 0}, red.luminosity = 1, red.diffuse = 0;
    host.scene.AddNullObject("Eye").SetRest({0, 0, 0});
    host.scene.frameWidth = 512, host.scene.frameHeight = 256;
    std::string error;
    ASSERT_NE(host.AddFilterPlugin("PixelFilterHandler", "Enviro", &error), nullptr) << error;
    LWInstance enviro = host.scene.filterPlugins.back().instance;
    // Positions of d by hand: spherical and cylindrical at longitude atan(0.5);
    // the cube (cells of 85.33 from x = 85.33) on its front face at a = 0.5;
    // the front disc (diameter 256, centre x 128) at x = 0.4472.
    const double longitude = std::atan(0.5), cell = 256.0 / 3;
    struct Case {
        int mapping;
        double px, py, behindX, behindY;
    } cases[] = {
        {0, (0.5 + longitude / (2 * M_PI)) * 512, 128, (longitude / (2 * M_PI)) * 512, 128},
        {1, (0.5 + longitude / (2 * M_PI)) * 512, 128, (longitude / (2 * M_PI)) * 512, 128},
        {2, cell + cell * 1.75, 128, cell + cell * 3.25, 128}, {3, 128 + d[0] * 128, 128, 384 + d[0] * 128, 128},
    };
    for (const Case &c : cases) {
        Settings(h, enviro, "Enviro", Mapping(c.mapping) + " BEGIN ITEM CENTER\n OBJECT 1 1 3 @Eye\n END ITEM CENTER\n");
        Renderer renderer(host);
        RgbaImage image;
        ASSERT_TRUE(renderer.Render(0, &image, &error)) << error;
        auto at = [&](double x, double y) { return &image.rgba[(static_cast<size_t>(y) * 512 + static_cast<size_t>(x)) * 4]; };
        EXPECT_EQ(at(c.px, c.py)[0], 255) << "mapping " << c.mapping << ": the ball";
        EXPECT_EQ(at(c.px, c.py)[1], 0) << "mapping " << c.mapping;
        EXPECT_EQ(at(c.behindX, c.behindY)[0], 0) << "mapping " << c.mapping << ": behind, the backdrop";
    }
}

}  // namespace
