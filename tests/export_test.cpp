// Motion export: which frames become keys, the file's exact form, world
// rotations kept continuous, and parent coordinates.
#include <cmath>

#include "export/motion_export.h"
#include "host/scene_file.h"
#include "module_fixture.h"

namespace {

constexpr double kDeg = 0.017453292519943295;

TEST(Export, KeyCountsFramesAndContinuity) {
    struct Case {
        int end;
        double density;
        std::vector<int> frames;
    } cases[] = {
        {0, 1, {0}},
        {10, 0.1, {0}},  // floor(1.6) = 1
        {4, 1, {0, 1, 2, 3, 4}}, {30, 0.5, {0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30}},
        {10, 0.5, {0, 2, 4, 6, 8, 10}},  // floor(5.5 + 0.5) = 6 keys
        {7, 0.4, {0, 3, 7}},             // floor(3.2 + 0.5) = 3 keys at i * 7 / 2
    };
    for (const Case &c : cases) {
        int n = ExportKeyCount(c.end, c.density);
        ASSERT_EQ(n, static_cast<int>(c.frames.size())) << c.end << " " << c.density;
        for (int i = 0; i < n; ++i) EXPECT_EQ(ExportKeyFrame(i, n, c.end), c.frames[i]);
    }
    EXPECT_EQ(ExportKeyCount(30, 1), 31);
    // Continuity moves by whole turns and picks the nearer triple.
    const double pi = 3.14159265358979323846;
    Vec3 candidates[2] = {{-170 * kDeg, 10 * kDeg, 0}, {10 * kDeg, 170 * kDeg, 180 * kDeg}};
    Vec3 h = ContinuousHpb(candidates, {175 * kDeg, 10 * kDeg, 0});
    EXPECT_NEAR(h[0], 190 * kDeg, 1e-12) << "a whole turn up rather than a jump to -170";
    EXPECT_NEAR(h[1], 10 * kDeg, 1e-12);
    Vec3 flipped[2] = {{0, pi - 0.1, pi}, {pi, 0.1, 0}};
    Vec3 g = ContinuousHpb(flipped, {pi, 0.1, 0});
    EXPECT_NEAR(g[1], 0.1, 1e-12) << "the triple nearer the previous key";
}

class ExportFile : public BoundModuleTest {
protected:
    void SetUp() override {
        BoundModuleTest::SetUp();
        host.scene.framesPerSecond = 10;
    }
    std::string Bake(Item &item, int end, bool parent) {
        std::string path = ScratchPath("vesk_export.mot");
        ExportRequest r{IdOf(&item), end, 1.0, parent, host.scene.framesPerSecond, nullptr, nullptr};
        EXPECT_TRUE(ExportMotionFile(r, path.c_str()));
        return FileText(path);
    }
};

TEST_F(ExportFile, SpinningItemsKeepRisingHeadingsAndParentCoordinatesTheOwnChannels) {
    Item &spinner = host.scene.AddNullObject("Spinner");
    spinner.SetRest({1, 2, 3}, {170, 0, 0});
    spinner.AddKey(2, {1, 2, 3, 210, 0, 0, 1, 1, 1}, true);  // 20 degrees a frame
    EXPECT_EQ(Bake(spinner, 2, false), "LWMO\r\n1\r\n9\r\n3\r\n1 2 3 170 0 0 1 1 1\r\n0 0 0 0 0\r\n"
                                       "1 2 3 190 0 0 1 1 1\r\n1 0 0 0 0\r\n1 2 3 210 0 0 1 1 1\r\n2 0 0 0 0\r\n");
    Item &parent = host.scene.AddNullObject("Parent");
    parent.SetRest({10, 0, 0}, {90, 0, 0}, {2, 2, 2});
    Item &child = host.scene.AddNullObject("Child");
    child.parent = &parent;
    child.SetRest({1, 0, 0}, {0, 45, 0}, {0.5, 0.5, 0.5});
    EXPECT_EQ(Bake(child, 0, true), "LWMO\r\n1\r\n9\r\n1\r\n1 0 0 0 45 0 0.5 0.5 0.5\r\n0 0 0 0 0\r\n");
    // In the world: one parent unit of X is (0, 0, -2); the scales multiply.
    EXPECT_EQ(Bake(child, 0, false), "LWMO\r\n1\r\n9\r\n1\r\n10 0 -2 90 45 0 1 1 1\r\n0 0 0 0 0\r\n");
}

TEST_F(ExportFile, ABakedFileReadsBackAsTheMotionItFollows) {
    // A spline between three keys, baked a key a frame, read back: every key
    // holds the item's value at its frame to the file's six digits.
    Item &ball = host.scene.AddNullObject("Ball");
    ball.SetRest({0, 0, 0});
    ball.AddKey(6, {2.5, -1, 0.125, 30, -12, 5, 1, 2, 1});
    ball.AddKey(12, {-4, 3, 9, 400, 0, -5, 0.5, 1, 3});
    std::vector<Channel> nine;
    std::string error;
    ASSERT_TRUE(ReadMotionText(Bake(ball, 12, false), "ball.mot", &nine, &error)) << error;
    ASSERT_EQ(nine[0].keys.size(), 13u);
    for (int frame = 0; frame <= 12; ++frame) {
        double v[3][3];
        host.scene.Param(ball, LWIP_POSITION, frame / 10.0, v[0]);
        host.scene.Param(ball, LWIP_ROTATION, frame / 10.0, v[1]);
        host.scene.Param(ball, LWIP_SCALING, frame / 10.0, v[2]);
        for (int c = 0; c < 9; ++c) {
            double want = c / 3 == 1 ? v[1][c % 3] * 180 / M_PI : v[c / 3][c % 3];
            const ChannelKey &k = nine[c].keys[frame];
            EXPECT_EQ(k.frame, frame);
            // Six significant digits: within half a unit of the sixth.
            EXPECT_NEAR(k.value, want, 5e-6 * std::max(1.0, std::fabs(want))) << "channel " << c << " frame " << frame;
        }
    }
}

}  // namespace
