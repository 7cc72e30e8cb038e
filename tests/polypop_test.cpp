// PolyPop through its handler: the seeded order's ranks for three seeds and
// several counts, read back from which polygon is half shown at each step of the
// progress; an even pace (exactly floor(g N) polygons shown) for counts up to
// a million; the three orders, fades, pops, progress control and the ends of
// the stretch; the same picture whatever order or thread shades the spots.
#include <algorithm>
#include <random>
#include <thread>

#include "plugin_harness.h"

namespace {

class PolyPop : public InstanceTest<ShaderHandler> {
protected:
    Item *thing = nullptr;
    PolyPop() : InstanceTest("PolyPop") {}
    void SetUp() override {
        InstanceTest::SetUp();
        thing = &host.scene.AddObject("Thing", "thing.lwo");
    }
    // New settings on a fresh instance, for `polygons` polygons, at a frame.
    void At(long polygons, double frame, const std::string &settings) {
        Renew(settings);
        thing->numPolygons = static_cast<int>(polygons);
        ASSERT_EQ(h->init(instance), nullptr);
        ASSERT_EQ(h->newTime(instance, static_cast<LWFrame>(frame), frame / 30), nullptr);
    }
    // A spot of polygon n with its fields at recognisable values, shaded.
    ShaderAccess Spot(long n) const {
        ShaderAccess s{};
        s.objID = IdOf(thing);
        s.polNum = static_cast<int>(n);
        s.luminous = 0.2, s.diffuse = 0.8, s.specular = 0.5, s.mirror = 0.1, s.transparency = 0.3, s.eta = 1.5;
        h->evaluate(instance, &s);
        return s;
    }
    // How much of polygon n shows, read back from its transparency.
    double Shown(long n) const { return (1 - Spot(n).transparency) / 0.7; }
    static std::string Progress(double g) { return Radio("TIMING", 1) + Number("PROGRESS", g); }
};

TEST_F(PolyPop, SeededRanksAndAnEvenPace) {
    struct Case {
        int seed;
        std::vector<long> ranks;
    } cases[] = {
        {1, {0}}, {1, {2, 1, 0}}, {1, {1, 4, 2, 3, 0}}, {1, {6, 4, 2, 5, 0, 7, 9, 3, 8, 1}},
        {2, {2, 4, 6, 1, 8, 5, 0, 7, 9, 3}}, {0, {7, 3, 0, 1, 5, 4, 2, 9, 8, 6}},
        {1, {10, 1, 8, 12, 6, 5, 16, 0, 4, 15, 3, 13, 14, 7, 2, 9, 11}},
    };
    for (const Case &c : cases) {
        const long n = static_cast<long>(c.ranks.size());
        std::vector<long> ranks(n, -1);
        // At progress (k + 1/2) / N the polygon of rank k is exactly half shown.
        for (long k = 0; k < n; ++k) {
            At(n, 0, Radio("ORDER", 2) + PluginTest::Number("SEED", c.seed) + Progress((k + 0.5) / n));
            for (long i = 0; i < n; ++i)
                if (std::fabs(Shown(i) - 0.5) < 1e-9) ranks[i] = k;
        }
        EXPECT_EQ(ranks, c.ranks) << "seed " << c.seed << ", " << n << " polygons";
    }
    // An even pace for any count.
    // With no fade, at progress g exactly floor(g N) polygons are fully shown
    // and at most one partly: the order is a permutation of the polygons.
    for (long n : {1L, 2L, 3L, 4L, 5L, 17L, 1000L, 65537L, 1000000L})
        for (int seed : {1, 7})
            for (double g : n > 100000 ? std::vector<double>{0.37} : std::vector<double>{0.25, 0.5, 0.9}) {
                At(n, 0, Radio("ORDER", 2) + PluginTest::Number("SEED", seed) + Progress(g));
                long full = 0, part = 0;
                for (long i = 0; i < n; ++i) {
                    double v = Shown(i);
                    full += v > 1 - 1e-9;
                    part += v > 1e-9 && v < 1 - 1e-9;
                }
                EXPECT_EQ(full, static_cast<long>(std::floor(g * n))) << n << " polygons, seed " << seed << ", g " << g;
                EXPECT_LE(part, 1);
            }
}

TEST_F(PolyPop, TheThreeOrdersAndTheEndsOfTheStretch) {
    for (int order : {0, 1, 2}) {
        At(1000, 0, Radio("ORDER", order) + Progress(0.25));
        std::vector<long> shown;
        for (long i = 0; i < 1000; ++i)
            if (Shown(i) > 1 - 1e-9) shown.push_back(i);
        ASSERT_EQ(shown.size(), 250u) << "order " << order;
        if (order == 0) {
            EXPECT_EQ(shown.back(), 249);
        } else if (order == 1) {
            EXPECT_EQ(shown.front(), 750);
        } else {
            EXPECT_NE(shown.back() - shown.front(), 249) << "not a block";
        }
    }
    // The ends of the stretch.
    // Defaults: frames 1 to 60. At frame 1 and before, nothing shows (every
    // field as an invisible spot has it); from frame 60 on nothing is written.
    for (double frame : {-5.0, 0.0, 1.0}) {
        At(10, frame, "");
        ShaderAccess s = Spot(3);
        EXPECT_EQ(s.transparency, 1);
        EXPECT_EQ(s.luminous + s.diffuse + s.specular + s.mirror, 0);
        EXPECT_EQ(s.eta, 1);
    }
    for (double frame : {60.0, 75.0}) {
        At(10, frame, "");
        ShaderAccess s = Spot(3);
        EXPECT_EQ(s.transparency, 0.3);
        EXPECT_EQ(s.eta, 1.5);
        EXPECT_EQ(s.luminous, 0.2);
    }
    At(10, 75, Toggle("INVERT", true));
    EXPECT_EQ(Spot(3).transparency, 1) << "disappeared";
    // An end at the start: built within a thousandth of a frame.
    At(10, 10.002, PluginTest::Number("START", 10) + PluginTest::Number("END", 10));
    EXPECT_EQ(Shown(9), 1);
    At(10, 9.999, PluginTest::Number("START", 10) + PluginTest::Number("END", 10));
    EXPECT_EQ(Shown(0), 0);
    // Polygons the host numbers outside the object, and an object of none: untouched.
    At(10, 0, "");
    EXPECT_EQ(Spot(-1).transparency, 0.3);
    EXPECT_EQ(Spot(10).transparency, 0.3);
    At(0, 0, "");
    EXPECT_EQ(Spot(0).transparency, 0.3);
}

TEST_F(PolyPop, FadesPopsAndProgress) {
    // Fade over the whole stretch: every polygon shows g.
    At(10, 31, PluginTest::Number("FADE", 59) + Radio("ORDER", 0));
    for (long i : {0L, 5L, 9L}) EXPECT_NEAR(Shown(i), 30.0 / 59, 1e-12);
    // Frames 0 to 60, fade 10, 100 polygons: slots of half a frame, reveals of
    // 10.5 frames; polygon 40 starts at frame 20 and is half shown at 25.25.
    At(100, 25.25, PluginTest::Number("START", 0) + PluginTest::Number("FADE", 10) + Radio("ORDER", 0));
    EXPECT_NEAR(Shown(40), 0.5, 1e-12);
    // A 3-frame pop: a frame into polygon 10's reveal (slots of 0.59 frame from
    // frame 1, so from 6.9) it is fully shown and flashes at its peak.
    const std::string flash = PluginTest::Number("POPLEN", 3) + PluginTest::Number("POPLUM", 1) + Radio("ORDER", 0);
    At(100, 7.9, flash);
    ShaderAccess s = Spot(10);
    EXPECT_NEAR(s.luminous, 0.2 + 1.0, 1e-12);
    EXPECT_DOUBLE_EQ(s.transparency, 0.3) << "fully shown: 1 - 1 * 0.7";
    At(100, 6.9 + 3.01, flash);
    EXPECT_EQ(Spot(10).luminous, 0.2) << "the flash is over: nothing written";
    // Progress 50 % of 10 polygons in order: 0 to 4 shown, 5 to 9 not, at any time.
    for (double frame : {0.0, 500.0}) {
        At(10, frame, Radio("ORDER", 0) + Progress(0.5));
        for (long i = 0; i < 10; ++i) EXPECT_EQ(Shown(i), i < 5 ? 1 : 0) << i;
    }
    At(10, 0, Radio("ORDER", 0) + Progress(1.7));
    EXPECT_EQ(Shown(9), 1);
}

TEST_F(PolyPop, AnyOrderAnyThreadSameSpots) {
    At(5000, 20, PluginTest::Number("FADE", 6) + PluginTest::Number("POPLEN", 2));
    std::vector<ShaderAccess> inOrder(5000), shuffled(5000), threaded(5000);
    for (long i = 0; i < 5000; ++i) inOrder[i] = Spot(i);
    std::vector<long> order(5000);
    for (long i = 0; i < 5000; ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(4));
    for (long i : order) shuffled[i] = Spot(i);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (long i = t; i < 5000; i += 4) threaded[i] = Spot(i);
        });
    for (auto &t : threads) t.join();
    for (long i = 0; i < 5000; ++i) {
        EXPECT_EQ(std::memcmp(&inOrder[i], &shuffled[i], sizeof(ShaderAccess)), 0) << i;
        EXPECT_EQ(std::memcmp(&inOrder[i], &threaded[i], sizeof(ShaderAccess)), 0) << i;
    }
}

TEST_F(PolyPop, FlagsAndDescriptions) {
    EXPECT_EQ(h->flags(instance), 252u);
    EXPECT_STREQ(h->descln(instance), "PolyPop, random order");
    Settings(h, instance, "PolyPop", Radio("ORDER", 1) + Toggle("INVERT", true));
    EXPECT_STREQ(h->descln(instance), "PolyPop, reverse order, disappearing");
    Settings(h, instance, "PolyPop", Toggle("DISABLE", true));
    EXPECT_EQ(h->flags(instance), 252u) << "the same while disabled";
    EXPECT_STREQ(h->descln(instance), "PolyPop: Disabled");
    At(10, 0, Toggle("DISABLE", true));
    EXPECT_EQ(Spot(0).transparency, 0.3) << "disabled: spots alone";
    EXPECT_EQ(h->flags(nullptr), 0u);
    EXPECT_STREQ(h->init(nullptr), "Eeeek, no instance at init!");
    EXPECT_STREQ(h->newTime(nullptr, 0, 0), "Eeek, no inst at newtime");
}

}  // namespace
