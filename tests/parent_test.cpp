// Parent handing a ball between two moving, turning hands and the world, at
// 30 fps; world poses compared across every hand-over, and against hand
// values of where a child of each hand must be.
#include <cmath>

#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "helpers/transform.h"
#include "motion_plugin_test.h"

namespace {

class ParentTest : public MotionPluginTest {
protected:
    Item *handA = nullptr, *handB = nullptr;
    void SetUp() override {
        MotionPluginTest::SetUp();
        handA = &host.scene.AddNullObject("HandA");
        handB = &host.scene.AddNullObject("HandB");
        item = &host.scene.AddNullObject("Ball");
        handA->SetRest({0, 0, 0});
        handA->AddKey(10, {0, 0, 0, 90, 0, 0, 1, 1, 1}, true);  // turns a quarter by frame 10
        handA->AddKey(40, {0, 0, 0, 360, 0, 0, 1, 1, 1}, true);
        handA->motion[kHeading].keys[0].linear = true;
        handB->SetRest({0, 0, 0});
        handB->AddKey(10, {0, 0, 0, 0, 0, 0, 1, 1, 1}, true);
        handB->AddKey(20, {0, 2, 0, 0, 30, 0, 1, 1, 1}, true);  // rises 2 and pitches by frame 20
        item->SetRest({1, 0, 0});
    }
    static std::string Slice(int k, double frames, const char *parent) {
        std::string s = Number(("DURATION" + std::to_string(k)).c_str(), frames);
        if (parent)
            s += " BEGIN ITEM PARENT" + std::to_string(k) + "\n OBJECT 1 1 " + std::to_string(std::strlen(parent)) + " @" +
                 parent + "\n END ITEM PARENT" + std::to_string(k) + "\n";
        return s;
    }
    Transform WorldAt(double frame) { return ItemWorldTransform(IdOf(item), frame / 30); }
    std::string RangeText(int k) {
        auto *p = static_cast<PluginInstance *>(instance);
        p->panel->afterLoad(p);
        std::string name = k ? "RANGE" + std::to_string(k) : "RANGEF";
        return reinterpret_cast<TextControl *>(FindControl(p->panel, name.c_str()))->text;
    }
};

void ExpectPose(const Transform &a, const Transform &b, double eps, const std::string &what) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(a.position[i], b.position[i], eps) << what << " position " << i;
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(a.rows[i][j], b.rows[i][j], eps) << what << " row " << i << "," << j;
    }
}

TEST_F(ParentTest, HandsOverWithoutAJump) {
    Apply("Parent", Slice(1, 10, "HandA") + Slice(2, 10, "HandB"));
    for (double handOver : {10.0, 20.0}) ExpectPose(WorldAt(handOver), WorldAt(handOver + 1e-6), 1e-5, "at a hand-over");
    // A child of A (which turns a quarter by frame 10): (1, 0, 0) is carried to
    // (0, 0, -1); then B lifts it by 2 and pitches it by 30 degrees about B's
    // origin; then the world holds it.
    EXPECT_NEAR(WorldAt(10).position[2], -1, 1e-9);
    double c = std::cos(30 * 0.017453292519943295), s = std::sin(30 * 0.017453292519943295);
    Vec3 pitched = {0, 2 + s * 1, -c * 1};  // pitch turns -Z towards +Y
    ExpectPose(WorldAt(20), {WorldAt(20).rows, pitched}, 1e-9, "after B");
    ExpectPose(WorldAt(30), WorldAt(20), 1e-12, "held by the world");
    // Divorced X follows the ball's own key whatever the hands do.
    Apply("Parent", Slice(1, 10, "HandA") + Slice(2, 10, "HandB") + Toggle("DX", true));
    EXPECT_NEAR(At(15)[0], 1, 1e-12);
    // Repeating: each pass starts from where the last ended.
    Apply("Parent", Slice(1, 10, "HandA") + Slice(2, 10, "HandB") + Toggle("REPEAT", true));
    // Frame 25 is frame 5 of slice 1's second pass: the pose at 20 carried by A
    // from frame 20 to 25.
    Transform carried = Product(WorldAt(20), Product(Inverse(ItemWorldTransform(IdOf(handA), 20 / 30.0)),
                                                     ItemWorldTransform(IdOf(handA), 25 / 30.0)));
    ExpectPose(WorldAt(25), carried, 1e-9, "second pass");
    ExpectPose(WorldAt(30), WorldAt(30 + 1e-6), 1e-5, "second hand-over");
    EXPECT_STREQ(handler->descln(instance), "Parent  (2 parents repeat in 20 frames)");
}

TEST_F(ParentTest, RangesAndDescriptions) {
    Apply("Parent", Slice(1, 4.4, "HandA") + Slice(2, 0, nullptr) + Slice(3, 4.6, "HandB"));
    EXPECT_EQ(RangeText(1), "0-4");
    EXPECT_EQ(RangeText(2), "-") << "a slice of no length";
    EXPECT_EQ(RangeText(3), "4-9");
    EXPECT_EQ(RangeText(4), "-");
    EXPECT_EQ(RangeText(0), "9-9999");
    EXPECT_STREQ(handler->descln(instance), "Parent  (3 parents)");
    ExpectPose(WorldAt(4), WorldAt(4 + 1e-6), 1e-5, "from A straight to B");

    Apply("Parent", Slice(1, 9999, "HandA"));
    EXPECT_EQ(RangeText(0), "-");
    EXPECT_TRUE(Ghosted("PARENTF") && Ghosted("RANGEF")) << "the cap leaves no final parent";
    EXPECT_FALSE(Ghosted("PARENT1"));
    EXPECT_STREQ(handler->descln(instance), "Parent  (HandA)");
    Apply("Parent");
    EXPECT_STREQ(handler->descln(instance), "Parent  ((World))");
    Apply("Parent", Toggle("DISABLE", true) + Toggle("REPEAT", true));
    EXPECT_STREQ(handler->descln(instance), "Parent: Disabled");
    EXPECT_EQ(handler->useItems(instance), nullptr);
    EXPECT_TRUE(SetsAt(5).empty());
}

}  // namespace
