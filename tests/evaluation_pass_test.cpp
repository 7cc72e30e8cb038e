// Evaluation passes answer repeated questions from what they worked out once:
// items bake to the same bytes with and without a pass, including items that
// track each other (the cycle rule), while the Track demo's bake works out its
// camera once a key instead of once a question. (Every example's bakes are
// compared with the digests kept from before passes by example_outputs.sh.)
#include <chrono>
#include <map>
#include <optional>

#include "export/motion_export.h"
#include "host/motion_evaluation.h"
#include "host/scene_file.h"
#include "module_fixture.h"

namespace {

class EvaluationPasses : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        host.UseModule(&module);
        std::string error;
        ASSERT_TRUE(host.Handler("ItemMotionHandler", "Track", &error)) << error;  // binds the module
    }
    std::string Bake(Item &item, int end, bool inPass) { return Bake(host, item, end, inPass); }
    std::string Bake(EmbeddedHost &on, Item &item, int end, bool inPass) {
        std::string path = ScratchPath("pass.mot");
        ExportRequest r{IdOf(&item), end, 1.0, false, on.scene.framesPerSecond, nullptr, nullptr};
        std::optional<EvaluationPass> pass;
        if (inPass) pass.emplace(on);
        EXPECT_TRUE(ExportMotionFile(r, path.c_str()));
        return FileText(path);
    }
};

TEST_F(EvaluationPasses, ItemsThatTrackEachOther) {
    // A and B each track the other with a delay; C tracks A. Each answer in
    // the cycle depends on which end is asked first, which a pass must keep.
    auto track = [](const char *target, int delay) {
        return std::string("Plugin ItemMotionHandler 1 Track\nBEGIN MARVEN_LABS_PLUGIN Track\nVERSION 1\n"
                           " BEGIN ITEM TRACKITEM\n OBJECT 1 1 1 @") +
               target + "\n END ITEM TRACKITEM\n BEGIN NUM DELAY\n VALUE " + std::to_string(delay) +
               "\n END\nEND MARVEN_LABS_PLUGIN Track\nEndPlugin\n";
    };
    auto null = [](const char *name, const char *keys) {
        return std::string("AddNullObject ") + name + "\nObjectMotion (unnamed)\n  9\n  2\n" + keys + "EndBehavior 1\n";
    };
    std::string text = "LWSC\n1\nFirstFrame 1\nLastFrame 20\n" +
                       null("A", "  0 0 0 0 0 0 1 1 1\n  0 0 0 0 0\n  5 2 8 0 0 0 1 1 1\n  20 0 0 0 0\n") + track("B", 2) +
                       null("B", "  4 0 3 0 0 0 1 1 1\n  0 0 0 0 0\n  -3 1 6 0 0 0 1 1 1\n  20 0 0 0 0\n") + track("A", 0) +
                       null("C", "  0 5 0 0 0 0 1 1 1\n  0 0 0 0 0\n  1 5 1 0 0 0 1 1 1\n  20 0 0 0 0\n") + track("A", 1);
    ASSERT_TRUE(SceneLoads(host, "cycle.lws", &text));
    for (const char *order : {"ABC", "CBA", "BCA"})
        for (const char *name = order; *name; ++name) {
            Item &item = *host.scene.objects[*name - 'A'];  // A, B and C in the file's order
            EXPECT_EQ(Bake(item, 20, true), Bake(item, 20, false)) << order << ": " << *name;
        }
    // Asked in one pass in turn, each still answers as alone.
    double alone[3][9], together[3][9];
    for (int i = 0; i < 3; ++i) host.FinalMotion(*host.scene.objects[i], 0.4, alone[i]);
    {
        EvaluationPass pass(host);
        for (int i : {2, 0, 1, 2, 1, 0}) host.FinalMotion(*host.scene.objects[i], 0.4, together[i]);
    }
    for (int i = 0; i < 3; ++i)
        for (int c = 0; c < 9; ++c) EXPECT_EQ(alone[i][c], together[i][c]) << i << " " << c;
}

TEST_F(EvaluationPasses, TheTrackDemoWorksOutEachKeyOnce) {
    ASSERT_TRUE(SceneLoads(host, "track_demo.lws"));
    Item &camera = *host.scene.cameras.front();
    long before = host.motionEvaluations;
    Bake(camera, 120, false);
    long without = host.motionEvaluations - before;
    before = host.motionEvaluations;
    Bake(camera, 120, true);
    long with = host.motionEvaluations - before;
    // 121 keys: the camera once a key, and the target once for each time
    // Track asks of it (now and three frames before).
    EXPECT_LE(with, 121 * 3);
    EXPECT_GE(without, 3 * with) << without << " against " << with;
}

TEST_F(EvaluationPasses, StackedIntegratorsBakeTheSameInAFractionOfTheWork) {
    // Three Speedlimits on one car: each integrates the motion before it from
    // time 0 at every step. Outside a pass every step redoes the ones before
    // (work growing as the steps to the third power); inside, each earlier
    // motion is worked out once, and the bytes agree.
    std::string text = "LWSC\n1\nFramesPerSecond 24\nAddNullObject Car\nObjectMotion (unnamed)\n  9\n  3\n"
                       "  0 0 0 0 0 0 1 1 1\n  0 0 0 0 0\n  6 0 0 0 0 0 1 1 1\n  12 0 0 0 0\n"
                       "  6 0 9 0 0 0 1 1 1\n  24 0 0 0 0\nEndBehavior 1\n";
    // Limits of 6, 5 and 4 m/s: each one slows what the one before let through.
    for (int i = 1; i <= 3; ++i)
        text += "Plugin ItemMotionHandler " + std::to_string(i) + " Speedlimit\nBEGIN MARVEN_LABS_PLUGIN Speedlimit\n"
                "VERSION 1\n BEGIN RADIO VEL\n  SELECTION 1\n END RADIO VEL\n BEGIN NUM V\n VALUE " +
                std::to_string(7 - i) + "\n END\nEND MARVEN_LABS_PLUGIN Speedlimit\nEndPlugin\n";
    ASSERT_TRUE(SceneLoads(host, "stacked.lws", &text));
    Item &car = *host.scene.objects[0];
    ASSERT_EQ(car.motionPlugins.size(), 3u);
    auto seconds = [](auto &&work) {
        auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    std::string inPass, plain;
    double passTime = seconds([&] { inPass = Bake(car, 20, true); });
    double plainTime = seconds([&] { plain = Bake(car, 20, false); });
    EXPECT_EQ(inPass, plain);
    EXPECT_LT(passTime * 5, plainTime) << passTime << " s in a pass, " << plainTime << " s without";
}

TEST_F(EvaluationPasses, StackedSimulationsAreStoppedAtTheQuestionLimitAndSaySo) {
    // Whips stacked on one antenna: each asks about the motion before it at
    // every sample of its simulation, so each one multiplies the questions of
    // the ones below. Below the limit the answers are untouched; past it the
    // question is refused, naming the item and the frame, and the host is
    // whole again for the next one.
    ASSERT_TRUE(SceneLoads(host, "whip_demo.lws"));
    std::string error;
    Item *antenna = nullptr;
    for (auto &item : host.scene.objects)
        if (item->name == "Antenna") antenna = item.get();
    ASSERT_TRUE(antenna && antenna->motionPlugins.size() == 1);
    const std::string oneWhip = Bake(*antenna, 30, true);
    EXPECT_FALSE(host.MotionOverrun(&error));
    for (int more = 0; more < 2; ++more) ASSERT_TRUE(host.AddMotionPlugin(*antenna, "Whip", &error)) << error;

    const std::string threeWhips = Bake(*antenna, 30, true);  // at frame 30 well under the limit
    EXPECT_FALSE(host.MotionOverrun(&error)) << error;
    EXPECT_NE(threeWhips, oneWhip);
    host.motionQuestionLimit = 10000;
    double m[9];
    {
        EvaluationPass pass(host);
        host.FinalMotion(*antenna, 30.0, m);  // frame 720 at 24 frames a second
    }
    ASSERT_TRUE(host.MotionOverrun(&error));
    EXPECT_NE(error.find("Antenna at 30 s (frame 720): the motion plug-ins asked more than 10000 questions"),
              std::string::npos) << error;
    EXPECT_FALSE(host.MotionOverrun(&error));  // said once
    host.motionQuestionLimit = 5000000;
    EXPECT_EQ(Bake(*antenna, 30, true), threeWhips);  // nothing of the refused question was kept
}

// The car demo: a car under Speedlimit and four Wheelie wheels, the rig whose
// bake once grew with the cube of the shot's length.
class CarShots : public EvaluationPasses {
protected:
    Item *wheel = nullptr, *car = nullptr;
    void LoadCar(EmbeddedHost &on) {
        ASSERT_TRUE(SceneLoads(on, "car_demo.lws"));
        car = on.scene.objects[0].get();
        wheel = on.scene.objects[1].get();
        ASSERT_EQ(wheel->motionPlugins.size(), 1u);
    }
    // The first keys of a motion file (two lines each), after its four header lines.
    static std::string FirstKeys(const std::string &text, int keys) {
        size_t at = 0, from = 0;
        for (int i = 0; i < 4 + 2 * keys && at != std::string::npos; ++i) {
            at = text.find('\n', at + 1);
            if (i == 3) from = at;
        }
        return text.substr(from, at - from);
    }
};

TEST_F(CarShots, LongShotsStayUnderTheQuestionLimitAndAgreeWithNoMemory) {
    LoadCar(host);
    // Without memory frame 300 asks over a million questions (every Wheelie
    // step re-runs the car's chase from time 0); with it, a few thousand.
    host.motionQuestionLimit = 200000;
    std::string remembered;
    {
        EvaluationPass command(host);
        remembered = Bake(*wheel, 300, true);
    }
    std::string error;
    EXPECT_FALSE(host.MotionOverrun(&error)) << error;
    host.motionQuestionLimit = 5000000;
    // The first 41 keys, worked out afresh.
    EXPECT_EQ(FirstKeys(remembered, 41), FirstKeys(Bake(*wheel, 40, false), 41));
}

TEST_F(CarShots, NewSettingsAreNotAnsweredFromMemory) {
    LoadCar(host);
    auto slower = [](Item &car) {
        LoadInstanceLines(car.motionPlugins[0].handler->load, car.motionPlugins[0].instance,
                          {"BEGIN MARVEN_LABS_PLUGIN Speedlimit", "VERSION 1", " BEGIN RADIO VEL", "  SELECTION 1",
                           " END RADIO VEL", " BEGIN NUM V", " VALUE 2", " END", "END MARVEN_LABS_PLUGIN Speedlimit"});
    };
    std::string before, after;
    {
        EvaluationPass command(host);
        before = Bake(*car, 48, true);
        slower(*car);  // as a settings file loaded mid-command would
        after = Bake(*car, 48, true);
    }
    EXPECT_NE(before, after);
    EmbeddedHost fresh;
    fresh.UseModule(&module);
    LoadCar(fresh);
    slower(*car);
    EXPECT_EQ(after, Bake(fresh, *car, 48, false));
}

TEST_F(CarShots, ASmallMemoryTurnsOverAndAnswersTheSame) {
    LoadCar(host);
    std::string plenty, small;
    {
        EvaluationPass command(host);
        plenty = Bake(*wheel, 120, true);
        EXPECT_EQ(host.MemoryUse().overflows, 0);
    }
    host.motionState().memory = MotionMemory(256);
    {
        EvaluationPass command(host);
        small = Bake(*wheel, 120, true);
        MotionMemoryUse use = host.MemoryUse();
        EXPECT_GT(use.overflows, 2);
        EXPECT_LE(use.answers, 512u);
    }
    EXPECT_EQ(small, plenty);
}

TEST_F(CarShots, AWheelAskingWhereItIsGetsItsMotionBeforeTheAskingPlugin) {
    // The wheel drives along X (keyed) through a Speedlimit of its own (S)
    // and Wheelie (W) in several orders. Wheelie asks where the wheel is,
    // which the cycle rule answers with the motion before that Wheelie:
    // through the Speedlimit only when it comes first. Kept placements must
    // tell each asking plug-in apart and agree with no memory.
    const std::string demo = FileText(std::string(VESK_SOURCE_DIR) + "/examples/car_demo.lws");
    const std::string keyed = "  1\n  1.2 0.35 0.8 0 0 0 1 1 1\n  0 0 0 0 0\n";
    const std::string driven = "  2\n  1.2 0.35 0.8 0 0 0 1 1 1\n  0 0 0 0 0\n  9.2 0.35 0.8 0 0 0 1 1 1\n  48 0 0 0 0\n";
    const std::string wheelie = "Plugin ItemMotionHandler 1 Wheelie\nBEGIN MARVEN_LABS_PLUGIN Wheelie!\nVERSION 1\n"
                                " BEGIN RADIO AXIS\n  SELECTION 2\n END RADIO AXIS\nEND MARVEN_LABS_PLUGIN Wheelie!\nEndPlugin\n";
    const std::string speedlimit = "Plugin ItemMotionHandler 1 Speedlimit\nBEGIN MARVEN_LABS_PLUGIN Speedlimit\nVERSION 1\n"
                                   " BEGIN RADIO VEL\n  SELECTION 1\n END RADIO VEL\n BEGIN NUM V\n VALUE 2\n END\n"
                                   "END MARVEN_LABS_PLUGIN Speedlimit\nEndPlugin\n";
    std::map<std::string, std::string> baked;
    for (std::string order : {"WS", "SW", "WSW"}) {
        std::string scene = demo;
        size_t at = scene.find(keyed);
        ASSERT_NE(at, std::string::npos);
        scene.replace(at, keyed.size(), driven);
        at = scene.find(wheelie, at);
        ASSERT_NE(at, std::string::npos);
        std::string plugins;
        for (char p : order) plugins += p == 'W' ? wheelie : speedlimit;
        scene.replace(at, wheelie.size(), plugins);
        EmbeddedHost fresh;  // a scene read adds to the one before
        fresh.UseModule(&module);
        ASSERT_TRUE(SceneLoads(fresh, ScratchPath("driven.lws"), &scene));
        Item &first = *fresh.scene.objects[1];
        ASSERT_EQ(first.motionPlugins.size(), order.size());
        baked[order] = Bake(fresh, first, 12, true);
        EXPECT_EQ(baked[order], Bake(fresh, first, 12, false)) << order;  // within the question limit without memory
    }
    EXPECT_NE(baked["WS"], baked["SW"]);  // the limit slows the rolling in one order only
}

TEST_F(CarShots, AnAnswerCutByTheCycleRuleStaysCutWhenAskedAgain) {
    // The car tracks its own wheel, which rolls by the car's axes: inside the
    // car's Track the wheel rolls by the car's motion before Track (the cycle
    // rule). Asked again inside it at a time whose steps were all asked
    // before, the roll must still count as cut, and not be kept as the
    // wheel's motion for questions from outside.
    std::string scene = FileText(std::string(VESK_SOURCE_DIR) + "/examples/car_demo.lws");
    const std::string track = "Plugin ItemMotionHandler 1 Track\nBEGIN MARVEN_LABS_PLUGIN Track\nVERSION 1\n"
                              " BEGIN ITEM TRACKITEM\n OBJECT 1 1 9 @wheel.lwo\n END ITEM TRACKITEM\n"
                              "END MARVEN_LABS_PLUGIN Track\nEndPlugin\n";
    size_t at = scene.find("EndPlugin\n");  // the car's Speedlimit
    ASSERT_NE(at, std::string::npos);
    scene.insert(at + 10, track);
    ASSERT_TRUE(SceneLoads(host, ScratchPath("tracking.lws"), &scene));
    car = host.scene.objects[0].get();
    wheel = host.scene.objects[1].get();
    ASSERT_EQ(car->motionPlugins.size(), 2u);
    const double between = 9.5 / 24;  // its steps lie among frame 10's
    double remembered[5][9], afresh[5][9], m[9];
    {
        EvaluationPass pass(host);
        for (int frame = 0; frame <= 10; ++frame) host.FinalMotion(*car, frame / 24.0, m);
        host.FinalMotion(*car, between, m);
        for (int i = 1; i < 5; ++i) host.FinalMotion(*host.scene.objects[i], between, remembered[i]);
    }
    for (int i = 1; i < 5; ++i) {
        host.FinalMotion(*host.scene.objects[i], between, afresh[i]);
        for (int c = 0; c < 9; ++c) EXPECT_EQ(remembered[i][c], afresh[i][c]) << "wheel " << i << ", channel " << c;
    }
}

TEST_F(CarShots, AMissingWheelIsNamedOnce) {
    std::string scene = FileText(std::string(VESK_SOURCE_DIR) + "/examples/car_demo.lws");
    for (size_t at; (at = scene.find("LoadObject wheel.lwo")) != std::string::npos;)
        scene.replace(at, 20, "LoadObject lost_wheel.lwo");
    ASSERT_TRUE(SceneLoads(host, ScratchPath("car.lws"), &scene));
    Item &first = *host.scene.objects[1];
    Bake(first, 10, true);
    Bake(first, 10, false);
    ASSERT_EQ(host.warnings.size(), 1u);
    EXPECT_EQ(host.warnings[0].rfind("Wheelie needs the points of lost_wheel.lwo, but ", 0), 0u) << host.warnings[0];
    EXPECT_NE(host.warnings[0].find("it counts as an object without points"), std::string::npos);
    Bake(*host.scene.objects[2], 10, true);  // the second wheel is an object of its own
    EXPECT_EQ(host.warnings.size(), 2u);
}

}  // namespace
