// SuperQ over an object's points and Unveil over shading spots, against their
// formulas worked out here.
#include <cmath>

#include "displacement_plugin_test.h"
#include "plugin_harness.h"

namespace {

class SuperQ : public DisplacementPluginTest {
protected:
    SuperQ() : DisplacementPluginTest("Ball", "Ball.lwo") {}
    // A fresh SuperQ with these settings over six points; their displacement.
    std::vector<Point> Points(const std::string &settings) {
        object->geometry.points = {{0, 0, 0}, {2, 0, 0}, {0, -3, 0}, {0, 0, 0.5}, {1, 2, -2}, {-0.6, 0.8, 0}};
        Apply("SuperQ", settings);
        return At(0);
    }
};

// The shape's formula: a coordinate becomes |coord / r|^(2c) * sign * r.
double Bent(double coord, double r, double c) {
    double sign = coord < 0 ? -1 : (coord > 0 ? 1 : 0);
    return std::pow(std::fabs(coord / r), 2 * c) * sign * r;
}

TEST_F(SuperQ, BendsEachCoordinateByItsShare) {
    struct Case {
        double x, y, z;    // curvatures entered
        double ux, uy, uz;  // curvatures used
    } cases[] = {
        {0.5, 0.5, 0.5, 0.5, 0.5, 0.5},  // a sphere stays a sphere
        {0.1, 0.1, 0.1, 0.1, 0.1, 0.1},  // towards a box
        {2, 3, 1.5, 2, 3, 1.5},          // towards a star
        {0, -1, 5, 0.02, 0.02, 4.0},     // held to 0.02 and 4.0
    };
    for (const Case &c : cases) {
        auto moved = Points(Number("XEXP", c.x) + Number("YEXP", c.y) + Number("ZEXP", c.z));
        for (size_t n = 0; n < moved.size(); ++n) {
            const auto &p = object->geometry.points[n];
            double r = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]) + 1e-16;
            EXPECT_NEAR(moved[n][0], Bent(p[0], r, c.ux), 1e-12) << n;
            EXPECT_NEAR(moved[n][1], Bent(p[1], r, c.uy), 1e-12) << n;
            EXPECT_NEAR(moved[n][2], Bent(p[2], r, c.uz), 1e-12) << n;
        }
    }
    // (-0.6, 0.8, 0) has r = 1: with curvature 1 the x share squared is 0.36.
    auto moved = Points(Number("XEXP", 1) + Number("YEXP", 1) + Number("ZEXP", 1));
    EXPECT_NEAR(moved[5][0], -0.36, 1e-12);
    EXPECT_NEAR(moved[5][1], 0.64, 1e-12);
    // Disabled: the points as modelled, and no item depended on.
    moved = Points(Number("XEXP", 0.1) + Toggle("DISABLE", true));
    EXPECT_EQ(moved, object->geometry.points);
    EXPECT_EQ(handler->useItems(instance), nullptr);
    EXPECT_STREQ(handler->descln(instance), "SuperQ: Disabled");
    Points(Toggle("DISABLE", false));
    EXPECT_STREQ(handler->descln(instance), "SuperQ");
    EXPECT_EQ(handler->useItems(instance)[0], IdOf(object));
    EXPECT_EQ(handler->flags(instance), 0u);
    EXPECT_STREQ(handler->newTime(nullptr, nullptr, 0, 0), "Eeek, no inst at newtime");
}

class Unveil : public InstanceTest<ShaderHandler> {
protected:
    Unveil() : InstanceTest("Unveil") {}
};

TEST_F(Unveil, FadesNearSpots) {
    LWInstance &unveil = instance;
    auto spot = [&](double distance, double transparency) {
        ShaderAccess s{};
        s.rayLength = distance;
        s.transparency = transparency;
        h->evaluate(unveil, &s);
        return s.transparency;
    };
    struct Case {
        std::string settings;
        double distance, before, after;
    } cases[] = {
        {"", 5.0, 0.2, 0.2},   // exactly at FAR: unchanged
        {"", 3.0, 0.2, 1.0},   // exactly at NEAR: the full effect
        {"", 4.0, 0.0, 0.5},   // halfway: u = 0.5, s = 0.5
        {"", 4.5, 0.0, 0.15625},  // u = 0.25: s = 2.5 * 0.0625
        {"", 9.0, 0.3, 0.3},
        {Number("NEAR", 6), 4.5, 0.1, 1.0},  // NEAR past FAR: full effect nearer than FAR, no division
        {Number("NEAR", 6), 5.0, 0.1, 0.1}, {Number("STRENGTH", 0), 1.0, 0.4, 0.4},
        {Number("STRENGTH", 0.5) + Number("TRANSP", 0.6), 1.0, 0.2, 0.4},
    };
    for (const Case &c : cases) {
        Settings(h, unveil, "Unveil", Number("FAR", 5) + Number("NEAR", 3) + Number("TRANSP", 1) + Number("STRENGTH", 1) +
                                         c.settings);
        ASSERT_EQ(h->newTime(unveil, 0, 0), nullptr);
        EXPECT_NEAR(spot(c.distance, c.before), c.after, 1e-12) << c.settings << " at " << c.distance;
    }
    EXPECT_EQ(h->flags(unveil), static_cast<unsigned>(LWSHF_TRANSP));
    EXPECT_STREQ(h->init(nullptr), "Eeeek, no instance at init!");
}

}  // namespace
