// The settings text: round trips of every control kind in both io modes, hand
// written texts, every error with the line it names, and the reader's rules.
#include <cstring>
#include <string>
#include <vector>

#include "module/lifecycle.h"
#include "module_fixture.h"
#include "controls/settings.h"
#include "sample_panel.h"
#include "text_store.h"

namespace {

class Settings : public BoundModuleTest {
protected:
    PluginInstance *a = nullptr, *b = nullptr;
    void SetUp() override {
        BoundModuleTest::SetUp();
        a = NewSampleInstance();
        b = NewSampleInstance();
    }
    void TearDown() override {
        SharedDestroy(a);
        SharedDestroy(b);
        ModuleTest::TearDown();
    }
    LWError Load(PluginInstance *into, const std::string &text, bool checkName = true) {
        TextStore s = TextStore::Text(text);
        LWLoadState state = s.LoadState();
        return LoadSettings(into, &state, checkName);
    }
};

std::string Envelope(const std::string &body, const std::string &version = "VERSION 1\n") {
    return "BEGIN MARVEN_LABS_PLUGIN Sample\n" + version + body + "END MARVEN_LABS_PLUGIN Sample\n";
}

TEST_F(Settings, EveryKindSurvivesARoundTripInBothModes) {
    Item &ball = host.scene.AddNullObject("Left Ball");
    Item &arm = host.scene.AddObject("Arm");
    Item &elbow = host.scene.AddBone(arm, "Elbow");
    for (int mode : {LWIO_SCENE, LWIO_OBJECT}) {
        PluginInstance *from = NewSampleInstance(), *to = NewSampleInstance();
        Sample<NumericControl>(from, kDelay)->value = 2.25;
        Sample<NumericControl>(from, kStrength)->mode = kLinear;
        Sample<NumericControl>(from, kStrength)->value = 0.75;
        Sample<NumericControl>(from, kStrength)->changePerFrame = -0.125;
        NumericControl *radius = Sample<NumericControl>(from, kRadius);
        radius->mode = kSeparation;
        radius->ref[0].item = IdOf(&ball);
        radius->ref[1].item = IdOf(&elbow);
        Sample<NumericControl>(from, kDuration)->value = 42;
        Sample<ButtonControl>(from, kPush)->state = kHighlighted;
        SetToggle(Sample<ButtonControl>(from, kDisable), true);
        ListboxControl *list = Sample<ListboxControl>(from, kList);
        list->selected[0] = 0, list->selected[3] = 1, list->selected[4] = 1;
        Sample<RadioControl>(from, kAxis)->selection = 1;
        ColorControl *tint = Sample<ColorControl>(from, kTint);
        tint->red = 1, tint->green = 2, tint->blue = 255;
        LWItemID targets[] = {IdOf(&elbow), IdOf(&ball)};
        SetItems(Sample<ItemControl>(from, kTarget), targets, 2);
        CopyText(Sample<ItemControl>(from, kEffectors)->prefix, kItemNameSize, "Left B");

        TextStore store;
        store.mode = mode;
        LWSaveState save = store.SaveState();
        ASSERT_EQ(SaveSettings(from, &save), nullptr);
        EXPECT_EQ(store.written % 2, 0) << "the total is kept even";
        LWLoadState load = store.LoadState();
        ASSERT_EQ(LoadSettings(to, &load, true), nullptr) << "mode " << mode;
        to->panel->pendingUpdate = 1;
        SynchronisePanel(to->panel);  // finds the items again

        // Saved again, it is the same text (but for the minute it was saved),
        // the items found again by their names.
        EXPECT_EQ(SavedText(to, mode), store.Undated()) << "mode " << mode;
        EXPECT_EQ(Sample<NumericControl>(to, kRadius)->ref[1].item, IdOf(&elbow));
        EXPECT_EQ(Sample<ItemControl>(to, kTarget)->items[0], IdOf(&elbow));
        EXPECT_EQ(Sample<ItemControl>(to, kEffectors)->items[0], IdOf(&ball)) << "by the prefix";
        SharedDestroy(from);
        SharedDestroy(to);
    }
}

TEST_F(Settings, WritesTheEnvelopeAndBlocksAndRefusesNonInstances) {
    Sample<NumericControl>(a, kDelay)->mode = kLinear;
    Sample<NumericControl>(a, kDelay)->value = 2;
    Sample<NumericControl>(a, kDelay)->changePerFrame = 0.5;
    TextStore store;
    LWSaveState save = store.SaveState();
    ASSERT_EQ(SaveSettings(a, &save), nullptr);
    const std::vector<std::string> head = {"BEGIN MARVEN_LABS_PLUGIN Sample"};
    EXPECT_EQ(store.lines[0], head[0]);
    EXPECT_EQ(store.lines[1].rfind("# x86 ", 0), 0u);
    EXPECT_EQ(store.lines[2].rfind("# Saved ", 0), 0u);
    EXPECT_EQ(store.lines[2].back(), '\n') << "the calendar form brings its own line end";
    EXPECT_EQ(store.lines[2].size(), std::string("# Saved ").size() + 25);
    const std::vector<std::string> body = {"VERSION 1",        " BEGIN NUM DELAY", "  ANIMATE LINEAR", " VALUE 2",
                                           "  LINEAR 0.5",     " END",             " BEGIN NUM STRENGTH"};
    for (size_t i = 0; i < body.size(); ++i) EXPECT_EQ(store.lines[3 + i], body[i]);
    const std::vector<std::string> radio = {" BEGIN RADIO AXIS", "  SELECTION 2", " END RADIO AXIS"};
    auto at = std::find(store.lines.begin(), store.lines.end(), radio[0]);
    ASSERT_NE(at, store.lines.end());
    EXPECT_EQ(std::vector<std::string>(at, at + 3), radio);
    int total = 0;
    for (auto &l : store.lines) total += static_cast<int>(l.size()) + 1;
    EXPECT_EQ(store.written, total + (total % 2)) << "an odd total gets one line feed more";
    // A save refuses what is not an instance.
    TextStore s;
    LWSaveState state = s.SaveState();
    EXPECT_STREQ(SaveSettings(nullptr, &state), "No instance data at save!");
    a->panel->version = 0;
    EXPECT_STREQ(SaveSettings(a, &state), "Version <=0.0!");
    EXPECT_EQ(s.lines.size(), 3u) << "the three opening lines are already written";
    a->panel->record.kind = kKindButton;
    EXPECT_STREQ(SaveSettings(a, &state), "Invalid Instance Data at Save!");
    LWLoadState load = s.LoadState();
    EXPECT_STREQ(LoadSettings(a, &load, true), "Invalid Instance Data at Load!");
    a->panel->record.kind = kKindPanel;
}

TEST_F(Settings, HandWrittenTextAndTheReadersRules) {
    std::string text = Envelope(
        "# a comment\n"
        "  BEGIN NUM DURATION\n"
        "    VALUE 12.6\n"  // loaded values are clipped, not rounded
        "  END\n"
        " BEGIN BUTTON DISABLE\n  CHECKED YES\n  HIGHLIGHTED yes\n END\n"
        " BEGIN MYSTERY THING\n  whatever 1\n END\n"
        " BEGIN COLOR TINT\n  RED 300\n  GREEN 7\n END\n"
        " BEGIN RADIO AXIS\n  SELECTION 9\n END RADIO AXIS\n"
        " BEGIN LISTBOX LIST\n  SEL 2\n  SEL 600\n END LISTBOX LIST\n"
        " BEGIN NUM DELAY\n  VALUE 1\n END\n"
        " BEGIN NUM DELAY\n  VALUE 5\n END\n");
    ASSERT_EQ(Load(a, text), nullptr);
    EXPECT_EQ(Sample<NumericControl>(a, kDuration)->value, 12.6);
    EXPECT_EQ(Sample<ButtonControl>(a, kDisable)->state, kChecked) << "only YES sets a flag";
    EXPECT_EQ(Sample<ColorControl>(a, kTint)->red, 300);
    EXPECT_EQ(Sample<ColorControl>(a, kTint)->green, 7);
    EXPECT_EQ(Sample<RadioControl>(a, kAxis)->selection, 9);
    EXPECT_EQ(ShownRadioSelection(Sample<RadioControl>(a, kAxis)), 2);
    EXPECT_EQ(Sample<ListboxControl>(a, kList)->selected[0], 0);
    EXPECT_EQ(Sample<ListboxControl>(a, kList)->selected[2], 1);
    EXPECT_EQ(Sample<NumericControl>(a, kDelay)->value, 5) << "a key twice: the later block wins";
    EXPECT_TRUE(host.messages.empty());
    // The reader's rules.
    // No VERSION: loads, then warns once with the running version.
    a->panel->version = 2.5;
    ASSERT_EQ(Load(a, "BEGIN MARVEN_LABS_PLUGIN Sample\n BEGIN NUM DELAY\n VALUE 3\n END\nEND MARVEN_LABS_PLUGIN Other\n"),
              nullptr);
    EXPECT_EQ(Sample<NumericControl>(a, kDelay)->value, 3);
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(host.messages[0].kind, MessageKind::Warning);
    EXPECT_EQ(host.messages[0].line1, "You're running version 2.50 of the Sample plugin.");
    EXPECT_EQ(host.messages[0].line2, "The saved data using this plugin is corrupted, with no version information.");

    // The name is checked only by the host's load.
    EXPECT_EQ(Load(a, Envelope(""), true), nullptr);
    EXPECT_STREQ(Load(b, "BEGIN MARVEN_LABS_PLUGIN Track\nVERSION 1\nEND MARVEN_LABS_PLUGIN Track\n", true),
                 "Wrong plugin data on Load!");
    EXPECT_EQ(Load(b, "BEGIN MARVEN_LABS_PLUGIN Track\nVERSION 1\nEND MARVEN_LABS_PLUGIN Track\n", false), nullptr);

    // A line mode line over 255 characters is cut there; the rest comes as the next line.
    std::string longLine = "  VALUE 4" + std::string(300, ' ') + "x";
    EXPECT_EQ(Load(a, Envelope(" BEGIN NUM DELAY\n" + longLine + "\n END\n")), nullptr);
    EXPECT_EQ(Sample<NumericControl>(a, kDelay)->value, 4);

    // The COLOR reader stalls on an unknown line, for 40 seconds.
    static std::vector<unsigned> pauses;
    pauses.clear();
    auto previous = colorReaderPause;
    colorReaderPause = [](unsigned ms) { pauses.push_back(ms); };
    EXPECT_EQ(Load(a, Envelope(" BEGIN COLOR TINT\n  ALPHA 3\n  BLUE 9\n END\n")), nullptr);
    colorReaderPause = previous;
    EXPECT_EQ(pauses, std::vector<unsigned>{40000});
    EXPECT_EQ(Sample<ColorControl>(a, kTint)->blue, 9);
}

TEST_F(Settings, ErrorsNameTheirLineAndKeepWhatCameBefore) {
    struct Case {
        std::string text;
        const char *error;
        int line;
    };
    const std::string good = " BEGIN NUM DELAY\n  VALUE 7\n END\n";
    const std::string after = "BEGIN MARVEN_LABS_PLUGIN Sample\nVERSION 1\n" + good;  // what breaks comes after good
    const Case cases[] = {
        {"", "I couldn't load any information from the file.", 2},
        {"START MARVEN_LABS_PLUGIN Sample\n", "This doesn't look like the right type of file.", 2},
        {"BEGIN\n", "This doesn't look like a proper save file", 2},
        {"BEGIN OTHER_PLUGIN Sample\n", "This looks like a broken save file.", 2},
        {"BEGIN MARVEN_LABS_PLUGIN\n", "This save file is corrupted.", 2},
        {"BEGIN MARVEN_LABS_PLUGIN Track\nVERSION 1\n", "Wrong plugin data on Load!", 2},
        {"BEGIN MARVEN_LABS_PLUGIN Sample\n", "Error on load! Couldn't load a line of data! B", 3},
        {"BEGIN MARVEN_LABS_PLUGIN Sample\nVERSION\n", "Bad Token on load. D", 3},
        {"BEGIN MARVEN_LABS_PLUGIN Sample\nVERSION 1\n", "Error on load! Couldn't load a line of data! C", 4},
        {after + " BEGIN NUM\n", "Bad Token on load. G", 7},
        {after, "Error on load! Couldn't load a line of data! E", 7},
        {"BEGIN MARVEN_LABS_PLUGIN Sample\n# note\n\nVERSION 1\n" + good + " BEGIN NUM DURATION\n  ANIMATE\n",
         "Bad Token on load.", 10},
        {after + " BEGIN NUM DURATION\n  VALUE 3\n", "End of File during Load", 9},
        {after + " BEGIN BUTTON PUSH\n  CHECKED\n", "Bad Token on load.", 8},
        {after + " BEGIN LISTBOX LIST\n END LISTBOX AXIS\n", "Wrong END name on load!", 8},
        {after + " BEGIN RADIO AXIS\n # note\n  SELECTION 1\n", "Cannot find SELECTION data", 8},
        {after + " BEGIN RADIO AXIS\n\n  SELECTION 1\n", "Bad Token on load.", 8},
        {after + " BEGIN RADIO AXIS\n  SELECTION 1\n END\n", "Bad Token on load.", 9},
        {after + " BEGIN RADIO AXIS\n  SELECTION 1\n OVER\n", "No END token on load!", 9},
        {after + " BEGIN RADIO AXIS\n  SELECTION 1\n END RADIO X\n", "Wrong END name on load!", 9},
        {after + " BEGIN COLOR TINT\n  RED\n", "Bad Token on load.", 8},
        {after + " BEGIN ITEM TARGET\n  BOGUS 1\n", "Unknown line in Load", 8},
        {after + " BEGIN ITEM TARGET\n  OBJECT 1 1 4 @Ball\n END ITEM\n", "Bad Token on load.", 9},
    };
    for (const Case &c : cases) {
        Sample<NumericControl>(a, kDelay)->value = 0;
        TextStore s = TextStore::Text(c.text);
        LWLoadState state = s.LoadState();
        host.messages.clear();
        SharedLoad(a, &state);  // the host's slot: shown, not returned
        ASSERT_EQ(host.messages.size(), 1u) << c.error;
        EXPECT_EQ(host.messages[0].kind, MessageKind::Error);
        EXPECT_EQ(host.messages[0].line1, c.error);
        EXPECT_EQ(host.messages[0].line2.substr(0, host.messages[0].line2.find(':')), "Line " + std::to_string(c.line))
            << c.error;
        EXPECT_EQ(Sample<NumericControl>(a, kDelay)->value, c.line > 6 ? 7 : 0) << "earlier blocks keep their values";
        EXPECT_TRUE(a->panel->pendingUpdate);
    }
}

}  // namespace
