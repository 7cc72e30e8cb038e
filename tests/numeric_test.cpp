// The numeric control: evaluation in every mode against values worked out from
// the embedded host's scene, typed text, display forms, drag arithmetic, the
// advanced definition's report and the NUM block's kept quirks.
#include <cmath>
#include <cstring>

#include "controls/settings.h"
#include "module/lifecycle.h"
#include "module_fixture.h"
#include "panelui/panel_window.h"
#include "sample_panel.h"
#include "text_store.h"

namespace {

class Numeric : public BoundModuleTest {
protected:
    PluginInstance *inst = nullptr;
    NumericControl *delay = nullptr;
    void SetUp() override {
        BoundModuleTest::SetUp();
        inst = NewSampleInstance();
        delay = Sample<NumericControl>(inst, kDelay);
    }
    void TearDown() override {
        SharedDestroy(inst);
        ModuleTest::TearDown();
    }
};

TEST_F(Numeric, EvaluatesEveryModeFromTheScene) {
    Scene &s = host.scene;
    s.framesPerSecond = 24;
    // A parent moving from (0,0,0) at frame 0 to (10,0,0) at frame 10, scaled 2:
    // the child keyed at (0, 1, 2) sits at (x, 2, 4) in the world.
    Item &parent = s.AddNullObject("Parent");
    parent.SetRest({0, 0, 0}, {}, {2, 2, 2});
    parent.AddKey(10, {10, 0, 0, 0, 0, 0, 2, 2, 2});
    Item &child = s.AddNullObject("Child");
    child.parent = &parent;
    child.SetRest({0, 1, 2}, {}, {1, 4, 8});
    Item &other = s.AddNullObject("Other");
    other.SetRest({5, 2, 4});
    delay->ref[0].item = IdOf(&child);
    delay->ref[1].item = IdOf(&other);
    delay->value = 2;
    delay->changePerFrame = 0.5;
    const double t = 5 / 24.0;  // frame 5: the parent is at x = 5 (two zero-tension keys: a line)
    struct Case {
        int mode;
        double want;
    } cases[] = {
        {kFixed, 2}, {kXPos, 5}, {kYPos, 2}, {kZPos, 4}, {kOriginDist, std::sqrt(25.0 + 4 + 16)},
        {kXScale, 1},  // keyed scaling, not the parent's
        {kYScale, 4}, {kZScale, 8}, {kAveScale, std::sqrt(1.0 + 16 + 64) / std::sqrt(3.0)},
        {kSeparation, 0},  // the child and Other meet at frame 5
        {kLinear, 2 + 0.5 * 4},
        {42, 2},  // an unknown mode gives the value
    };
    for (const Case &c : cases) {
        delay->mode = c.mode;
        EXPECT_NEAR(EvaluateNumeric(delay, t), c.want, 1e-9) << NumericModeKeyword(c.mode);
        EXPECT_EQ(delay->current, EvaluateNumeric(delay, t));
    }
    delay->mode = kSeparation;
    EXPECT_NEAR(EvaluateNumeric(delay, 0), std::sqrt(25.0), 1e-9);
    delay->mode = kLinear;  // keyed to frame 1 at any rate
    for (double fps : {24.0, 25.0, 30.0}) {
        s.framesPerSecond = fps;
        EXPECT_NEAR(EvaluateNumeric(delay, 1 / fps), 2, 1e-12) << fps;
        EXPECT_NEAR(EvaluateNumeric(delay, 10 / fps), 6.5, 1e-12) << fps;
    }
}

TEST_F(Numeric, ClipsAndRoundsInTheirPlaces) {
    delay->mode = kXPos;  // no reference item: 0.0, unclipped, current untouched
    delay->lowClip = 1;
    delay->lowLimit = 3;
    delay->current = 77;
    EXPECT_EQ(EvaluateNumeric(delay, 0), 0.0);
    EXPECT_EQ(delay->current, 77);
    delay->mode = kFixed;
    delay->value = 1;
    EXPECT_EQ(EvaluateNumeric(delay, 0), 3) << "clipped up";

    NumericControl *duration = Sample<NumericControl>(inst, kDuration);
    EXPECT_EQ(duration->current, 10) << "read before any time: the default";
    duration->lowClip = 0;
    for (auto [value, want] : {std::pair{2.5, 3.0}, {-2.5, -2.0}, {9999.7, 10000.0}}) {  // not animatable: rounded, never clipped
        duration->value = value;
        EXPECT_EQ(EvaluateNumeric(duration, 0), want) << value;
    }
    EvaluatePanelNumerics(inst->panel, 1.5);
    EXPECT_EQ(inst->panel->currentTime, 1.5);
}

TEST_F(Numeric, TypedTextIsCommitted) {
    NumericControl *strength = Sample<NumericControl>(inst, kStrength);
    NumericControl *duration = Sample<NumericControl>(inst, kDuration);
    struct Case {
        NumericControl *control;
        const char *typed;
        double want;
    } cases[] = {
        {strength, "150", 1.5},            // per cent, no clip on
        {strength, "  12.5%abc", 0.125},   // leading blanks, trailing garbage
        {strength, "", 0.125},             // empty keeps the value
        {duration, "12.5", 13},            // Integer rounds
        {duration, "-4", 0},               // clipped at 0 first
        {duration, "123456", 9999},
        {delay, "-1e3", -1000},            // the general control clips nothing
    };
    for (const Case &c : cases) {
        CommitNumericText(c.control, c.typed, false);
        EXPECT_DOUBLE_EQ(c.control->value, c.want) << c.typed;
    }
    int posts = Headless().settingsChangedPosts;
    CommitNumericText(delay, "-1000.00005", true);
    EXPECT_EQ(Headless().settingsChangedPosts, posts) << "below 0.0001 is no change";
    CommitNumericText(delay, "-999", true);
    EXPECT_EQ(Headless().settingsChangedPosts, posts + 1);
    EXPECT_TRUE(delay->record.changedMark);
}

TEST_F(Numeric, DisplayFormsAndDragging) {
    char text[31];
    struct Case {
        SampleControl which;
        double value;
        int digits;
        const char *want;
    } cases[] = {
        {kDelay, 0.5, 3, "  0.500"},   {kDelay, 2.5, 1, "  2.5"},   {kStrength, 0.5, 3, "  50.0%"},
        {kStrength, 0.5, 5, "  50.000%"}, {kStrength, 0.123, 2, "  12.3%"}, {kDuration, 9.5, 3, "  10"},
    };
    for (const Case &c : cases) {
        NumericControl *n = Sample<NumericControl>(inst, c.which);
        n->digits = c.digits;
        FormatNumeric(n, c.value, text);
        EXPECT_STREQ(text, c.want);
    }
    delay->displayKind = kOneDecimal;
    FormatNumeric(delay, 2.25, text);
    EXPECT_STREQ(text, "  2.2");
    delay->displayKind = kReal;
    FormatNumeric(delay, 1e40, text);
    EXPECT_EQ(std::strlen(text), 30u) << "cut to 30 characters";
    // Dragging is endless and bounded by its own limits.
    NumericControl *duration = Sample<NumericControl>(inst, kDuration);  // step 0.03, drag bounds 0..9999
    duration->value = 10;
    CopyText(duration->window.text, sizeof duration->window.text, "  10");
    EXPECT_EQ(NumericDragBegin(duration), kDragCentre);
    EXPECT_EQ(NumericDragMove(duration, 330), -1);
    EXPECT_NEAR(duration->value, 10.3, 1e-12) << "not rounded while dragging";
    EXPECT_EQ(NumericDragMove(duration, 530), kDragCentre) << "past the right edge: back to the centre";
    EXPECT_NEAR(duration->value, 16.3, 1e-12);
    EXPECT_EQ(NumericDragMove(duration, 310), -1) << "measured from the centre again";
    EXPECT_NEAR(duration->value, 16.0, 1e-12);
    NumericDragEnd(duration);
    EXPECT_FALSE(duration->window.dragging);

    NumericControl *strength = Sample<NumericControl>(inst, kStrength);  // drag bounds 0..1, no clip
    strength->value = 0.9;
    NumericDragBegin(strength);
    NumericDragMove(strength, 400);
    EXPECT_EQ(strength->value, 1.0) << "stops at dragHigh with highClip off";
}

TEST_F(Numeric, AdvancedDefinitionReportAndFallBack) {
    host.scene.firstFrame = 1;
    host.scene.lastFrame = 3;  // (3 - 1) * 5 = 10 samples, raised to 20
    delay->mode = kLinear;
    delay->value = 0;
    delay->changePerFrame = 1;  // the value is frame - 1
    double xs[kMaxGraphSamples], ys[kMaxGraphSamples];
    RangeReport r = ComputeRangeReport(delay, 1, 3, 30, 0, 19, xs, ys);
    EXPECT_EQ(r.samples, 20);
    EXPECT_DOUBLE_EQ(xs[1], 1);
    char text[160];
    FormatRangeReport(r, text, sizeof text);  // its frames, least, most and average
    EXPECT_STREQ(text, "From Frame 0 to 19 the value ranges from -1.000 to 18.000, average: 8.500.");
    EXPECT_EQ(ComputeRangeReport(delay, 0, 1000, 30, 5, 2, nullptr, nullptr).samples, 1000);
    EXPECT_EQ(ComputeRangeReport(delay, 0, 1000, 30, 5, 2, nullptr, nullptr).end, 6);

    EXPECT_FALSE(NumericAdvancedClick(delay, true)) << "modified click on an animated control: back to FIXED";
    EXPECT_EQ(delay->mode, kFixed);
    EXPECT_TRUE(NumericAdvancedClick(delay, true)) << "already FIXED: the dialog opens";

    FinishAdvancedDefinition(delay, kYPos);
    EXPECT_EQ(delay->mode, kFixed) << "no reference object";
    delay->ref[0].item = IdOf(&host.scene.AddNullObject("Ref"));
    FinishAdvancedDefinition(delay, kSeparation);
    EXPECT_EQ(delay->mode, kFixed) << "separation needs both";
    FinishAdvancedDefinition(delay, kAveScale);
    EXPECT_EQ(delay->mode, kAveScale);

    AdvancedDialogTitle(delay, text, sizeof text);
    EXPECT_STREQ(text, "Advanced Definition of  \"Time Delay (frames)\"");
    delay->record.label[0] = 0;
    AdvancedDialogTitle(delay, text, sizeof text);
    EXPECT_STREQ(text, "Advanced Numeric Control Definition");
}

TEST_F(Numeric, ReferenceModesKeepTheirItemNotTheValue) {
    Item &ball = host.scene.AddNullObject("Ball");
    delay->mode = kXPos;
    delay->value = 8;
    delay->ref[0].item = IdOf(&ball);
    PluginInstance *copy = NewSampleInstance();
    Sample<NumericControl>(copy, kDelay)->value = 3;

    TextStore text;
    text.mode = LWIO_OBJECT;
    LWSaveState save = text.SaveState();
    ASSERT_EQ(SaveSettings(inst, &save), nullptr);
    EXPECT_EQ(text.bytes.find("VALUE 8"), std::string::npos);
    LWLoadState load = text.LoadState();
    ASSERT_EQ(LoadSettings(copy, &load, true), nullptr);
    copy->panel->pendingUpdate = 1;
    SynchronisePanel(copy->panel);
    NumericControl *loaded = Sample<NumericControl>(copy, kDelay);
    EXPECT_EQ(loaded->mode, kXPos);
    EXPECT_EQ(loaded->ref[0].item, IdOf(&ball));
    EXPECT_EQ(loaded->value, 3) << "the value from before the load";
    SharedDestroy(copy);
}

}  // namespace
