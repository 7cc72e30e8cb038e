// Object files from real LWOB and LWO2 objects: points and faces are read, and
// every face names points that are there; broken files say why.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "host/object_file.h"

namespace {

const std::string kModels = std::string(VESK_SHARED_DIR) + "/realdata/assimp/test/models/";

TEST(ObjectFile, SurfacesOfRealObjectsAndBrokenFiles) {
    // Values read off the files' bytes by hand.
    ObjectGeometry sphere, blue, boxes;
    std::string error;
    ASSERT_TRUE(ReadObjectFile(kModels + "LWO/LWOB/sphere_with_mat_gloss_10pc.lwo", &sphere, &error)) << error;
    ASSERT_EQ(sphere.surfaces.size(), 1u);
    const Surface &s = sphere.surfaces[0];
    EXPECT_EQ(s.name, "Default");
    EXPECT_DOUBLE_EQ(s.color[0], 1.0);  // COLR ff 80 c0
    EXPECT_DOUBLE_EQ(s.color[1], 128 / 255.0);
    EXPECT_DOUBLE_EQ(s.color[2], 192 / 255.0);
    EXPECT_EQ(s.specular, 1.0);     // VSPC 1.0
    EXPECT_EQ(s.glossiness, 16);    // GLOS 0x0010
    EXPECT_NEAR(s.smoothing, 1.5626, 1e-4);  // FLAG smoothing, SMAN 0x3fc8030e
    EXPECT_FALSE(s.doubleSided);
    EXPECT_EQ(sphere.polygonSurface.size(), sphere.polygons.size());
    // Polygons face outwards: seen from outside their points run clockwise,
    // so (b - a) x (c - a) points away from the centre.
    std::array<double, 3> centre{};
    for (const auto &p : sphere.points)
        for (int i = 0; i < 3; ++i) centre[i] += p[i] / sphere.points.size();
    size_t outward = 0;
    for (const auto &poly : sphere.polygons) {
        const auto &a = sphere.points[poly[0]], &b = sphere.points[poly[1]], &c = sphere.points[poly[2]];
        double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]}, v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
        double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
        double out = 0;
        for (int i = 0; i < 3; ++i) out += n[i] * (a[i] - centre[i]);
        outward += out > 0;
    }
    EXPECT_GT(outward, sphere.polygons.size() * 9 / 10);

    ASSERT_TRUE(ReadObjectFile(kModels + "LWO/LWOB/MappingModes/bluewithcylindrictexz.lwo", &blue, &error)) << error;
    EXPECT_FLOAT_EQ(blue.surfaces[0].specular, 0.3f) << "VSPC replaces SPEC 77";
    EXPECT_EQ(blue.surfaces[0].smoothing, 0) << "FLAG without smoothing";

    // LWO2: four layers, three tagged surfaces and per-polygon PTAGs.
    ASSERT_TRUE(ReadObjectFile(kModels + "LWO/LWO2/hierarchy.lwo", &boxes, &error)) << error;
    ASSERT_EQ(boxes.polygonSurface.size(), boxes.polygons.size());
    std::vector<std::string> named;
    for (int i : boxes.polygonSurface) named.push_back(boxes.surfaces[i].name);
    EXPECT_EQ(named.front(), "BoxOnLayer3");  // layer 3 comes first in the file
    EXPECT_NE(std::find(named.begin(), named.end(), "RedBox"), named.end());
    for (const Surface &surface : boxes.surfaces)
        EXPECT_TRUE(surface.name != "RedBox" || surface.color == (std::array<double, 3>{1, 0, 0})) << surface.name;
    // Broken files say why.
    auto form = [](std::vector<unsigned char> body, int claimed) {
        std::vector<unsigned char> bytes = {'F', 'O', 'R', 'M', 0, 0, static_cast<unsigned char>(claimed >> 8),
                                            static_cast<unsigned char>(claimed)};
        bytes.insert(bytes.end(), body.begin(), body.end());
        return bytes;
    };
    const std::vector<unsigned char> onePoint = {'P', 'N', 'T', 'S', 0, 0, 0, 12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    std::vector<unsigned char> triangle = {'L', 'W', 'O', 'B'};
    triangle.insert(triangle.end(), onePoint.begin(), onePoint.end());
    const std::vector<unsigned char> pols = {'P', 'O', 'L', 'S', 0, 0, 0, 10, 0, 3, 0, 0, 0, 1, 0, 2, 0, 1};
    triangle.insert(triangle.end(), pols.begin(), pols.end());
    struct Case {
        const char *what;
        std::vector<unsigned char> bytes;
        const char *error;
    } cases[] = {
        {"another IFF kind", form({'L', 'W', 'L', 'O'}, 4), "neither an LWOB nor an LWO2 object"},
        {"not IFF", {'L', 'W', 'O', 'B', 0, 0, 0, 0, 0, 0, 0, 0}, "not an IFF object file"},
        {"cut inside a chunk", form({'L', 'W', 'O', 'B', 'P', 'N', 'T', 'S', 0, 0, 0, 24, 0}, 30),
         "the file is cut short: its FORM holds 30 bytes, the file 13"},
        {"a chunk past the FORM", form({'L', 'W', 'O', 'B', 'P', 'N', 'T', 'S', 0, 0, 0, 24, 0, 0}, 14),
         "the PNTS chunk runs past the end of the file"},
        {"points not whole", form({'L', 'W', 'O', 'B', 'P', 'N', 'T', 'S', 0, 0, 0, 4, 0, 0, 0, 0}, 16),
         "a PNTS chunk of 4 bytes is not whole points"},
        {"a polygon past the points", form(triangle, static_cast<int>(triangle.size())),
         "a polygon names a point that is not there"},
        {"a FORM too small to be one", form({'L', 'W', 'O', 'B'}, 2), "the file is cut short: its FORM holds 2 bytes, the file 4"},
    };
    for (const Case &c : cases) {
        ObjectGeometry g;
        std::string error;
        EXPECT_FALSE(ReadObjectBytes(c.bytes, &g, &error)) << c.what;
        EXPECT_EQ(error, c.error) << c.what;
    }
    ObjectGeometry g;
    EXPECT_FALSE(ReadObjectFile("/nowhere.lwo", &g, &error));
    EXPECT_EQ(error, "/nowhere.lwo: no such file");
    EXPECT_FALSE(ReadObjectFile("/tmp", &g, &error));
    EXPECT_EQ(error, "/tmp: not a file");
}

TEST(ObjectFile, RealObjectsReadAndEveryCutIsRefused) {
    // Whole, each real object reads with points and faces (the LWO2's points
    // of every layer: its PNTS chunks' sizes over 12). Cut at every byte, it
    // is refused (the FORM says how long it is), never read with part of its
    // points or polygons.
    struct Case { const char *path; size_t points; } cases[] = {
        {"LWO/LWOB/ConcavePolygon.lwo", 0}, {"LWO/LWOB/sphere_with_mat_gloss_10pc.lwo", 0},
        {"LWO/LWOB/MappingModes/bluewithcylindrictexz.lwo", 0}, {"LWO/LWO2/hierarchy.lwo", 290},
        {"LWS/simple_cube.lwo", 0},
    };
    for (const Case &c : cases) {
        std::ifstream in(kModels + c.path, std::ios::binary);
        std::vector<unsigned char> whole((std::istreambuf_iterator<char>(in)), {});
        ObjectGeometry read;
        std::string error;
        ASSERT_TRUE(ReadObjectBytes(whole, &read, &error)) << c.path << ": " << error;
        EXPECT_FALSE(read.points.empty() || read.polygons.empty()) << c.path;
        EXPECT_TRUE(!c.points || read.points.size() == c.points) << c.path << ": " << read.points.size();
        for (size_t cut = 0; cut < whole.size(); ++cut) {
            ObjectGeometry g;
            error.clear();
            ASSERT_FALSE(ReadObjectBytes({whole.begin(), whole.begin() + static_cast<long>(cut)}, &g, &error))
                << c.path << " cut at " << cut;
            ASSERT_FALSE(error.empty()) << c.path << " cut at " << cut << ": refused without a reason";
        }
    }
}

}  // namespace
