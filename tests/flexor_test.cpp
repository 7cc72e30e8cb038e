// Flexor on a stalk modelled along +Y, bent by the host's displacement pass
// toward a guide null; checked against worked bends, the arc's own geometry
// and the line through the guide.
#include <cmath>
#include <cstdio>

#include "displacement_plugin_test.h"
#include "lwob_writer.h"

namespace {

constexpr double kPi = 3.14159265358979323846, kDeg = kPi / 180;
const double kQuarter = 4 / kPi;  // Rb of a quarter bend of length 2

class FlexorTest : public DisplacementPluginTest {
protected:
    Item *guide = nullptr;
    void SetUp() override {
        DisplacementPluginTest::SetUp();
        guide = &host.scene.AddNullObject("Guide");
        object = &host.scene.AddObject("Stalk", "Stalk.lwo");
    }
    static std::string GuideBlock() { return " BEGIN ITEM GUIDE\n OBJECT 1 1 5 @Guide\n END ITEM GUIDE\n"; }
    // Bends the points toward a guide at a world position; LENGTH 2 unless said.
    std::vector<Point> Bent(const std::vector<Point> &points, Point at, const std::string &settings = "") {
        object->geometry.points = points;
        guide->SetRest(at);
        Apply("Flexor", GuideBlock() + Number("LENGTH", 2) + settings);
        return At(0);
    }
};

TEST_F(FlexorTest, WorkedBendsAndTheLengthFromTheFile) {
    const double r = kQuarter;
    struct Case {
        std::string what, settings;
        Point guide, in, out;
    } cases[] = {
        {"quarter bend, tip", "", {10, 0, 0}, {0, 2, 0}, {r, r, 0}},
        {"quarter bend, inner side", "", {10, 0, 0}, {0.1, 2, 0}, {r, r - 0.1, 0}},
        {"quarter bend, the base stays", "", {10, 0, 0}, {0.1, 0, 0.3}, {0.1, 0, 0.3}},
        {"exaggerated twice", Number("EXAGGERATION", 2), {10, 10, 0}, {0, 2, 0}, {r, r, 0}},
        {"capped at 60", Number("EXAGGERATION", 2) + Number("MAXBEND", 60), {10, 10, 0}, {0, 2, 0},
         {0.954929658551372, 1.6539866862653763, 0}},
        {"shying away", Number("EXAGGERATION", -1), {10, 0, 0}, {0, 2, 0}, {-r, r, 0}},
        {"guide straight ahead", "", {0, 5, 0}, {0.2, 2, 0.1}, {0.2, 2, 0.1}},
        {"guide behind: folds back to +Z", "", {0, -5, 0}, {0, 2, 0}, {0, 0, r}},
        {"centre 50%: below it rigid", Number("CENTRE", 0.5), {10, 1, 0}, {0.3, 0.9, 0}, {0.3, 0.9, 0}},
        {"centre 50%: tip", Number("CENTRE", 0.5), {10, 1, 0}, {0, 2, 0}, {r / 2, 1 + r / 2, 0}},
        // Half the turn (45 degrees) over the same length 2: radius 8 / pi.
        {"half strength keeps the length", Number("STRENGTH", 0.5), {10, 0, 0}, {0, 2, 0},
         {8 / kPi * (1 - std::cos(kPi / 4)), 8 / kPi * std::sin(kPi / 4), 0}},
        // The quarter turn over a zone of length 1 (radius 2 / pi), then 1 straight on.
        {"a shorter bending zone", Number("LENGTH", 1), {10, 0, 0}, {0, 2, 0}, {1 + 2 / kPi, 2 / kPi, 0}},
    };
    for (const Case &c : cases) ExpectPoint(Bent({c.in}, c.guide, c.settings)[0], c.out, 1e-11, c.what);
    // Centre 50% with the guide at (10, 0, 0): the angle is taken from (0, 1, 0).
    double theta = 95.71059313749964 * kDeg, rb = 1 / theta;
    ExpectPoint(Bent({{0, 2, 0}}, {10, 0, 0}, Number("CENTRE", 0.5))[0],
                {rb * (1 - std::cos(theta)), 1 + rb * std::sin(theta), 0}, 1e-11, "the angle from the bending centre");
    // The length comes from the object file, read once.
    // An LWOB file whose points reach Y = 2: the length is measured from it.
    std::string path = ScratchPath("flexor_stalk.lwo");
    auto write = [&](bool broken) { WriteLwob(path, {{0, 0, 0}, {0, 2, 0}}, broken ? "XXXX" : "LWOB"); };
    object->filename = path;
    object->numPoints = 2;
    object->geometry.points = {{0, 2, 0}};
    guide->SetRest({10, 0, 0});
    write(false);
    Apply("Flexor", GuideBlock());
    ExpectPoint(At(0)[0], {kQuarter, kQuarter, 0}, 1e-11, "Y max 2 from the file");

    write(true);
    Apply("Flexor", GuideBlock());
    ExpectPoint(At(0)[0], {0, 2, 0}, 0, "an unreadable file: nothing moves");
    write(false);
    ExpectPoint(At(1)[0], {0, 2, 0}, 0, "the failed read is kept while name and count stay");
    object->numPoints = 3;
    ExpectPoint(At(2)[0], {kQuarter, kQuarter, 0}, 1e-11, "a changed point count reads it again");
    std::remove(path.c_str());
}

TEST_F(FlexorTest, PlacementAxesAimAndArc) {
    // Negative axis: -X with the object's extent typed as 2.
    ExpectPoint(Bent({{-2, 0, 0}}, {0, 10, 0}, Radio("AXIS", 1))[0], {-kQuarter, kQuarter, 0}, 1e-11, "-X");
    // A moved pivot: the guide is taken into the object's own coordinates.
    object->pivot = {0, 1, 0};
    ExpectPoint(Bent({{0, 2, 0}}, {10, -1, 0}, "")[0], {kQuarter, kQuarter, 0}, 1e-11, "pivot at (0, 1, 0)");
    object->pivot = {0, 0, 0};
    // Uneven scale: the tip's world direction is parallel to the line to the guide.
    object->SetRest({0, 0, 0}, {0, 0, 0}, {1, 2, 1});
    auto tip = Bent({{0, 2, 0}, {0, 3, 0}}, {10, 10, 0});
    double dx = tip[1][0] - tip[0][0], dy = 2 * (tip[1][1] - tip[0][1]);  // into the world
    EXPECT_NEAR(dx / dy, 1, 1e-12) << "the tip runs along (1, 1, 0) in the world";
    EXPECT_NEAR(std::atan2(dx, dy / 2), std::atan(2.0), 1e-11) << "seen in the object: (1, 1/2)";
    object->SetRest({0, 0, 0});
    // Aimed: the tip's line passes through the guide (points past the zone run on along it).
    for (Point g : {Point{10, 0, 0}, Point{3, 0, 0}, Point{-1.5, 0.5, 2}}) {
        auto line = Bent({{0, 2, 0}, {0, 3, 0}}, g, Radio("AIM", 1));
        double ux = line[1][0] - line[0][0], uy = line[1][1] - line[0][1], uz = line[1][2] - line[0][2];
        double vx = g[0] - line[0][0], vy = g[1] - line[0][1], vz = g[2] - line[0][2];
        double cross = std::hypot(uy * vz - uz * vy, uz * vx - ux * vz, ux * vy - uy * vx);
        EXPECT_LT(cross, 1e-9) << g[0] << "," << g[1] << "," << g[2];
    }
    // The arc keeps lengths along the axis.
    std::vector<Point> axis;
    for (int i = 0; i <= 2000; ++i) axis.push_back({0, i * 0.001, 0});
    for (std::string settings : {std::string(""), Number("CENTRE", 0.3), Number("STRENGTH", 0.7) + Radio("AIM", 1)}) {
        auto bent = Bent(axis, {3, 4, 1}, settings);
        double length = 0;
        for (size_t i = 1; i < bent.size(); ++i)
            length += std::hypot(bent[i][0] - bent[i - 1][0], bent[i][1] - bent[i - 1][1], bent[i][2] - bent[i - 1][2]);
        EXPECT_NEAR(length, 2, 1e-6) << "arc length" << settings;
        EXPECT_GT(std::hypot(bent.back()[0], bent.back()[2]), 0.1) << "and it did bend";
    }
}

TEST_F(FlexorTest, StillCasesDescriptionsAndItems) {
    object->geometry.points = {{0, 2, 0}};
    guide->SetRest({10, 0, 0});
    Apply("Flexor", Number("LENGTH", 2));
    EXPECT_STREQ(handler->descln(instance), "Flexor: No Guide");
    ExpectPoint(At(0)[0], {0, 2, 0}, 0, "no guide");
    Apply("Flexor", GuideBlock() + Number("LENGTH", 2) + Toggle("DISABLE", true));
    EXPECT_STREQ(handler->descln(instance), "Flexor: Disabled");
    EXPECT_EQ(handler->useItems(instance), nullptr);
    ExpectPoint(At(0)[0], {0, 2, 0}, 0, "disabled");
    object->SetRest({0, 0, 0}, {0, 0, 0}, {0, 0, 0});
    Apply("Flexor", GuideBlock() + Number("LENGTH", 2));
    ExpectPoint(At(0)[0], {0, 2, 0}, 0, "scaled to nothing");
    object->SetRest({0, 0, 0});
    EXPECT_STREQ(handler->descln(instance), "Flexor, guided by Guide");
    EXPECT_EQ(ItemsUsed(handler->useItems(instance)), (std::vector<LWItemID>{IdOf(guide), IdOf(object)}));
    Settings(handler, instance, "Flexor", Toggle("INTERACTIVE", false));
    EXPECT_EQ(handler->useItems(instance), nullptr) << "not interactive";
    EXPECT_STREQ(handler->newTime(nullptr, IdOf(object), 0, 0), "Eeek, no inst at newtime");
    EXPECT_STREQ(handler->descln(nullptr), "Error!");
    EXPECT_EQ(handler->flags(instance), 0u);
}

}  // namespace
