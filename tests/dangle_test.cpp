// Dangle on a rope modelled along +X, two units long, hung from its pivot to
// an anchor null; the hanging curve is checked against a catenary solved here
// independently (by its parameter and vertex), and the straight and folded
// cases against their geometry.
#include <cmath>

#include "displacement_plugin_test.h"
#include "lwob_writer.h"

namespace {

// The catenary of length 1 from (0, 0) to (h, v): y = k (cosh((x - x0) / k)
// - cosh(x0 / k)), with k from sqrt(1 - v^2) = 2 k sinh(h / 2k) by bisection.
struct Catenary {
    double k, x0;
    Catenary(double h, double v) {
        double low = 1e-6, high = 1e6, target = std::sqrt(1 - v * v);
        for (int i = 0; i < 200; ++i) {
            double mid = std::sqrt(low * high);
            (2 * mid * std::sinh(h / (2 * mid)) > target ? low : high) = mid;
        }
        k = std::sqrt(low * high);
        x0 = h / 2 - k * std::asinh(v / (2 * k * std::sinh(h / (2 * k))));
    }
    double Y(double x) const { return k * (std::cosh((x - x0) / k) - std::cosh(x0 / k)); }
};

class DangleTest : public DisplacementPluginTest {
protected:
    Item *anchor = nullptr;
    std::string path = ScratchPath("dangle_rope.lwo");
    void SetUp() override {
        DisplacementPluginTest::SetUp();
        anchor = &host.scene.AddNullObject("Anchor");
        object = &host.scene.AddObject("Rope", path);
        Rope(2, 2000);
    }
    void TearDown() override {
        std::remove(path.c_str());
        DisplacementPluginTest::TearDown();
    }
    // Points along +X from 0 to `length`, and the file that gives the length.
    void Rope(double length, int segments) {
        object->geometry.points.clear();
        for (int i = 0; i <= segments; ++i) object->geometry.points.push_back({length * i / segments, 0, 0});
        WriteLwob(path, {{0, 0.05, 0}, {length, -0.05, 0}});
    }
    std::vector<Point> Hang(Point pivot, Point at, const std::string &settings = "") {
        object->SetRest(pivot);
        anchor->SetRest(at);
        Apply("Dangle", " BEGIN ITEM CONTROL\n OBJECT 1 1 6 @Anchor\n END ITEM CONTROL\n" + settings);
        // The host hands the points back in the object's frame: unturned, at the pivot.
        auto points = At(0);
        for (Point &q : points)
            for (int i = 0; i < 3; ++i) q[i] += pivot[i];
        return points;
    }
};

double Distance(const Point &a, const Point &b) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

TEST_F(DangleTest, HangsOnTheCatenary) {
    // h and v in chain lengths (L = 2), both solvers' ranges, the anchor above and below.
    struct Case {
        double h, v;
    } cases[] = {{0.75, -0.25}, {0.4, 0.3}, {0.9, 0.1}, {0.05, -0.5}, {0.0231, 0.2}, {0.01, 0.6}, {0.002, -0.3}};
    const Point pivot = {1, 5, -2};
    for (const Case &c : cases) {
        std::string what = "h " + std::to_string(c.h) + " v " + std::to_string(c.v);
        double ground = 2 * c.h, dx = 0.6, dz = 0.8;  // towards +X and +Z
        Point at = {pivot[0] + ground * dx, pivot[1] + 2 * c.v, pivot[2] + ground * dz};
        auto rope = Hang(pivot, at);
        ExpectPoint(rope.front(), pivot, 1e-9, what + ": starts at the pivot");
        ExpectPoint(rope.back(), at, 1e-5, what + ": ends at the anchor");
        double length = 0, lowest = 0;
        for (size_t i = 1; i < rope.size(); ++i) length += Distance(rope[i], rope[i - 1]);
        for (const Point &p : rope) lowest = std::min(lowest, p[1] - pivot[1]);
        EXPECT_NEAR(length, 2, 2e-4) << what << ": keeps its length (to the chords of a tight fold)";
        Catenary curve(c.h, c.v);
        double vertex = std::min(std::max(curve.x0, 0.0), c.h);
        EXPECT_NEAR(lowest, std::min(0.0, 2 * curve.Y(vertex)), 1e-4) << what << ": sags as a catenary";
        for (size_t i = 0; i < rope.size(); i += 400) {
            double x = (rope[i][0] - pivot[0]) * dx + (rope[i][2] - pivot[2]) * dz;
            EXPECT_NEAR(rope[i][1] - pivot[1], 2 * curve.Y(x / 2), 1e-5) << what << " point " << i;
            EXPECT_NEAR((rope[i][0] - pivot[0]) * dz, (rope[i][2] - pivot[2]) * dx, 1e-9) << "in the vertical plane";
        }
    }
}

TEST_F(DangleTest, StraightAndFolded) {
    const Point pivot = {0, 3, 0};
    // Farther than its length: a straight line aimed at the anchor, short of it.
    auto line = Hang(pivot, {6, 3, 8});
    ExpectPoint(line.back(), {1.2, 3, 1.6}, 1e-12, "straight towards the anchor");
    ExpectPoint(line[1000], {0.6, 3, 0.8}, 1e-12, "halfway along");
    // Exactly its length away (h^2 + v^2 = 1): taut, reaching it.
    ExpectPoint(Hang(pivot, {0, 3, 2}).back(), {0, 3, 2}, 1e-12, "exactly taut");
    // Straight above: folded down from the pivot along +X, back up to the anchor.
    auto fold = Hang(pivot, {0, 4, 0});  // v = 0.5: the fold at s = 0.25
    ExpectPoint(fold[500], {0, 2.5, 0}, 1e-12, "the fold's bottom");
    ExpectPoint(fold.back(), {0, 4, 0}, 1e-12, "up to the anchor");
    // Just below h = 0.002 the fold, from it the catenary.
    auto folded = Hang(pivot, {0.0038, 3, 0}), hanging = Hang(pivot, {0.004, 3, 0});
    ExpectPoint(folded[500], {0.25 * 0.0038, 2.5, 0}, 1e-12, "h 0.0019 folds");
    EXPECT_GT(Distance(hanging[500], {0.25 * 0.004, 2.5, 0}), 1e-6) << "h 0.002 hangs";
    ExpectPoint(hanging.back(), {0.004, 3, 0}, 1e-5, "and reaches the anchor");
}

TEST_F(DangleTest, PointsBeyondTheEndsAndAcross) {
    const Point pivot = {0, 3, 0}, at = {1.2, 2.6, 0};
    object->geometry.points = {{0, 0, 0}, {1e-5, 0, 0}, {-0.2, 0, 0}, {2, 0, 0}, {2.2, 0, 0}, {1, 0, 0.1}, {1, 0, 0}};
    auto p = Hang(pivot, at);
    // Behind the pivot: on the start tangent, at its own distance.
    double tx = (p[1][0] - p[0][0]) / 1e-5, ty = (p[1][1] - p[0][1]) / 1e-5;
    ExpectPoint(p[2], {-0.2 * tx, 3 - 0.2 * ty, 0}, 1e-4, "behind the pivot");
    EXPECT_NEAR(Distance(p[2], pivot), 0.2, 1e-12);
    // Past the tip: further along the curve, beyond the anchor.
    EXPECT_GT(p[4][0], at[0]);
    EXPECT_NEAR(Distance(p[4], p[3]), 0.2, 2e-3);
    // Z is kept as an offset across the curve's plane.
    ExpectPoint(p[5], {p[6][0], p[6][1], 0.1}, 1e-12, "an offset across");
    // A rope whose points all lie at X <= 0 has no length: left alone.
    WriteLwob(path, {{-1, 0, 0}, {0, 0.2, 0}});
    object->geometry.points = {{-0.5, 0, 0}};
    ExpectPoint(Hang(pivot, at)[0], {-0.5, 3, 0}, 0, "no length, no change");
}

TEST_F(DangleTest, DescribesAndListsItsAnchor) {
    Apply("Dangle");
    EXPECT_STREQ(handler->descln(instance), "Dangle: No Anchor");
    ExpectPoint(At(0)[5], object->geometry.points[5], 0, "no anchor, no change");
    Hang({0, 0, 0}, {1, 0, 0}, Toggle("INTERACTIVE", true));
    EXPECT_STREQ(handler->descln(instance), "Dangle, anchored by Anchor");
    EXPECT_EQ(handler->flags(instance), static_cast<unsigned>(LWDMF_WORLD));
    EXPECT_EQ(ItemsUsed(handler->useItems(instance)), std::vector<LWItemID>{IdOf(anchor)});
    Settings(handler, instance, "Dangle", Toggle("INTERACTIVE", false));
    EXPECT_EQ(handler->useItems(instance), nullptr);
    Settings(handler, instance, "Dangle", Toggle("DISABLE", true) + Toggle("INTERACTIVE", true));
    EXPECT_STREQ(handler->descln(instance), "Dangle: Disabled");
    EXPECT_EQ(handler->useItems(instance), nullptr);
    EXPECT_STREQ(handler->newTime(nullptr, IdOf(object), 0, 0), "Eeek, no inst at newtime");
}

}  // namespace
