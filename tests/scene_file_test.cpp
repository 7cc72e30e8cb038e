// Scene files: every real scene loads and its motions evaluate; values checked
// by hand against the files; errors name their line; a scene with a plug-in
// survives being written and read back.
#include <cmath>
#include <cstring>
#include <sstream>

#include "host/scene_file.h"
#include "plugin_harness.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
const std::string kReal = std::string(VESK_SHARED_DIR) + "/realdata/legacy-lightwave-projects/content/";

using SceneFiles = PluginTest;

TEST_F(SceneFiles, EveryRealSceneLoadsAndEveryCutLoadsOrSaysWhere) {
    // Whole, every real scene loads and its objects' motions evaluate. Cut
    // anywhere (every byte of the small scenes, every 5th or 17th of the
    // larger), it either loads, with no more items than the whole, or is
    // refused naming its line; a cut inside a motion block is always refused.
    for (const char *name : {"nxng-experiments/sparks.lws", "nxng-experiments/planet.lws", "nxng-experiments/hnoize.lws",
                             "demo-couloir-14/titles/titles.lws", "aminet-JumpingBall/JumpingBall/scenes/JumpingBall.scene",
                             "nxng-experiments/gus.lws", "nxng-experiments/basileanim.lws", "aminet-atmobjs/PassMountains"}) {
        const std::string text = FileText(kReal + name);
        size_t items = 0;
        {
            EmbeddedHost all;
            ASSERT_TRUE(SceneLoads(all, "cut.lws", &text));
            items = all.scene.objects.size() + all.scene.lights.size();
            EXPECT_FALSE(all.scene.objects.empty() && all.scene.cameras.empty()) << name;
            for (const auto &object : all.scene.objects)
                for (double frame : {0.0, 7.5, 33.0, 400.0}) {
                    double v[3];
                    all.scene.Param(*object, LWIP_W_POSITION, frame / all.scene.framesPerSecond, v);
                    for (double x : v) EXPECT_TRUE(std::isfinite(x)) << name << " " << object->name;
                }
        }
        size_t step = text.size() <= 6000 ? 1 : text.size() <= 15000 ? 5 : 17, refused = 0;
        for (size_t cut = 0; cut < text.size(); cut += step) {
            EmbeddedHost part;
            std::string error;
            std::string head = text.substr(0, cut);
            if (LoadSceneText(part, head, "cut.lws", &error)) {
                EXPECT_LE(part.scene.objects.size() + part.scene.lights.size(), items) << name << " cut at " << cut;
                EXPECT_TRUE(head.back() == '\n' || head.back() == '\r') << name << " cut at " << cut << " mid-line, yet loaded";
                // After the last motion header: channels, key count, then two lines a key.
                size_t motion = head.rfind("Motion (unnamed)");
                if (motion != std::string::npos) {
                    std::istringstream rest(head.substr(head.find('\n', motion) + 1));
                    std::string channels, keys, line;
                    rest >> channels >> keys;
                    std::getline(rest, line);
                    long lines = 0;
                    while (std::getline(rest, line)) ++lines;
                    EXPECT_FALSE(!keys.empty() && lines < 2 * std::atol(keys.c_str()))
                        << name << " cut at " << cut << " inside a motion, yet loaded";
                }
            } else {
                ++refused;
                EXPECT_EQ(error.rfind("cut.lws:", 0), 0u) << name << " cut at " << cut << ": " << error;
            }
        }
        EXPECT_GT(refused, 0u) << name;
    }
}

TEST_F(SceneFiles, PlanetMatchesItsFile) {
    ASSERT_TRUE(SceneLoads(host, kReal + "nxng-experiments/planet.lws"));
    Scene &s = host.scene;
    EXPECT_EQ(s.objects.size(), 5u);
    EXPECT_EQ(s.lights.size(), 1u);
    EXPECT_EQ(s.lastFrame, 50);
    EXPECT_EQ(s.framesPerSecond, 25);
    EXPECT_EQ(s.ShownName(*s.objects[3]), "blue_haze.lwo (2)") << "the same file loaded again";
    Item &camera = *s.cameras.front();
    EXPECT_EQ(camera.target, s.objects[0].get());
    // Two zero-tension keys, frames 0 and 100: frame 50 is halfway.
    double v[3];
    s.Param(camera, LWIP_W_POSITION, 50 / 25.0, v);
    EXPECT_NEAR(v[0], (0.0007581711 - 47.67132) / 2, 1e-9);
    EXPECT_NEAR(v[1], (-0.001311779 + 22.32369) / 2, 1e-9);
    EXPECT_NEAR(v[2], (-30.98641 + 8.850325) / 2, 1e-9);
    s.Param(*s.objects[2], LWIP_SCALING, 0, v);
    EXPECT_EQ(v[0], -0.98) << "mirrored scale";
}

TEST_F(SceneFiles, ErrorsNameTheLine) {
    struct Case {
        std::string text, error;
    } cases[] = {
        {"LWSC\n3\n", "bad.lws:2: scene format version 3 is not LightWave 5's version 1"},
        {"LWOB\n", "bad.lws:1: not a LightWave scene (no LWSC)"},
        {"LWSC\n1\nAddNullObject N\nObjectMotion (unnamed)\n  9\n  1\n  0 0 x 0 0 0 1 1 1\n", "bad.lws:7: 'x' is not a number"},
        {"LWSC\n1\nAddNullObject N\nObjectMotion (unnamed)\n  9\n  1\n  0 0 0\n", "bad.lws:7: expected 9 numbers, found 3"},
        {"LWSC\n1\nAddNullObject N\nObjectMotion (unnamed)\n  9\n  2\n  0 0 0 0 0 0 1 1 1\n  0 0 0 0 0\n",
         "bad.lws:8: the scene ends inside a motion"},
        {"LWSC\n1\nAddNullObject N\nParentObject 4\n", "bad.lws:4: no object 4 in the scene"},
        {"LWSC\n1\nZoomFactor inf\n", "bad.lws:3: 'inf' is not a number"},
        {"LWSC\n1\nAddNullObject N\nShadowOptions -14.1421\n", "bad.lws:4: '-14.1421' is not a usable number for ShadowOptions"},
        {"LWSC\n1\nRayTraceEffects 2.5\n", "bad.lws:3: '2.5' is not a usable number for RayTraceEffects"},
        {"LWSC\n1\nLoadObject  \n", "bad.lws:3: LoadObject names no object file"},
        {"LWSC\n1\nMotionBlur 1.5\n", "bad.lws:3: '1.5' is not a usable number for MotionBlur"},
        {"LWSC\n1\nFramesPerSecond 24.ugin3600\n", "bad.lws:3: '24.ugin3600' is not a usable number for FramesPerSecond"},
        {"LWSC\n1\nAddNullObject N\nObjDissolve 0.5x\n", "bad.lws:4: '0.5x' is not a number"},
        {"LWSC\n1\nAddNullObject N\nPlugin ItemMotionHandler 1 Nope\nEndPlugin\n",
         "bad.lws:4: the module has no ItemMotionHandler named Nope"},
        {"LWSC\n1\nAddNullObject N\nPlugin ItemMotionHandler 1 Track\nBEGIN\n", "bad.lws:4: Plugin Track has no EndPlugin"},
    };
    for (const Case &c : cases) {
        EmbeddedHost other;
        other.UseModule(&module);
        std::string error;
        EXPECT_FALSE(LoadSceneText(other, c.text, "bad.lws", &error));
        EXPECT_EQ(error, c.error);
    }
}

TEST_F(SceneFiles, PluginsAreMadeOnceTheWholeSceneIsRead) {
    // Track on the first null names one the file adds after it; Track turns
    // its +Z towards it: from the origin to (0, 5, 0) is pitch -90.
    const std::string track = "Plugin ItemMotionHandler 1 Track\nBEGIN MARVEN_LABS_PLUGIN Track\nVERSION 1\n"
                              " BEGIN ITEM TRACKITEM\n OBJECT 1 1 5 @Later\n END ITEM TRACKITEM\n"
                              "END MARVEN_LABS_PLUGIN Track\nEndPlugin\n";
    const std::string later = "AddNullObject Later\nObjectMotion (unnamed)\n  9\n  1\n  0 5 0 0 0 0 1 1 1\n  0 0 0 0 0\n";
    std::string error;
    ASSERT_TRUE(LoadSceneText(host, "LWSC\n1\nAddNullObject Tracker\n" + track + later, "ahead.lws", &error)) << error;
    double rotation[3];
    host.scene.Param(*host.scene.objects[0], LWIP_ROTATION, 0, rotation);
    EXPECT_NEAR(rotation[1], -kPi / 2, 1e-9);
    // A scene refused after its plug-in block makes no plug-in.
    EmbeddedHost other;
    other.UseModule(&module);
    EXPECT_FALSE(LoadSceneText(other, "LWSC\n1\nAddNullObject Tracker\n" + track + "ZoomFactor x\n", "cut.lws", &error));
    EXPECT_EQ(error, "cut.lws:12: 'x' is not a number");
    EXPECT_TRUE(other.scene.objects.at(0)->motionPlugins.empty());
}

TEST_F(SceneFiles, PluginsSurviveWritingAndReading) {
    ASSERT_TRUE(SceneLoads(host, "track_demo.lws"));
    std::string text = SceneText(host);
    // Services answer for the newest host, so the first one is asked first.
    const double times[] = {0.0, 1.3, 4.9};
    double before[3][3];
    for (int k = 0; k < 3; ++k) host.scene.Param(*host.scene.cameras.front(), LWIP_ROTATION, times[k], before[k]);
    EmbeddedHost again;
    again.UseModule(&module);
    ASSERT_TRUE(SceneLoads(again, "again.lws", &text));
    ASSERT_EQ(again.scene.cameras.front()->motionPlugins.size(), 1u);
    for (int k = 0; k < 3; ++k) {
        double after[3];
        again.scene.Param(*again.scene.cameras.front(), LWIP_ROTATION, times[k], after);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(before[k][i], after[i], 1e-6) << times[k];
    }
    EXPECT_NE(before[1][0], 0) << "Track turned the camera";
    auto undated = [](std::string t) {  // the saved-date line names the second it was written
        for (size_t at; (at = t.find("# Saved ")) != std::string::npos;) t.erase(at, t.find('\n', at) - at + 1);
        return t;
    };
    EXPECT_EQ(undated(SceneText(again)), undated(text)) << "a second round changes nothing";
}

TEST_F(SceneFiles, FiltersOfTheEffectsSurviveWritingAndReading) {
    // The focus-pull example holds Confusion (focused on its null) and Lens.
    ASSERT_TRUE(SceneLoads(host, "focus_pull.lws"));
    ASSERT_EQ(host.scene.filterPlugins.size(), 2u);
    EXPECT_EQ(host.scene.filterPlugins[0].server, "Confusion");
    EXPECT_EQ(host.scene.filterPlugins[1].server, "Lens");
    EXPECT_TRUE(host.scene.filterPlugins[1].image != nullptr && host.scene.filterPlugins[1].pixel == nullptr);
    // The focus item came back from its name: it is what Confusion uses.
    const LWItemID *used = host.scene.filterPlugins[0].image->useItems(host.scene.filterPlugins[0].instance);
    ASSERT_TRUE(used && used[0]);
    EXPECT_EQ(used[0], IdOf(host.scene.objects.front().get()));
    std::string text = SceneText(host);
    EXPECT_NE(text.find("Plugin ImageFilterHandler 1 Confusion\n"), std::string::npos);
    EXPECT_NE(text.find("Plugin ImageFilterHandler 2 Lens\n"), std::string::npos);
    EXPECT_NE(text.find("@Focus"), std::string::npos);
    EmbeddedHost again;
    again.UseModule(&module);
    ASSERT_TRUE(SceneLoads(again, "again.lws", &text));
    EXPECT_EQ(again.scene.filterPlugins.size(), 2u);
    // A filter of no known class in the effects is refused with the module's reason.
    EmbeddedHost third;
    third.UseModule(&module);
    std::string error;
    EXPECT_FALSE(LoadSceneText(third, "LWSC\n1\nPlugin ImageFilterHandler 1 Nope\nEndPlugin\n", "bad.lws", &error));
    EXPECT_NE(error.find("Nope"), std::string::npos) << error;
}

}  // namespace

TEST(MotionFiles, ReadTheRealFilesAndRefuseDamagedOnes) {
    // bot.mot by hand: 19 keys, the last at frame 150 with X -0.7722701 and P -8.209064.
    std::vector<Channel> nine;
    std::string error;
    ASSERT_TRUE(ReadMotionFile(kReal + "nxng-experiments/bot.mot", &nine, &error)) << error;
    ASSERT_EQ(nine.size(), 9u);
    ASSERT_EQ(nine[0].keys.size(), 19u);
    EXPECT_EQ(nine[0].keys.back().frame, 150);
    EXPECT_EQ(nine[0].keys.back().value, -0.7722701);
    EXPECT_EQ(nine[4].keys.back().value, -8.209064);
    EXPECT_EQ(nine[1].keys[1].frame, 5);
    ASSERT_TRUE(ReadMotionFile(kReal + "nxng-experiments/l.mot", &nine, &error)) << error;
    EXPECT_EQ(nine[8].keys.size(), 1u);

    const std::string key = "0 0 0 0 0 0 1 1 1\n0 0 0 0 0\n";
    struct Case {
        std::string text, error;
    } cases[] = {
        {"LWSC\n1\n", "m.mot:1: not a LightWave motion file (no LWMO)"},
        {"LWMO\n3\n", "m.mot:2: motion format version 3 is not LightWave 5's version 1"},
        {"LWMO\n1\n8\n1\n" + key, "m.mot:3: expected 9 channels, found 8"},
        {"LWMO\n1\n9\n0\n", "m.mot:4: a motion's key count is a whole number from 1 to 1000000, not 0"},
        {"LWMO\n1\n9\n1e300\n", "m.mot:4: a motion's key count is a whole number from 1 to 1000000, not 1e300"},
        {"LWMO\n1\n9\n2\n" + key, "m.mot:6: the motion file ends inside a motion"},
        {"LWMO\n1\n9\n1\n0 0 nan 0 0 0 1 1 1\n0 0 0 0 0\n", "m.mot:5: 'nan' is not a number"},
        {"LWMO\n1\n9\n1\n" + key + "junk\n", "m.mot:7: more lines after the last key"},
        {"LWMO\n1\n9\n1\n0 0 0 0 0 0 1 1 1\n0 0 0 0", "m.mot:6: the motion file ends in the middle of a line"},
    };
    for (const Case &c : cases) {
        std::vector<Channel> kept(9);
        kept[0].keys.push_back({});
        EXPECT_FALSE(ReadMotionText(c.text, "m.mot", &kept, &error));
        EXPECT_EQ(error, c.error);
        EXPECT_EQ(kept[0].keys.size(), 1u) << "a refused file leaves the channels as they were";
    }
    EXPECT_FALSE(ReadMotionFile(VESK_SOURCE_DIR, &nine, &error));
    EXPECT_EQ(error, std::string(VESK_SOURCE_DIR) + ": not a file");
}

TEST(MotionFiles, EveryCutOfARealMotionIsRefused) {
    // A motion file has no optional part: any shorter piece is damaged.
    for (const char *name : {"nxng-experiments/bot.mot", "demo-couloir-14/titles/cam.mot", "nxng-experiments/l.mot"}) {
        const std::string text = FileText(kReal + name);
        std::vector<Channel> nine;
        std::string error;
        ASSERT_TRUE(ReadMotionText(text, name, &nine, &error)) << error;
        // Keeping the last line's end is still whole; a cut before it is not.
        size_t whole_until = text.find_last_not_of("\r\n") + 1;
        for (size_t cut = 0; cut < whole_until; ++cut)
            EXPECT_FALSE(ReadMotionText(text.substr(0, cut), name, &nine, &error)) << name << " cut at " << cut;
    }
}

namespace {

// What an instance's loader was handed, read after read.
struct Reads {
    static inline std::vector<int> lengths, counts;
    static inline std::vector<std::string> texts;  // the bytes given, up to and with a zero where one was written
    static LWError Load(LWInstance, const LWLoadState *state) {
        for (int len : lengths) {
            char buf[100];
            std::memset(buf, '#', sizeof buf);
            int n = state->read(state->readData, buf, len);
            counts.push_back(n);
            texts.push_back(n < 0 ? "" : std::string(buf, static_cast<size_t>(n) + (buf[n] == 0 ? 1 : 0)));
        }
        return nullptr;
    }
};

TEST(LoadState, LinesAreReadInPartsAndEndedWithAZero) {
    using namespace std::string_literals;
    struct Case {
        std::vector<int> lengths;
        std::vector<int> counts;
        std::vector<std::string> texts;
    } cases[] = {
        // A part of a line, then its rest, shorter than asked: ended by a zero.
        {{4, 80, 80, 80}, {4, 6, 6, -1}, {"ABCD", "EFGHIJ\0"s, "second\0"s, ""}},
        // Exactly the line: no zero; the next read finds the line's empty end.
        {{10, 5, 3, 80}, {10, 0, 3, 3}, {"ABCDEFGHIJ", "\0"s, "sec", "ond\0"s}},
    };
    EmbeddedHost host;  // the one a load tells that settings changed
    for (const Case &c : cases) {
        Reads::lengths = c.lengths;
        Reads::counts.clear(), Reads::texts.clear();
        LoadInstanceLines(Reads::Load, nullptr, {"ABCDEFGHIJ", "second"});
        EXPECT_EQ(Reads::counts, c.counts);
        EXPECT_EQ(Reads::texts, c.texts);
    }
}

}  // namespace
