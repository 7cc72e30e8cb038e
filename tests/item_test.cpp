// Finding items again: name matching with the host's numbering, index and count
// in changed scenes, bones through their owners, names with blanks, the
// name-prefix mode, and the display text.
#include "controls/settings.h"
#include "module/lifecycle.h"
#include "module_fixture.h"
#include "sample_panel.h"
#include "text_store.h"

namespace {

class Items : public BoundModuleTest {
protected:
    ItemLine Line(const char *text) {
        ItemLine line{};
        EXPECT_TRUE(ParseItemLine(text, &line)) << text;
        return line;
    }
};

TEST_F(Items, NamesMatchWithTheirNumberingOnlyAndLinesParse) {
    struct Case {
        const char *item, *saved;
        bool match;
    } cases[] = {
        {"Ball", "Ball", true},          {"Ball (2)", "Ball", true},   {"Ballroom", "Ball", false},
        {"Ball Room", "Ball", false},     {"Ball (x)", "Ball", false},  {"Ball(3)", "Ball", true},
        {"Left Wheel", "Left Wheel", true}, {"Bal", "Ball", false},
    };
    for (const Case &c : cases) EXPECT_EQ(NameMatches(c.item, c.saved), c.match) << c.item;
    // Item lines parsed.
    ItemLine l = Line("OBJECT 2 3 10 @Left Wheel and more");
    EXPECT_STREQ(l.name, "Left Wheel");
    EXPECT_EQ(l.index, 2);
    EXPECT_EQ(l.count, 3);
    EXPECT_EQ(l.type, LWI_OBJECT);
    l = Line("BONE -5 0 99 @Elbow");  // held to 1, cut to what is there
    EXPECT_EQ(l.index, 1);
    EXPECT_EQ(l.count, 1);
    EXPECT_EQ(l.type, LWI_BONE);
    EXPECT_STREQ(l.name, "Elbow");
    EXPECT_EQ(Line("PARENTAL 99999 99999 2 @Arm").index, 4096);
    EXPECT_EQ(Line("CAMERA 1 40000 3 @Cam").count, 32766);
    EXPECT_EQ(Line("LIGHT 1 1 3 @Key").type, LWI_LIGHT);
    ItemLine none;
    EXPECT_FALSE(ParseItemLine("OBJECT 1 1 4 Ball", &none));
    EXPECT_FALSE(ParseItemLine("", &none));
}

TEST_F(Items, FindsTheSavedItemInAChangedScene) {
    Scene &s = host.scene;
    Item &first = s.AddNullObject("Ball");
    Item &second = s.AddNullObject("Ball");
    s.AddNullObject("Ballroom");
    EXPECT_EQ(FindItem(Line("OBJECT 2 2 4 @Ball"), nullptr), IdOf(&second));
    Item &third = s.AddNullObject("Ball");
    EXPECT_EQ(FindItem(Line("OBJECT 2 2 4 @Ball"), nullptr), IdOf(&third)) << "newer ones stand before";
    EXPECT_EQ(FindItem(Line("OBJECT 1 3 4 @Ball"), nullptr), IdOf(&first));
    EXPECT_EQ(FindItem(Line("OBJECT 3 5 4 @Ball"), nullptr), IdOf(&first)) << "fewer than saved, index at least n";
    EXPECT_EQ(FindItem(Line("OBJECT 2 5 4 @Ball"), nullptr), nullptr) << "fewer than saved, index below n";
    EXPECT_EQ(FindItem(Line("OBJECT 4 1 4 @Ball"), nullptr), nullptr) << "index past its count";
    EXPECT_EQ(FindItem(Line("LIGHT 1 1 4 @Ball"), nullptr), nullptr);
}

TEST_F(Items, BonesAndBlankNamesSurviveSaveAndLoad) {
    Scene &s = host.scene;
    Item &wheel = s.AddObject("Left Wheel");
    Item &arm1 = s.AddObject("Arm");
    Item &arm2 = s.AddObject("Arm");
    s.AddBone(arm2, "Elbow");
    Item &elbow = s.AddBone(arm2, "Elbow");
    Item &key = s.AddLight("Key");
    PluginInstance *a = NewSampleInstance(), *b = NewSampleInstance();
    LWItemID items[] = {IdOf(&wheel), IdOf(&elbow), IdOf(&key), IdOf(&arm1)};
    SetItems(Sample<ItemControl>(a, kTarget), items, 4);
    TextStore text;
    LWSaveState save = text.SaveState();
    ASSERT_EQ(SaveSettings(a, &save), nullptr);
    const std::vector<std::string> &lines = text.lines;
    auto begin = std::find(lines.begin(), lines.end(), " BEGIN ITEM TARGET");
    ASSERT_NE(begin, lines.end());
    const std::vector<std::string> want = {" BEGIN ITEM TARGET",  " OBJECT 1 1 10 @Left Wheel", " PARENT 2 2 3 @Arm",
                                           " BONE 2 2 5 @Elbow", " LIGHT 1 1 3 @Key",          " OBJECT 1 2 3 @Arm",
                                           " END ITEM TARGET"};
    EXPECT_EQ(std::vector<std::string>(begin, begin + want.size()), want);

    LWLoadState load = text.LoadState();
    // The next run's scene: a new Arm before the others.
    s.objects.insert(s.objects.begin(), std::make_unique<Item>());
    s.objects.front()->name = "Arm";
    s.objects.front()->SetRest({0, 0, 0});
    ASSERT_EQ(LoadSettings(b, &load, true), nullptr);
    b->panel->pendingUpdate = 1;
    SynchronisePanel(b->panel);
    // The bone through its owner, found as 3 of 3.
    ItemControl *target = Sample<ItemControl>(b, kTarget);
    EXPECT_EQ(std::vector<LWItemID>(target->items, target->items + target->count),
              (std::vector<LWItemID>{IdOf(&wheel), IdOf(&elbow), IdOf(&key), IdOf(&arm1)}));
    SharedDestroy(a);
    SharedDestroy(b);
}

TEST_F(Items, PrefixModeAndDisplayText) {
    Scene &s = host.scene;
    Item &e1 = s.AddNullObject("Eff_A");
    s.AddObject("Ball", "Objects/Ball.lwo");
    Item &e2 = s.AddLight("Eff_Light");
    Item &e3 = s.AddNullObject("Eff_B");
    PluginInstance *inst = NewSampleInstance();
    ItemControl *prefix = Sample<ItemControl>(inst, kEffectors);
    RefreshPrefixMatches(prefix);
    EXPECT_EQ(prefix->count, 0) << "no prefix, no matches";
    CopyText(prefix->prefix, sizeof prefix->prefix, "Eff_");
    RefreshPrefixMatches(prefix);
    EXPECT_EQ(std::vector<LWItemID>(prefix->items, prefix->items + prefix->count),
              (std::vector<LWItemID>{IdOf(&e1), IdOf(&e3), IdOf(&e2)})) << "objects first, in the host's order";
    FormatItemDisplay(prefix);
    EXPECT_STREQ(prefix->display, "3 items");
    prefix->filters[kFilterLights] = 0;
    RefreshPrefixMatches(prefix);
    FormatItemDisplay(prefix);
    EXPECT_STREQ(prefix->display, "2 null objects");
    prefix->maxMatches = 1;
    RefreshPrefixMatches(prefix);
    EXPECT_EQ(prefix->count, 1);
    FormatItemDisplay(prefix);
    EXPECT_STREQ(prefix->display, "Eff_A");
    prefix->count = 0;
    FormatItemDisplay(prefix);
    EXPECT_STREQ(prefix->display, "(none)");
    SharedDestroy(inst);
}

}  // namespace
