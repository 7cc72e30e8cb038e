// Poke on an object at the origin with effector nulls named "Ball...": pushes
// checked against the solids' surfaces worked out here (the ray from the
// effector's centre to where it leaves the solid), dents relaxing at the
// restore rate, and the history rebuilt from the scene at every frame.
#include <cmath>

#include "displacement_plugin_test.h"

namespace {

class PokeTest : public DisplacementPluginTest {
protected:
    Item *ball = nullptr;
    PokeTest() : DisplacementPluginTest("Plane", "Plane.lwo") {}
    void SetUp() override {
        DisplacementPluginTest::SetUp();
        ball = &host.scene.AddNullObject("Ball.1");
    }
    std::vector<Point> Poked(const std::vector<Point> &points, const std::string &settings = "", double frame = 0) {
        object->geometry.points = points;
        Apply("Poke", " BEGIN ITEM PREFIX\n PREFIX 1 1 4 @Ball\n END ITEM PREFIX\n" + settings);
        return At(frame);
    }
};

TEST_F(PokeTest, PushesOutToTheSolidByPrefixedEffectors) {
    const double s = 0.5 + 0.5 * (3 * 0.0625 - 2 * 0.015625);  // sharpness 0.5 at d = 0.25
    struct Case {
        std::string what, settings;
        Point in, out;
    } cases[] = {
        {"ball, along X", "", {0.5, 0, 0}, {1, 0, 0}}, {"ball, radially", "", {0.3, 0.4, 0}, {0.6, 0.8, 0}},
        {"ball, Z largest", "", {0.1, -0.2, 0.3}, {0.1 / std::sqrt(0.14), -0.2 / std::sqrt(0.14), 0.3 / std::sqrt(0.14)}},
        {"octahedron", Number("EXP", 1), {0.2, 0.1, 0.1}, {0.5, 0.25, 0.25}},
        {"the centre stays", "", {0, 0, 0}, {0, 0, 0}}, {"on the surface stays", "", {0, 1, 0}, {0, 1, 0}},
        {"outside stays", "", {0.9, 0.9, 0}, {0.9, 0.9, 0}},
        {"softer with sharpness 0.5", Number("SHARPNESS", 0.5), {0.5, 0, 0}, {s, 0, 0}},
        {"half strength", Number("POKESTRENGTH", 0.5), {0.5, 0, 0}, {0.75, 0, 0}},
        {"no strength", Number("POKESTRENGTH", 0), {0.5, 0, 0}, {0.5, 0, 0}},
        {"disabled", Toggle("DISABLE", true), {0.5, 0, 0}, {0.5, 0, 0}},
    };
    for (const Case &c : cases) ExpectPoint(Poked({c.in}, c.settings)[0], c.out, 1e-12, c.what);
    // Curvature 0.01 is a box: out to the face along the ray.
    ExpectPoint(Poked({{0.5, 0.2, 0.1}}, Number("EXP", 0.01))[0], {1, 0.4, 0.2}, 1e-12, "box");
    // The effector's own placement sizes and turns the solid.
    ball->SetRest({2, 0, 0}, {90, 0, 0}, {0.5, 0.5, 2});
    ExpectPoint(Poked({{2.5, 0, 0}})[0], {4, 0, 0}, 1e-12, "a ball two long, turned to lie along X");
    // Effectors by prefix.
    for (int i = 2; i <= 520; ++i) host.scene.AddNullObject("Ball." + std::to_string(i)).SetRest({50, 0, 0});
    ball->SetRest({50, 0, 0});
    host.scene.objects[512 + 1]->SetRest({0, 0, 0});  // the 513th ball, on the point
    ExpectPoint(Poked({{0.5, 0, 0}})[0], {0.5, 0, 0}, 0, "only the first 512 balls count");
    EXPECT_STREQ(handler->descln(instance), "Poke, 512 effectors");
    host.scene.objects[512]->SetRest({0, 0, 0});  // the 512th
    ExpectPoint(At(0)[0], {1, 0, 0}, 1e-12, "the 512th does");
    Settings(handler, instance, "Poke", Toggle("INTERACTIVE", true));
    const std::vector<LWItemID> used = ItemsUsed(handler->useItems(instance));
    ASSERT_EQ(used.size(), 512u);
    EXPECT_EQ(used[0], IdOf(ball));
    Settings(handler, instance, "Poke", Toggle("DISABLE", true));
    EXPECT_STREQ(handler->descln(instance), "Poke, 512 effectors: Disabled");
    EXPECT_EQ(handler->useItems(instance), nullptr);
    EXPECT_EQ(handler->flags(instance), static_cast<unsigned>(LWDMF_WORLD));
}

TEST_F(PokeTest, DentsRelaxAtTheRestoreRate) {
    // The ball sits on the point up to frame 12 (0.4 s), then is gone.
    ball->SetRest({0, 0, 0});
    ball->AddKey(12, {0, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    ball->AddKey(13, {100, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    const std::string history = Number("HISTLENGTH", 40) + Number("RESTORE", 0.3);
    // Samples every 0.05 s (Curve Quality 0.5); the last push is the sample at
    // 0.4 s. Each later sample relaxes one step, except that the current one
    // relaxes only from tN, the last whole step: 0.55 s of relaxing by 1 s.
    for (double frame : {30.0, 31.0}) {
        double t = frame / 30, relaxing = t - 0.4 - 0.05;
        EXPECT_NEAR(Poked({{0.5, 0, 0}}, history, frame)[0][0], 0.5 + 0.5 * std::exp(-5 * 0.3 * relaxing), 1e-9)
            << "what is left of the dent at frame " << frame;
    }
    ExpectPoint(Poked({{0.5, 0, 0}}, "", 30)[0], {0.5, 0, 0}, 0, "no history: no dent");
    ExpectPoint(Poked({{0.5, 0, 0}}, history, 0)[0], {1, 0, 0}, 1e-12, "time 0: the current push only");
    // A frame alone, or after all the frames before it, gives the same points.
    object->geometry.points = {{0.5, 0, 0}, {0.2, 0.3, -0.1}, {-0.7, 0, 0.2}};
    ball->AddKey(24, {-0.3, 0.2, 0, 0, 0, 0, 1, 1, 1});
    auto alone = Poked(object->geometry.points, history, 40);
    Poked(object->geometry.points, history, 0);
    for (int f = 1; f <= 40; ++f) At(f);
    EXPECT_EQ(At(40), alone);
}

}  // namespace
