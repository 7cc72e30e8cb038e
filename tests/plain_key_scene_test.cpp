// The plain-key scene: every example exported, read back without plug-ins,
// moves every item as the original did at each frame; what has no motion
// plug-ins comes back byte for byte.
#include <cmath>
#include <filesystem>

#include "host/export/plain_key_scene.h"
#include "host/scene_file.h"
#include "module_fixture.h"

namespace {

class PlainKeyScene : public ModuleTest {};

std::vector<const Item *> AllItems(const Scene &s) {
    std::vector<const Item *> items;
    for (auto *list : {&s.objects, &s.lights, &s.cameras})
        for (const auto &item : *list) {
            items.push_back(item.get());
            for (const auto &bone : item->bones) items.push_back(bone.get());
        }
    return items;
}

TEST_F(PlainKeyScene, EveryExampleMovesAsBeforeWithoutItsMotionPlugins) {
    int baked = 0;
    for (const auto &entry : std::filesystem::directory_iterator(std::string(VESK_SOURCE_DIR) + "/examples")) {
        if (entry.path().extension() != ".lws") continue;
        const std::string path = entry.path().string();
        EmbeddedHost original;
        original.UseModule(&module);
        SceneLayout layout;
        std::string text, exported, error;
        ASSERT_TRUE(LoadSceneFile(original, path, &error, &layout, &text)) << error;
        ASSERT_TRUE(PlainKeySceneText(original, text, layout, &exported, &error)) << path << ": " << error;
        if (layout.motionPlugins.empty()) {
            EXPECT_EQ(exported, text) << path << ": nothing to bake, nothing changed";
        }
        // Services answer for the newest host: the original's motion is asked
        // before the plain scene's host is made. Keys hold ten significant digits.
        struct Asked {
            size_t item;
            int frame;
            double motion[9];
        };
        std::vector<Asked> asked;
        const auto before = AllItems(original.scene);
        for (size_t i = 0; i < before.size(); ++i) {
            baked += !before[i]->motionPlugins.empty();
            for (int frame = 0; frame <= original.scene.lastFrame && frame <= 90; frame += 9) {
                asked.push_back({i, frame, {}});
                original.FinalMotion(*before[i], frame / original.scene.framesPerSecond, asked.back().motion);
            }
        }
        EmbeddedHost plain;
        plain.UseModule(&module);
        ASSERT_TRUE(LoadSceneText(plain, exported, path, &error)) << error;
        const auto after = AllItems(plain.scene);
        ASSERT_EQ(before.size(), after.size()) << path;
        for (size_t i = 0; i < before.size(); ++i) {
            EXPECT_TRUE(after[i]->motionPlugins.empty()) << path << ": " << after[i]->name;
            EXPECT_EQ(after[i]->displacementPlugins.size(), before[i]->displacementPlugins.size()) << path;
        }
        for (const Asked &a : asked) {
            double got[9];
            plain.FinalMotion(*after[a.item], a.frame / plain.scene.framesPerSecond, got);
            for (int c = 0; c < 9; ++c)
                EXPECT_NEAR(got[c], a.motion[c], 1e-9 * std::fabs(a.motion[c]) + 1e-12)
                    << path << ": " << after[a.item]->name << " frame " << a.frame << " channel " << c;
        }
    }
    EXPECT_GE(baked, 15) << "the examples' items with motion plug-ins";
}

TEST_F(PlainKeyScene, KeysLineEndsAndRefusal) {
    // Track on a null keyed at rest, frames 0 to 2 at 2 fps: three linear keys
    // replace its one key, its plug-in lines go, CRLF line ends stay.
    const std::string text =
        "LWSC\r\n1\r\nLastFrame 2\r\nFramesPerSecond 2\r\nAddNullObject Target\r\nObjectMotion (unnamed)\r\n  9\r\n  1\r\n"
        "  0 0 10 0 0 0 1 1 1\r\n  0 0 0 0 0\r\nAddNullObject Eye\r\nObjectMotion (unnamed)\r\n  9\r\n  1\r\n"
        "  3 0 0 0 0 0 1 1 1\r\n  0 0 0 0 0\r\nEndBehavior 1\r\nPlugin ItemMotionHandler 1 Track\r\n"
        "BEGIN MARVEN_LABS_PLUGIN Track\r\nVERSION 1\r\n BEGIN ITEM TRACKITEM\r\n OBJECT 1 1 6 @Target\r\n"
        " END ITEM TRACKITEM\r\nEND MARVEN_LABS_PLUGIN Track\r\nEndPlugin\r\nShadowOptions 7\r\n";
    host.UseModule(&module);
    SceneLayout layout;
    std::string error, exported;
    ASSERT_TRUE(LoadSceneText(host, text, "eye.lws", &error, &layout)) << error;
    ASSERT_TRUE(PlainKeySceneText(host, text, layout, &exported, &error)) << error;
    // From (3, 0, 0) to (0, 0, 10): heading atan2(-3, 10), in degrees.
    const double heading = std::atan2(-3.0, 10.0) * 180 / 3.14159265358979323846;
    char key[64];
    std::snprintf(key, sizeof key, "  3 0 0 %.10g 0 0 1 1 1\r\n", heading);
    std::string keys;
    for (int frame = 0; frame <= 2; ++frame) keys += key + ("  " + std::to_string(frame) + " 1 0 0 0\r\n");
    const std::string head = text.substr(0, text.find("AddNullObject Eye"));
    EXPECT_EQ(exported, head + "AddNullObject Eye\r\nObjectMotion (unnamed)\r\n  9\r\n  3\r\n" + keys +
                            "EndBehavior 1\r\nShadowOptions 7\r\n");
    // Plug-ins on an item whose file gives it no keyed motion: nothing to replace.
    EmbeddedHost other;
    other.UseModule(&module);
    const std::string unkeyed = "LWSC\n1\nAddNullObject Eye\nPlugin ItemMotionHandler 1 Track\nEndPlugin\n";
    SceneLayout none;
    ASSERT_TRUE(LoadSceneText(other, unkeyed, "bad.lws", &error, &none)) << error;
    EXPECT_FALSE(PlainKeySceneText(other, unkeyed, none, &exported, &error));
    EXPECT_EQ(error, "Eye has motion plug-ins but no keyed motion in the file");
}

}  // namespace
