// The shared frame: copy, items used with ancestry, identifier changes, the
// interface activation's modal run, the pixel-filter wrappers, the panel's file
// buttons with the settings memory, and the panel model's list walks.
#include <cstdio>

#include "filters/filter_frames.h"
#include "module/lifecycle.h"
#include "module/panel_files.h"
#include "module_fixture.h"
#include "panelui/panel_window.h"
#include "sample_panel.h"

namespace {

class Frame : public BoundModuleTest {
protected:
    PluginInstance *a = nullptr;
    void SetUp() override {
        BoundModuleTest::SetUp();
        ForgetSettingsMemory();
        Headless() = HeadlessPanels{};
        a = NewSampleInstance();
    }
    void TearDown() override {
        SharedDestroy(a);
        ModuleTest::TearDown();
    }
};

TEST_F(Frame, CopiesEveryValueAndRunsThePanelModally) {
    Item &owner = host.scene.AddNullObject("Owner");
    PluginInstance *b = NewSampleInstance();
    Sample<NumericControl>(a, kDelay)->value = 4;
    Sample<NumericControl>(a, kDelay)->mode = kLinear;
    Sample<RadioControl>(a, kAxis)->selection = 0;
    Sample<ColorControl>(a, kTint)->green = 9;
    SetToggle(Sample<ButtonControl>(a, kDisable), true);
    EXPECT_EQ(SharedCopy(a, b, IdOf(&owner)), nullptr);
    EXPECT_EQ(SavedText(b), SavedText(a)) << "every value";
    EXPECT_NE(SavedText(b).find(" VALUE 4\n"), std::string::npos);
    EXPECT_EQ(b->panel->ownerItem, IdOf(&owner));

    // A list one record longer does not end together.
    NewToggleControl("EXTRA", 0, 0, b->panel);
    EXPECT_STREQ(SharedCopyNoItem(a, b), "Copy Failed");
    SharedDestroy(b);
    SharedDestroy(nullptr);  // nothing happens
    // The interface runs the panel modally.
    const ServerRecord *options = FindServer(module, "ItemMotionInterface", "Track");
    a->panel->pendingUpdate = 1;
    Headless().modalResult = 0;
    EXPECT_EQ(ActivateServer(module, *options, 1, EmbeddedHost::Lookup(), a), 0);
    EXPECT_FALSE(a->panel->pendingUpdate) << "updates run before the window opens";
    Headless().modalResult = 1;
    EXPECT_EQ(ActivateServer(module, *options, 1, EmbeddedHost::Lookup(), a), 999);
    EXPECT_EQ(Headless().modalRuns, 2);
}

TEST_F(Frame, ItemsUsedCarryTheirAncestry) {
    Scene &s = host.scene;
    Item &root = s.AddNullObject("Root");
    Item &rig = s.AddObject("Rig");
    rig.parent = &root;
    Item &shoulder = s.AddBone(rig, "Shoulder");
    Item &wrist = s.AddBone(rig, "Wrist");
    wrist.parent = &shoulder;
    Item &target = s.AddNullObject("Target");
    Item &ref = s.AddNullObject("Ref");
    ref.parent = &target;
    LWItemID targets[] = {IdOf(&target)};
    SetItems(Sample<ItemControl>(a, kTarget), targets, 1);
    Sample<NumericControl>(a, kDelay)->ref[0].item = IdOf(&ref);
    a->panel->ownerItem = IdOf(&wrist);

    int n = CollectUsedItems(a);
    const LWItemID *list = AppendOwnerAncestry(a, n);
    // The numeric reference with its parent, the item control's target, then the
    // owner bone, its parent bone, the rig holding them and the rig's parent.
    const LWItemID want[] = {IdOf(&ref),      IdOf(&target), IdOf(&target), IdOf(&wrist),
                             IdOf(&shoulder), IdOf(&rig),    IdOf(&root),   nullptr};
    EXPECT_EQ(n, 3);
    for (size_t i = 0; i < std::size(want); ++i) EXPECT_EQ(list[i], want[i]) << i;

    // Identifier changes reach every control and the owner, first match only.
    Item &renamed = s.AddNullObject("Renamed");
    const LWItemID pairs[] = {IdOf(&target), IdOf(&renamed), IdOf(&wrist), IdOf(&root), IdOf(&renamed), IdOf(&ref),
                              nullptr};
    SharedChangeID(a, pairs);
    EXPECT_EQ(Sample<ItemControl>(a, kTarget)->items[0], IdOf(&renamed));
    EXPECT_EQ(a->panel->ownerItem, IdOf(&root));
    EXPECT_EQ(Sample<NumericControl>(a, kDelay)->ref[0].item, IdOf(&ref));
}

TEST_F(Frame, PixelFilterWrappers) {
    host.scene.frameWidth = 800;
    host.scene.frameHeight = 600;
    a->pixel.workingResolution = 200;
    static int clears;
    clears = 0;
    a->pixel.clearWork = [](PluginInstance *) { ++clears; };
    EXPECT_EQ(PixelFilterInit(a), nullptr);
    EXPECT_EQ(a->pixel.scale, 4.0);
    EXPECT_EQ(a->pixel.reducedWidth, 200);
    EXPECT_EQ(a->pixel.reducedHeight, 150);
    EXPECT_EQ(clears, 1);
    a->pixel.workingResolution = 2000;  // never finer than the frame
    PixelFilterInit(a);
    EXPECT_EQ(a->pixel.scale, 1.0);
    EXPECT_EQ(a->pixel.reducedWidth, 800);

    a->pixel.initHook = [](PluginInstance *) { return 1; };
    EXPECT_STREQ(PixelFilterInit(a), "Error in init CB");
    a->pixel.failed = 3;
    EXPECT_EQ(PixelFilterNewTime(a, 1, 0), nullptr);
    EXPECT_EQ(a->pixel.failed, 1) << "only the low bit is kept";
    a->pixel.newTimeHook = [](PluginInstance *, LWFrame, LWTime) { return 1; };
    EXPECT_STREQ(PixelFilterNewTime(a, 1, 0), "Error in newtime CB");
    EXPECT_STREQ(PixelFilterInit(nullptr), "Instance was NULL in pixel filter init");
    EXPECT_STREQ(PixelFilterNewTime(nullptr, 0, 0), "Instance was NULL in pixel filter Newtime");
}

TEST_F(Frame, FileButtonsWriteCrLfAndShareOneMemory) {
    std::string path = ScratchPath("vesk_sample.set");
    host.fileAnswers.push_back({1, path});
    Sample<NumericControl>(a, kDelay)->value = 6.5;
    PanelSaveButton(a->panel, false);
    ASSERT_EQ(host.fileRequests.size(), 1u);
    EXPECT_EQ(host.fileRequests[0].hail, "Write plugin data to file");
    EXPECT_EQ(host.fileRequests[0].name, "*.*");
    std::string file = FileText(path);
    EXPECT_EQ(file.rfind("BEGIN MARVEN_LABS_PLUGIN Sample\r\n", 0), 0u);
    EXPECT_NE(file.find("\n\r\n"), std::string::npos) << "the saved-date line's own line end";
    EXPECT_NE(file.find(" BEGIN NUM DELAY\r\n VALUE 6.5\r\n END\r\n"), std::string::npos);

    // Load it back into another instance, with no name check.
    PluginInstance *b = NewSampleInstance(nullptr, "Other");
    host.fileAnswers.push_back({1, path});
    PanelLoadButton(b->panel, false);
    EXPECT_EQ(host.fileRequests.back().hail, "Load plugin data from file");
    EXPECT_EQ(Sample<NumericControl>(b, kDelay)->value, 6.5);
    for (auto &m : host.messages) ADD_FAILURE() << m.line1 << " / " << m.line2;

    // The memory: a modified save keeps the text, a modified load uses it, a
    // second modified save empties it, and another plug-in asks for a file.
    size_t asked = host.fileRequests.size();
    Sample<NumericControl>(a, kDelay)->value = 1.25;
    PanelSaveButton(a->panel, true);
    EXPECT_TRUE(a->panel->memoryIndicator);
    PluginInstance *twin = NewSampleInstance();
    PanelLoadButton(twin->panel, true);
    EXPECT_EQ(Sample<NumericControl>(twin, kDelay)->value, 1.25);
    EXPECT_EQ(host.fileRequests.size(), asked) << "no file asked for";
    PanelLoadButton(b->panel, true);
    EXPECT_EQ(host.fileRequests.size(), asked + 1) << "another plug-in's memory is not used";
    PanelSaveButton(a->panel, true);
    EXPECT_FALSE(a->panel->memoryIndicator);
    PanelLoadButton(twin->panel, true);
    EXPECT_EQ(host.fileRequests.size(), asked + 2);
    SharedDestroy(b);
    SharedDestroy(twin);
    std::remove(path.c_str());
}

TEST_F(Frame, PanelListWalks) {
    Panel *p = a->panel;
    // The list keeps the table's order behind the panel.
    int i = 0;
    for (ControlRecord *r = p->record.next; r; r = r->next, ++i) EXPECT_EQ(r, a->controls[i]);
    EXPECT_EQ(i, kSampleControls);

    static int draws;
    draws = 0;
    ControlRecord *disable = &Sample<ButtonControl>(a, kDisable)->record;
    disable->draw = [](ControlRecord *, int) { ++draws; };
    GhostControl(disable, true);
    GhostControl(disable, true);
    GhostControl(disable, false);
    EXPECT_EQ(draws, 2) << "a redraw only when the state changes";

    // Focus: forward needs a focus function, backward does not.
    ControlRecord *r[4] = {&Sample<NumericControl>(a, kDelay)->record, &Sample<NumericControl>(a, kStrength)->record,
                           &Sample<NumericControl>(a, kRadius)->record, &Sample<NumericControl>(a, kDuration)->record};
    for (ControlRecord *c : r) c->group = 1;
    r[0]->focus = r[2]->focus = [](ControlRecord *) {};
    EXPECT_EQ(FindFocusNeighbour(r[0], 1), r[2]) << "skips the one without focus";
    EXPECT_EQ(FindFocusNeighbour(r[2], 1), r[0]) << "wraps to the head";
    EXPECT_EQ(FindFocusNeighbour(r[2], -1), r[1]) << "backward takes it anyway";
    EXPECT_EQ(FindFocusNeighbour(r[0], -1), r[3]) << "none before: the last in the list";
    r[2]->ghosted = 1;
    EXPECT_EQ(FindFocusNeighbour(r[0], 1), r[0]);
    EXPECT_EQ(FindFocusNeighbour(r[0], 0), r[0]);

    EXPECT_EQ(FindControl(p, "AXIS"), &Sample<RadioControl>(a, kAxis)->record);
    EXPECT_EQ(FindControl(p, "NOPE"), nullptr);

    // A table longer than an instance holds fails like a failed allocation.
    std::vector<ControlSpec> table(kMaxControls + 1, ControlSpec{.key = "X", .kind = ControlSpecKind::Toggle});
    LWError err = nullptr;
    EXPECT_EQ(BuildInstance({.title = "Big", .shortName = "Big", .width = 1, .height = 1}, table.data(),
                            static_cast<int>(table.size()), nullptr, &err, "failed"),
              nullptr);
    EXPECT_STREQ(err, "failed");
}

}  // namespace

#include "plugin_harness.h"

namespace {

class GreyedWhileDisabled : public PluginTest {};

// Plug-ins whose every control but DISABLE (and the motion export, which
// works either way) is greyed while it is on, and ungreyed when it goes off,
// by the table's marks alone.
TEST_F(GreyedWhileDisabled, EveryMarkedControlFollowsTheToggle) {
    const struct {
        const char *cls, *server, *settingsName;
    } plugins[] = {
        {"DisplacementHandler", "Dangle", "Dangle"},   {"DisplacementHandler", "Flexor", "Flexor"},
        {"DisplacementHandler", "Poke", "Poke"},       {"DisplacementHandler", "SuperQ", "SuperQ"},
        {"PixelFilterHandler", "VFog", "VFog"},        {"ItemMotionHandler", "Whip", "Whip"},
        {"ItemMotionHandler", "Wheelie", "Wheelie!"},  {"ItemMotionHandler", "PathAlign", "PathAlign"},
        {"ItemMotionHandler", "VelAccel", "Velaccel"}, {"ItemMotionHandler", "Limiter", "Limiter"},
        {"ItemMotionHandler", "Blink", "Blink"},       {"ItemMotionHandler", "Diffuser", "Diffuser"},
        {"ShaderHandler", "BladeBlur", "BladeBlur"},
    };
    for (const auto &plugin : plugins) {
        // Every class's record begins with create, destroy and load; a
        // displacement's create, like an item motion's, takes the item too,
        // a shader's, like a filter's, does not.
        const bool displacement =
            std::strcmp(plugin.cls, "PixelFilterHandler") != 0 && std::strcmp(plugin.cls, "ShaderHandler") != 0;
        const auto *d = displacement ? HandlerOf<DisplacementHandler>(plugin.cls, plugin.server) : nullptr;
        const auto *f = displacement ? nullptr : HandlerOf<PixelFilterHandler>(plugin.cls, plugin.server);
        for (bool on : {true, false}) {
            LWError err = nullptr;
            LWInstance instance = d ? d->create(&err, nullptr) : f->create(&err);
            ASSERT_NE(instance, nullptr) << plugin.server;
            if (d) Settings(d, instance, plugin.settingsName, Toggle("DISABLE", on));
            else Settings(f, instance, plugin.settingsName, Toggle("DISABLE", on));
            auto *p = static_cast<PluginInstance *>(instance);
            p->panel->afterLoad(p);  // as the window does when it opens
            for (ControlRecord *r = p->panel->record.next; r; r = r->next)
                EXPECT_EQ(r->ghosted != 0, on && std::strcmp(r->key, "DISABLE") != 0 && std::strcmp(r->key, "MB") != 0)
                    << plugin.server << " " << r->key;
            d ? d->destroy(instance) : f->destroy(instance);
        }
    }
}

}  // namespace
