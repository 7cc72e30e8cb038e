// Object files from real LWOB and LWO2 objects: points and faces are read, and
// every face names points that are there; broken files say why.
#include <gtest/gtest.h>

#include "host/object_file.h"

namespace {

const std::string kModels = std::string(VESK_SHARED_DIR) + "/realdata/assimp/test/models/";

TEST(ObjectFile, RealObjectsRead) {
    struct Case {
        const char *path;
        size_t points;  // the PNTS chunk sizes over 12
    } cases[] = {
        {"LWO/LWOB/ConcavePolygon.lwo", 0}, {"LWO/LWOB/sphere_with_mat_gloss_10pc.lwo", 0},
        {"LWO/LWOB/MappingModes/bluewithcylindrictexz.lwo", 0}, {"LWO/LWO2/hierarchy.lwo", 290},
        {"LWS/simple_cube.lwo", 0},
    };
    for (const Case &c : cases) {
        ObjectGeometry g;
        std::string error;
        ASSERT_TRUE(ReadObjectFile(kModels + c.path, &g, &error)) << error;
        EXPECT_FALSE(g.points.empty()) << c.path;
        EXPECT_FALSE(g.polygons.empty()) << c.path;
        if (c.points) {
            EXPECT_EQ(g.points.size(), c.points) << c.path << ": every layer's points";
        }
    }
}

TEST(ObjectFile, BrokenFilesSayWhy) {
    ObjectGeometry g;
    std::string error;
    EXPECT_FALSE(ReadObjectBytes({'F', 'O', 'R', 'M', 0, 0, 0, 4, 'L', 'W', 'L', 'O'}, &g, &error));
    EXPECT_EQ(error, "neither an LWOB nor an LWO2 object");
    std::vector<unsigned char> cut = {'F', 'O', 'R', 'M', 0, 0, 0, 30, 'L', 'W', 'O', 'B', 'P', 'N', 'T', 'S', 0, 0, 0, 24, 0};
    EXPECT_FALSE(ReadObjectBytes(cut, &g, &error));
    EXPECT_EQ(error, "the PNTS chunk runs past the end of the file");
    // One point, and a triangle naming points 0, 1 and 2.
    std::vector<unsigned char> bad = {'F', 'O', 'R', 'M', 0, 0, 0, 44, 'L', 'W', 'O', 'B', 'P', 'N', 'T', 'S', 0, 0, 0, 12,
                                      0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 'P', 'O', 'L', 'S', 0, 0, 0, 10, 0, 3, 0, 0,
                                      0, 1, 0, 2, 0, 1};
    EXPECT_FALSE(ReadObjectBytes(bad, &g, &error));
    EXPECT_EQ(error, "a polygon names a point that is not there");
    EXPECT_FALSE(ReadObjectFile("/nowhere.lwo", &g, &error));
}

}  // namespace
