// The plug-ins' transform helpers agree with the embedded host's own placement
// of parented, turned and scaled items, and their inverses and decompositions
// round-trip.
#include <cmath>

#include "module_fixture.h"
#include "helpers/transform.h"

namespace {

constexpr double kDeg = 0.017453292519943295;

void ExpectNear(const Vec3 &a, const Vec3 &b, const char *what, double eps = 1e-9) {
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], eps) << what << " [" << i << "]";
}

void ExpectNear(const Transform &a, const Transform &b, const char *what) {
    for (int i = 0; i < 3; ++i) ExpectNear(a.rows[i], b.rows[i], what);
    ExpectNear(a.position, b.position, what);
}

using Transforms = BoundModuleTest;

TEST_F(Transforms, AgreeWithTheHostThroughParents) {
    Item &root = host.scene.AddNullObject("Root");
    root.SetRest({1, -2, 3}, {30, -20, 10}, {2, 1, 0.5});
    Item &mid = host.scene.AddNullObject("Mid");
    mid.parent = &root;
    mid.SetRest({0.5, 1, -1}, {-75, 40, 120}, {1, 3, 1});
    Item &leaf = host.scene.AddNullObject("Leaf");
    leaf.parent = &mid;
    leaf.SetRest({2, 0, 1}, {170, -5, -60}, {0.5, 0.5, 2});

    auto local = [](const Item &item) {
        const auto &m = item.motion;
        return ComposeLocal({m[kPosX].keys[0].value, m[kPosY].keys[0].value, m[kPosZ].keys[0].value},
                            {m[kHeading].keys[0].value * kDeg, m[kPitch].keys[0].value * kDeg, m[kBank].keys[0].value * kDeg},
                            {m[kScaleX].keys[0].value, m[kScaleY].keys[0].value, m[kScaleZ].keys[0].value});
    };
    ExpectNear(local(root), ItemWorldTransform(IdOf(&root), 0), "root");
    Transform mid2 = Product(local(mid), ItemWorldTransform(IdOf(&root), 0));
    ExpectNear(mid2, ItemWorldTransform(IdOf(&mid), 0), "mid");
    ExpectNear(Product(local(leaf), mid2), ItemWorldTransform(IdOf(&leaf), 0), "leaf");
    ExpectNear(ItemWorldTransform(nullptr, 0), Identity(), "no item");

    Transform w = ItemWorldTransform(IdOf(&leaf), 0);
    ExpectNear(Product(w, Inverse(w)), Identity(), "inverse");
    Vec3 p = {0.3, -7, 2};
    ExpectNear(Apply(Inverse(w), Apply(w, p)), p, "there and back");
}

TEST_F(Transforms, DecompositionGivesBothTriples) {
    const Vec3 cases[] = {{10, 20, 30}, {-170, 85, -5}, {200, -45, 400}, {0, 0, 0}, {90, 0, 0}};
    for (const Vec3 &deg : cases) {
        Vec3 hpb = {deg[0] * kDeg, deg[1] * kDeg, deg[2] * kDeg};
        Decomposition d = Decompose(ComposeLocal({1, 2, 3}, hpb, {2, 0.5, 4}));
        ExpectNear(d.position, {1, 2, 3}, "position");
        ExpectNear(d.scale, {2, 0.5, 4}, "scale");
        for (const Vec3 &triple : d.hpb)
            for (int i = 0; i < 3; ++i) ExpectNear(RotationRows(triple)[i], RotationRows(hpb)[i], "same orientation");
        EXPECT_NE(std::round(d.hpb[0][1] * 1e6), std::round(d.hpb[1][1] * 1e6)) << "two different triples";
    }
    // Straight down: heading and bank fold together; the orientation survives.
    Vec3 down = {40 * kDeg, 90 * kDeg, 15 * kDeg};
    Mat3 rows = RotationRows(RowsToHpb(RotationRows(down)));
    for (int i = 0; i < 3; ++i) ExpectNear(rows[i], RotationRows(down)[i], "pitch 90", 1e-6);
}

TEST_F(Transforms, AxisToDirectionTurnsTheAxisOntoTheDirection) {
    const Vec3 axes[] = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0.3, -0.4, 2}};
    const Vec3 directions[] = {{1, 2, 3}, {0, 0, -5}, {-1, 0, 0}, {0, 1, 0}, {0.2, -0.9, 0.1}};
    for (const Vec3 &a : axes) {
        for (const Vec3 &d : directions) {
            for (double roll : {0.0, 0.7}) {
                Mat3 rows = RotationRows(AxisToDirection(a, d, roll));
                // The item's axis a, in the parent's frame, is a * rows.
                Vec3 turned = Normalised(Vec3{a[0] * rows[0][0] + a[1] * rows[1][0] + a[2] * rows[2][0],
                                              a[0] * rows[0][1] + a[1] * rows[1][1] + a[2] * rows[2][1],
                                              a[0] * rows[0][2] + a[1] * rows[1][2] + a[2] * rows[2][2]});
                ExpectNear(turned, Normalised(d), "axis onto direction", 1e-6);
            }
        }
    }
    ExpectNear(AxisToDirection({1, 0, 0}, {0, 0, 0}, 0), {0, 0, 0}, "no direction");
    // +X onto +Z: the item turns left by a quarter (heading -90).
    ExpectNear(AxisToDirection({1, 0, 0}, {0, 0, 1}, 0), {-90 * kDeg, 0, 0}, "quarter left");
}

}  // namespace
