// The toolkit's dialogs driven through the headless panel runner, whose script
// plays the user: Export Motion writes what vesk bake writes, and stops on abort;
// the advanced definition keeps its choices on accept and falls back to FIXED;
// the item selection replaces the control's items.
#include <algorithm>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "export/motion_export.h"
#include "module/lifecycle.h"
#include "panelui/dialogs.h"
#include "panelui/panel_window.h"
#include "panelui/progress.h"
#include "plugin_harness.h"

namespace {

class Dialogs : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        Headless() = HeadlessPanels{};
        HeadlessProgressState() = HeadlessProgress{};
    }
    void TearDown() override {
        Headless() = HeadlessPanels{};
        PluginTest::TearDown();
    }
    static void Accept(Panel *p) { p->cancelled = 0; }
};

TEST_F(Dialogs, ExportMotionWritesWhatBakeWrites) {
    ASSERT_TRUE(SceneLoads(host, "track_demo.lws"));
    Item &camera = *host.scene.cameras.front();
    auto *track = static_cast<PluginInstance *>(camera.motionPlugins[0].instance);
    track->panel->ownerItem = IdOf(&camera);
    std::string viaButton = ScratchPath("button.mot"), viaBake = ScratchPath("bake.mot");
    host.fileAnswers.push_back({1, viaButton});
    Headless().duringModal = Accept;
    RunExportMotion(track->panel);
    EXPECT_EQ(host.fileRequests.back().hail, "Save Motion File");
    EXPECT_STREQ(HeadlessProgressState().title, "Saving Motion File");
    EXPECT_STREQ(HeadlessProgressState().line1, "Frame 121/121");
    ExportRequest bake{IdOf(&camera), host.scene.lastFrame, 1.0, false, host.scene.framesPerSecond, nullptr, nullptr};
    ASSERT_TRUE(ExportMotionFile(bake, viaBake.c_str()));
    EXPECT_EQ(FileText(viaButton), FileText(viaBake));

    // Aborting after three keys: the header still announces 121.
    HeadlessProgressState().abortAfter = 3;
    host.fileAnswers.push_back({1, viaButton});
    RunExportMotion(track->panel);
    std::string cut = FileText(viaButton);
    EXPECT_EQ(cut.rfind("LWMO\r\n1\r\n9\r\n121\r\n", 0), 0u);
    EXPECT_EQ(std::count(cut.begin(), cut.end(), '\n'), 4 + 2 * 3);

    // Left with Abort on its own panel: no file is asked for.
    size_t asked = host.fileRequests.size();
    Headless().duringModal = nullptr;
    RunExportMotion(track->panel);
    EXPECT_EQ(host.fileRequests.size(), asked);

    track->panel->ownerItem = nullptr;
    RunExportMotion(track->panel);
    ASSERT_FALSE(host.messages.empty());
    EXPECT_EQ(host.messages.back().line1,
              "Due to a minor bug in LightWave, this plugin hasn't been told what object it's applied to.");
}

TEST_F(Dialogs, AdvancedDefinitionKeepsItsChoiceOrFallsBack) {
    ASSERT_TRUE(BindHostServices(EmbeddedHost::Lookup(), 3) == 0);
    host.scene.firstFrame = 0;
    host.scene.lastFrame = 10;
    PluginInstance *p = nullptr;
    {
        const ControlSpec table[] = {{.key = "DELAY", .kind = ControlSpecKind::Numeric, .x = 100, .y = 40, .label = "Delay", .value = 2}};
        LWError err = nullptr;
        p = BuildInstance({.title = "T", .shortName = "T", .width = 448, .height = 310}, table, 1, nullptr, &err, "x");
    }
    NumericControl *delay = Control<NumericControl>(p, 0);
    static std::string report;
    // The user picks "Linear Change Over Time", a change of 0.5 a frame, and accepts.
    Headless().duringModal = [](Panel *panel) {
        auto *radio = reinterpret_cast<RadioControl *>(FindControl(panel, "IGNORE1"));
        radio->selection = kLinear;
        reinterpret_cast<NumericControl *>(FindControl(panel, "linear"))->value = 0.5;
        ReportChange(&radio->record);
        report = reinterpret_cast<TextControl *>(FindControl(panel, "IGNORE2"))->text;
        panel->cancelled = 0;
    };
    EXPECT_TRUE(OpenAdvancedDefinition(delay, false));
    EXPECT_EQ(delay->mode, kLinear);
    EXPECT_EQ(delay->changePerFrame, 0.5);
    EXPECT_EQ(delay->value, 2) << "the base value is the fixed value";
    // Frames 0 to 250: 2 + 0.5 * (frame - 1) runs from 1.5 to 126.5, average 64.
    EXPECT_EQ(report, "From Frame 0 to 250 the value ranges from 1.500 to 126.500, average: 64.000.");

    // A reference mode without its item falls back to FIXED.
    Headless().duringModal = [](Panel *panel) {
        reinterpret_cast<RadioControl *>(FindControl(panel, "IGNORE1"))->selection = kZPos;
        panel->cancelled = 0;
    };
    OpenAdvancedDefinition(delay, false);
    EXPECT_EQ(delay->mode, kFixed);
    // Cancelled: nothing changes.
    delay->mode = kLinear;
    Headless().duringModal = [](Panel *panel) {
        reinterpret_cast<RadioControl *>(FindControl(panel, "IGNORE1"))->selection = kFixed;
    };
    OpenAdvancedDefinition(delay, false);
    EXPECT_EQ(delay->mode, kLinear);
    SharedDestroy(p);
}

TEST_F(Dialogs, ItemSelectionReplacesTheItems) {
    ASSERT_TRUE(BindHostServices(EmbeddedHost::Lookup(), 3) == 0);
    host.scene.AddNullObject("Zed");
    Item &alpha = host.scene.AddNullObject("Alpha");
    Item &key = host.scene.AddLight("Key");
    const ControlSpec table[] = {{.key = "TARGET", .kind = ControlSpecKind::Item, .x = 100, .y = 40}};
    LWError err = nullptr;
    PluginInstance *p = BuildInstance({.title = "T", .shortName = "T", .width = 448, .height = 310}, table, 1, nullptr, &err, "x");
    ItemControl *target = Control<ItemControl>(p, 0);
    LWItemID start[] = {IdOf(&key)};
    SetItems(target, start, 1);
    static std::vector<std::string> shown;
    // Sorted by name, the user picks the first entry (Alpha), clears nothing else, accepts.
    Headless().duringModal = [](Panel *panel) {
        auto *sort = reinterpret_cast<RadioControl *>(FindControl(panel, "SORT"));
        sort->selection = 1;
        ReportChange(&sort->record);
        auto *list = reinterpret_cast<ListboxControl *>(FindControl(panel, "ITEM"));
        shown.assign(list->entries, list->entries + list->count);
        list->selected[0] = 1;
        panel->cancelled = 0;
    };
    ASSERT_TRUE(OpenItemSelection(target));
    EXPECT_EQ(shown, (std::vector<std::string>{"Alpha", "Zed"}));
    // Objects first; the light stays selected.
    EXPECT_EQ(std::vector<LWItemID>(target->items, target->items + target->count),
              (std::vector<LWItemID>{IdOf(&alpha), IdOf(&key)}));
    EXPECT_STREQ(target->display, "2 items");
    SharedDestroy(p);
}

TEST(Progress, PercentIsHeldToTheBar) {
    char text[16];
    const std::pair<double, const char *> cases[] = {{1.7, "100.0%"}, {-0.2, "0.0%"}, {0.1234, "12.3%"}, {0.05, "5.0%"}};
    for (auto [fraction, want] : cases) {
        FormatProgressPercent(fraction, text);
        EXPECT_STREQ(text, want) << fraction;
    }
}

}  // namespace
