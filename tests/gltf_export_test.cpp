// The glTF export's space: a point of a child item, placed by the host
// through its parent, lands where glTF's node chain puts it once mirrored;
// polygons keep their fronts; turns sampled in a row stay on one side; the
// binary container holds its chunks as the format lays them out.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "host/embedded_host.h"
#include "host/export/gltf_scene.h"
#include "host/export/gltf_space.h"
#include "host/mesh.h"
#include "host/passes.h"

namespace {

using gltf::Quat;
using gltf::Vec3;

// q v q*, written out from the quaternion product, and T R S applied to a
// point: glTF's node transform, column vectors.
Vec3 Turned(const Quat &q, const Vec3 &v) {
    const double x = q[0], y = q[1], z = q[2], w = q[3];
    const Vec3 uv{y * v[2] - z * v[1], z * v[0] - x * v[2], x * v[1] - y * v[0]};
    const Vec3 uuv{y * uv[2] - z * uv[1], z * uv[0] - x * uv[2], x * uv[1] - y * uv[0]};
    return {v[0] + 2 * (w * uv[0] + uuv[0]), v[1] + 2 * (w * uv[1] + uuv[1]), v[2] + 2 * (w * uv[2] + uuv[2])};
}

Vec3 Applied(const gltf::NodeTransform &t, const Vec3 &p) {
    Vec3 r = Turned(t.rotation, {p[0] * t.scale[0], p[1] * t.scale[1], p[2] * t.scale[2]});
    return {r[0] + t.translation[0], r[1] + t.translation[1], r[2] + t.translation[2]};
}

TEST(GltfSpace, ANodeChainPlacesAPointWhereTheHostDoesMirrored) {
    // Turns on all three axes, uneven scales and pivots on both items, so that
    // a wrong order, sign or pivot shows in every coordinate.
    EmbeddedHost host;
    Scene &s = host.scene;
    Item &parent = s.AddNullObject("Parent");
    parent.SetRest({1.5, -2, 3}, {30, -20, 50}, {1, 2, 0.5});
    parent.pivot = {0.25, 0.5, -1};
    Item &child = s.AddNullObject("Child");
    child.parent = &parent;
    child.SetRest({-0.7, 1.1, 2.2}, {-75, 40, 110}, {0.8, 1.3, 1.7});
    child.pivot = {0.3, -0.2, 0.6};
    const Vec3 point{0.9, -1.4, 2.5};

    const Vec3 world = PlacementAt(s, child, 0).ToWorld(point);

    double motion[9];
    s.KeyedMotion(parent, 0, motion);
    const gltf::NodeTransform up = gltf::NodeFromMotion(motion, {0, 0, 0});
    s.KeyedMotion(child, 0, motion);
    const gltf::NodeTransform own = gltf::NodeFromMotion(motion, parent.pivot);
    const Vec3 local = gltf::FromHost({point[0] - child.pivot[0], point[1] - child.pivot[1], point[2] - child.pivot[2]});
    const Vec3 placed = Applied(up, Applied(own, local));
    const Vec3 mirrored{world[0], world[1], -world[2]};
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(placed[i], mirrored[i], 1e-12) << i;

    // Each turn alone, against its right-handed meaning: heading turns +Z
    // toward +X in the host's left-handed frame, so glTF's -Z toward +X.
    const Vec3 ahead = Turned(gltf::Rotation({90, 0, 0}), {0, 0, -1});
    EXPECT_NEAR(ahead[0], 1, 1e-12);
    EXPECT_NEAR(ahead[2], 0, 1e-12);
    // Pitch tips the nose down: ahead goes to -Y.
    const Vec3 down = Turned(gltf::Rotation({0, 90, 0}), {0, 0, -1});
    EXPECT_NEAR(down[1], -1, 1e-12);
}

TEST(GltfSpace, SampledTurnsStayOnOneSideAndFramesEndOnTheLast) {
    // Heading through a full turn in steps of 50 degrees: each quaternion is
    // the one nearer the last, so neighbours never point apart.
    Quat previous{0, 0, 0, 1};
    for (int h = 0; h <= 720; h += 50) {
        Quat q = gltf::Rotation({static_cast<double>(h), 10, 0}, previous);
        EXPECT_GT(q[0] * previous[0] + q[1] * previous[1] + q[2] * previous[2] + q[3] * previous[3], 0) << h;
        EXPECT_NEAR(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3], 1, 1e-12);
        previous = q;
    }
    EXPECT_EQ(gltf::SampledFrames(3, 10, 3), (std::vector<int>{3, 6, 9, 10}));
    EXPECT_EQ(gltf::SampledFrames(3, 9, 3), (std::vector<int>{3, 6, 9}));
    EXPECT_EQ(gltf::SampledFrames(5, 5, 1), (std::vector<int>{5}));
}

TEST(GltfSpace, PolygonsKeepTheirFronts) {
    // A square facing the host's camera (its front toward -Z, corners
    // clockwise seen from there) and a concave L: each triangle, mirrored and
    // in the order written, turns counter-clockwise about the mirrored front
    // normal, as glTF's fronts do.
    // A keyhole too: a 4 x 4 square less a 2 x 2 hole, one polygon whose
    // bridge from the outer corner to the inner passes both ends twice; its
    // triangles cover the 12 square units left, none twice.
    ObjectGeometry g;
    g.points = {{0, 0, 0}, {0, 1, 0}, {1, 1, 0}, {1, 0, 0}, {2, 0, 1}, {2, 2, 1}, {3, 2, 1}, {3, 1, 1}, {4, 1, 1}, {4, 0, 1},
                {0, 0, 2}, {0, 4, 2}, {4, 4, 2}, {4, 0, 2}, {1, 1, 2}, {3, 1, 2}, {3, 3, 2}, {1, 3, 2}};
    g.polygons = {{0, 1, 2, 3}, {4, 5, 6, 7, 8, 9}, {10, 11, 12, 13, 10, 14, 15, 16, 17, 14}};
    g.polygonSurface = {0, 0, 0};
    g.surfaces.resize(1);
    std::vector<render::SmoothedPolygon> polygons = render::SmoothPolygons(g, g.points);
    EXPECT_NEAR(polygons[0].face[2], -1, 1e-12) << "the square faces the camera";
    for (size_t p = 0; p < polygons.size(); ++p) {
        const Vec3 front = gltf::FromHost(polygons[p].face);
        ASSERT_FALSE(polygons[p].triangles.empty());
        double area = 0;
        for (const auto &host : polygons[p].triangles) {
            const std::array<int, 3> t = gltf::Winding(host);
            Vec3 a = gltf::FromHost(g.points[g.polygons[p][t[0]]]), b = gltf::FromHost(g.points[g.polygons[p][t[1]]]),
                 c = gltf::FromHost(g.points[g.polygons[p][t[2]]]);
            const Vec3 e{b[0] - a[0], b[1] - a[1], b[2] - a[2]}, f{c[0] - a[0], c[1] - a[1], c[2] - a[2]};
            const Vec3 n{e[1] * f[2] - e[2] * f[1], e[2] * f[0] - e[0] * f[2], e[0] * f[1] - e[1] * f[0]};
            EXPECT_GT(n[0] * front[0] + n[1] * front[1] + n[2] * front[2], 0) << p;
            area += std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]) / 2;
        }
        const double areas[] = {1, 3, 12};
        EXPECT_NEAR(area, areas[p], 1e-12) << p;
    }
}

uint32_t Word(const std::string &bytes, size_t at) {
    uint32_t v;
    std::memcpy(&v, bytes.data() + at, 4);
    return v;
}

TEST(GltfScene, TheContainerHoldsTheSceneAndTheCameraSeesAsTheRenderer) {
    EmbeddedHost host;
    Scene &s = host.scene;
    Item &camera = s.AddCamera();
    camera.zoom = ConstantChannel(2);
    s.frameWidth = 300, s.frameHeight = 200;
    Item &spot = s.AddLight("Spot");
    spot.lightType = LWLIGHT_SPOT;
    spot.coneRadius = 0.5, spot.coneEdge = 0.125;
    Item &box = s.AddObject("Box");
    box.geometry.points = {{0, 0, 0}, {0, 1, 0}, {1, 1, 0}};
    box.geometry.polygons = {{0, 1, 2}};
    box.geometry.polygonSurface = {0};
    box.geometry.surfaces.resize(1);
    box.geometry.surfaces[0].name = "Red \"paint\"";
    box.AddKey(0, {0, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    box.AddKey(10, {1, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    GltfOptions options;
    options.first = 0, options.last = 10, options.step = 5;
    GltfDocument document;
    std::string error;
    ASSERT_TRUE(BuildGltf(host, options, &document, &error)) << error;
    const std::string &j = document.json;
    // The zoom spans the height: tan(yfov / 2) = 1 / 2.
    EXPECT_NE(j.find("\"aspectRatio\":1.5,\"yfov\":0.927295218"), std::string::npos) << j;
    EXPECT_NE(j.find("\"innerConeAngle\":0.375,\"outerConeAngle\":0.5"), std::string::npos);
    EXPECT_NE(j.find("\"name\":\"Red \\\"paint\\\"\""), std::string::npos) << "quotes escaped";
    // Three samples: frames 0, 5 and 10 at 30 a second; only the box moves,
    // and only along X.
    EXPECT_NE(j.find("\"count\":3,\"type\":\"SCALAR\",\"min\":[0],\"max\":[0.333333343]"), std::string::npos);
    EXPECT_NE(j.find("\"path\":\"translation\""), std::string::npos);
    EXPECT_EQ(j.find("\"path\":\"rotation\""), std::string::npos);

    const std::string glb = GlbBytes(document);
    ASSERT_GE(glb.size(), 28u);
    EXPECT_EQ(glb.substr(0, 4), "glTF");
    EXPECT_EQ(Word(glb, 4), 2u);
    EXPECT_EQ(Word(glb, 8), glb.size());
    const uint32_t jsonLength = Word(glb, 12);
    EXPECT_EQ(jsonLength % 4, 0u);
    EXPECT_EQ(glb.substr(16, 4), "JSON");
    EXPECT_EQ(glb.substr(20, j.size()), j);
    EXPECT_EQ(glb.find_first_not_of(' ', 20 + j.size()), 20 + jsonLength) << "padded with spaces";
    EXPECT_EQ(Word(glb, 20 + jsonLength), document.buffer.size());
    EXPECT_EQ(glb.substr(24 + jsonLength, 4), std::string("BIN\0", 4));
    EXPECT_EQ(glb.size(), 28 + jsonLength + document.buffer.size());
}

}  // namespace
