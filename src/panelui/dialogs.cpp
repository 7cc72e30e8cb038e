#include "panelui/dialogs.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "export/motion_export.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "panelui/panel_window.h"
#include "panelui/progress.h"

namespace {

const LWSceneInfo *SceneInfo() {
    return static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
}

// Runs a temporary panel; true when it was left with its accept button.
bool RunTemporary(PluginInstance *temporary) {
    Panel *panel = temporary->panel;
    panel->cancelled = 1;
    int shown = RunPanelModal(panel);
    return shown < 1 && !panel->cancelled;
}

// ---- the advanced definition ----

enum { kModeChoice, kObj1, kObj2, kBase, kLinearField, kReport, kGraph, kLowGraph, kHighGraph, kLowClip, kHighClip, kAdvancedControls };

struct {
    NumericControl *original;
    PluginInstance *dialog;
} advanced;

void RecomputeReport(PluginInstance *) {
    PluginInstance *d = advanced.dialog;
    NumericControl *work = Control<NumericControl>(d, kBase);
    int mode = Control<RadioControl>(d, kModeChoice)->selection;
    ItemControl *obj1 = Control<ItemControl>(d, kObj1), *obj2 = Control<ItemControl>(d, kObj2);
    work->mode = mode;
    work->ref[0].item = obj1->count ? obj1->items[0] : LWITEM_NULL;
    work->ref[1].item = obj2->count ? obj2->items[0] : LWITEM_NULL;
    work->changePerFrame = Control<NumericControl>(d, kLinearField)->value;
    GhostControl(&obj1->record, mode < kXPos || mode > kSeparation);
    GhostControl(&obj2->record, mode != kSeparation);
    GhostControl(&Control<NumericControl>(d, kLinearField)->record, mode != kLinear);
    const LWSceneInfo *scene = SceneInfo();
    static double xs[kMaxGraphSamples], ys[kMaxGraphSamples];
    double saved = work->current;
    RangeReport report = ComputeRangeReport(work, scene ? scene->frameStart : 1, scene ? scene->frameEnd : 60,
                                            scene ? scene->framesPerSecond : 30, Control<NumericControl>(d, kLowGraph)->value,
                                            Control<NumericControl>(d, kHighGraph)->value, xs, ys);
    work->current = saved;
    char text[200];
    FormatRangeReport(report, text, sizeof text);
    SetText(Control<TextControl>(d, kReport), text);
    SetGraphPoints(Control<GraphControl>(d, kGraph), xs, ys, report.samples, report.start, report.end);
}


// The dialog's fields sit left of the mode choices: narrower, with no
// advanced button of their own.
void ItemBesideChoices(void *control) { static_cast<ItemControl *>(control)->width = 190; }
void DialogNumber(void *control) {
    auto *n = static_cast<NumericControl *>(control);
    n->width = 62;
    n->hasAdvancedButton = 0;
}

// ---- item selection ----

enum { kType, kSort, kSortB, kClear, kObjectsText, kLightsText, kBonesText, kCamerasText, kList, kSelectControls };
enum { kObjects, kLights, kBones, kCameras, kKinds };

struct {
    ItemControl *original;
    PluginInstance *dialog;
    std::vector<LWItemID> items[kKinds];
    std::vector<unsigned char> selected[kKinds];
    std::vector<int> shown;  // list entry -> index into the kind's items
    int kind;
} selection;

// The list's selections back into the working state of the kind it shows.
void KeepListSelection() {
    ListboxControl *list = Control<ListboxControl>(selection.dialog, kList);
    for (size_t e = 0; e < selection.shown.size() && e < static_cast<size_t>(kListboxEntries); ++e)
        selection.selected[selection.kind][selection.shown[e]] = list->selected[e];
}

void FillList() {
    PluginInstance *d = selection.dialog;
    int kind = selection.kind;
    std::vector<int> &shown = selection.shown;
    shown.clear();
    for (size_t i = 0; i < selection.items[kind].size() && i < static_cast<size_t>(kListboxEntries); ++i)
        shown.push_back(static_cast<int>(i));
    std::vector<std::string> names;
    for (LWItemID id : selection.items[kind]) names.push_back(ItemName(id));
    if (Control<RadioControl>(d, kSort)->selection == 1)
        std::stable_sort(shown.begin(), shown.end(), [&](int a, int b) { return names[a] < names[b]; });
    ListboxControl *list = Control<ListboxControl>(d, kList);
    list->count = static_cast<int>(shown.size());
    for (size_t e = 0; e < shown.size(); ++e) {
        CopyText(list->entries[e], kListboxEntrySize, names[shown[e]].c_str());
        list->selected[e] = selection.selected[kind][shown[e]];
    }
    RedrawControl(&list->record, kDrawAll);
}

// The two sort choices show one setting: a change of either is copied to the other.
void ListChanged(PluginInstance *d, int changedSort, int otherSort) {
    KeepListSelection();
    Control<RadioControl>(d, otherSort)->selection = Control<RadioControl>(d, changedSort)->selection;
    selection.kind = Control<RadioControl>(d, kType)->selection;
    FillList();
}
void SelectionChanged(PluginInstance *d) { ListChanged(d, kSort, kSortB); }
void SortBChanged(PluginInstance *d) { ListChanged(d, kSortB, kSort); }

void ClearSelections(ButtonControl *, int) {
    for (auto &s : selection.selected) std::fill(s.begin(), s.end(), 0);
    FillList();
}

// ---- export motion ----

enum { kEndFrame, kDensity, kCoordinates, kExportControls };

void IntegerField(void *control) {
    NumericControl *c = static_cast<NumericControl *>(control);
    c->displayKind = kInteger;
    c->dragLow = 0;
    c->dragLowOn = 1;
    c->dragHighOn = 0;
}

bool ExportProgress(void *, int done, int total) {
    char line[64];
    std::snprintf(line, sizeof line, "Frame %d/%d", done, total);
    return UpdateProgress(line, "", static_cast<double>(done) / total) == 0;
}

char exportName[1024], exportPath[1024];

}  // namespace

bool OpenAdvancedDefinition(NumericControl *control, bool modifier) {
    if (!NumericAdvancedClick(control, modifier)) return true;
    char title[256];
    AdvancedDialogTitle(control, title, sizeof title);
    bool clipped[2] = {control->lowClip != 0, control->highClip != 0};
    char lowText[64], highText[64];
    std::snprintf(lowText, sizeof lowText, "Value is clipped to a low limit of %.3f.", control->lowLimit);
    std::snprintf(highText, sizeof highText, "Value is clipped to a high limit of %.3f.", control->highLimit);
    const ControlSpec table[kAdvancedControls] = {
        {.key = "IGNORE1", .kind = ControlSpecKind::Radio, .x = 210, .y = 30, .value = 0, .choices = kNumericModeLabels,
         .changed = RecomputeReport},
        {.key = "Obj1", .kind = ControlSpecKind::Item, .x = 12, .y = 60, .label = "Reference Object:",
         .changed = RecomputeReport, .setup = ItemBesideChoices},
        {.key = "Obj2", .kind = ControlSpecKind::Item, .x = 12, .y = 110, .label = "Second Object:",
         .changed = RecomputeReport, .setup = ItemBesideChoices},
        {.key = "BASE", .kind = ControlSpecKind::Numeric, .x = 124, .y = 160, .label = "Frame 1 Base Value:",
         .changed = RecomputeReport, .setup = DialogNumber},
        {.key = "linear", .kind = ControlSpecKind::Numeric, .x = 124, .y = 185, .label = "Change per Frame:",
         .changed = RecomputeReport, .setup = DialogNumber},
        {.key = "IGNORE2", .kind = ControlSpecKind::Text, .x = 300, .y = 260},
        {.key = "GRAPH", .kind = ControlSpecKind::Graph, .x = 75, .y = 280, .label = ""},
        {.key = "LOWGRAPH", .kind = ControlSpecKind::Integer, .x = 52, .y = 420, .label = "From", .value = 0,
         .changed = RecomputeReport},
        {.key = "HIGHGRAPH", .kind = ControlSpecKind::Integer, .x = 502, .y = 418, .label = "To", .value = 250,
         .changed = RecomputeReport},
        {.key = "IGNORE3", .kind = ControlSpecKind::Text, .x = 290, .y = 205, .label = clipped[0] ? lowText : ""},
        {.key = "IGNORE4", .kind = ControlSpecKind::Text, .x = 290, .y = 227, .label = clipped[1] ? highText : ""},
    };
    LWError err = nullptr;
    PluginInstance *d = BuildInstance({.title = title, .shortName = "Advanced", .width = 550, .height = 480}, table,
                                      kAdvancedControls, LWITEM_NULL, &err, "no memory");
    if (!d) return false;
    d->panel->fileButtons = 0;
    advanced = {control, d};
    NumericControl *work = Control<NumericControl>(d, kBase);
    control->record.copy(&control->record, &work->record);
    DialogNumber(work);  // the copy brought the original's field shape along
    Control<NumericControl>(d, kLinearField)->value = control->changePerFrame;
    Control<RadioControl>(d, kModeChoice)->selection = control->mode;
    for (int i = 0; i < 2; ++i)
        if (control->ref[i].item) SetItems(Control<ItemControl>(d, i ? kObj2 : kObj1), &control->ref[i].item, 1);
    RecomputeReport(nullptr);
    bool accepted = RunTemporary(d);
    if (accepted) {
        RecomputeReport(nullptr);
        int mode = work->mode;
        int width = control->width, button = control->hasAdvancedButton;
        work->record.copy(&work->record, &control->record);
        control->width = width, control->hasAdvancedButton = button;
        // What the dialog's item fields hold is what finds the items again later.
        for (int i = 0; i < 2; ++i) {
            control->ref[i].name[0] = 0;
            if (LWItemID id = control->ref[i].item) {
                LWItemType type = hostServices.itemInfo->type(id);
                LWItemID owner = type == LWI_BONE ? BoneOwnerObject(id) : LWITEM_NULL;
                CopyText(control->ref[i].name, sizeof control->ref[i].name, ItemName(owner ? owner : id));
                control->ref[i].type = type;
                control->ref[i].numbers[0] = control->ref[i].numbers[1] = 1;
            }
        }
        FinishAdvancedDefinition(control, mode);
        ReportChange(&control->record);
    }
    advanced = {};
    SharedDestroy(d);
    return accepted;
}

bool OpenItemSelection(ItemControl *control) {
    static const char *const kinds[] = {"Objects", "Lights", "Bones", "Cameras", nullptr};
    static const char *const orders[] = {"LightWave Order", "Sorted By Name", nullptr};
    const ControlSpec table[kSelectControls] = {
        {.key = "TYPE", .kind = ControlSpecKind::Radio, .x = 475, .y = 70, .choices = kinds, .changed = SelectionChanged,
         .setup = [](void *r) { static_cast<RadioControl *>(r)->dotsOnly = 1; }},
        {.key = "SORT", .kind = ControlSpecKind::Radio, .x = 145, .y = 326, .choices = orders, .changed = SelectionChanged},
        {.key = "SORTB", .kind = ControlSpecKind::Radio, .x = 360, .y = 326, .choices = orders, .changed = SortBChanged},
        {.key = "CLEARBUTTON", .kind = ControlSpecKind::Button, .x = 412, .y = 175, .label = "Clear all Selections",
         .setup = [](void *b) {
             auto *button = static_cast<ButtonControl *>(b);
             CopyText(button->text, sizeof button->text, "Clear all Selections");
             button->width = 130;
             button->click = ClearSelections;
         }},
        // The kinds' names stand beside the choices' dots.
        {.key = "OTEXT", .kind = ControlSpecKind::Text, .x = 505, .y = 72, .label = "Objects"},
        {.key = "LTEXT", .kind = ControlSpecKind::Text, .x = 505, .y = 90, .label = "Lights"},
        {.key = "BTEXT", .kind = ControlSpecKind::Text, .x = 505, .y = 108, .label = "Bones"},
        {.key = "CTEXT", .kind = ControlSpecKind::Text, .x = 505, .y = 126, .label = "Cameras"},
        {.key = "ITEM", .kind = ControlSpecKind::Listbox, .x = 20, .y = 30, .changed = SelectionChanged},
    };
    LWError err = nullptr;
    PluginInstance *d = BuildInstance({.title = "Select Item", .shortName = "Item Select", .width = 550, .height = 400},
                                      table, kSelectControls, LWITEM_NULL, &err, "no memory");
    if (!d) return false;
    d->panel->fileButtons = 0;
    selection.original = control;
    selection.dialog = d;
    const LWItemInfo *info = hostServices.itemInfo;
    const LWItemType types[kKinds] = {LWI_OBJECT, LWI_LIGHT, LWI_BONE, LWI_CAMERA};
    for (int k = 0; k < kKinds; ++k) {
        selection.items[k].clear();
        if (types[k] == LWI_BONE) {
            for (LWItemID o = info->first(LWI_OBJECT, LWITEM_NULL); o; o = info->next(o))
                for (LWItemID b = info->first(LWI_BONE, o); b; b = info->next(b)) selection.items[k].push_back(b);
        } else {
            for (LWItemID id = info->first(types[k], LWITEM_NULL); id; id = info->next(id)) selection.items[k].push_back(id);
        }
        selection.selected[k].assign(selection.items[k].size(), 0);
        for (size_t i = 0; i < selection.items[k].size(); ++i)
            for (int j = 0; j < control->count; ++j)
                if (control->items[j] == selection.items[k][i]) selection.selected[k][i] = 1;
    }
    const int filterOf[kKinds] = {kFilterObjects, kFilterLights, kFilterBones, kFilterCameras};
    selection.kind = 0;
    for (int k = kKinds - 1; k >= 0; --k)
        if (control->filters[filterOf[k]]) selection.kind = k;
    Control<RadioControl>(d, kType)->selection = selection.kind;
    FillList();
    bool accepted = RunTemporary(d);
    if (accepted) {
        KeepListSelection();
        std::vector<LWItemID> chosen;
        for (int k = 0; k < kKinds; ++k)
            for (size_t i = 0; i < selection.items[k].size(); ++i)
                if (selection.selected[k][i]) chosen.push_back(selection.items[k][i]);
        SetItems(control, chosen.data(), static_cast<int>(chosen.size()));
        FormatItemDisplay(control);
        ReportChange(&control->record);
    }
    selection.original = nullptr;
    selection.dialog = nullptr;
    SharedDestroy(d);
    return accepted;
}

void RunExportMotion(Panel *owner) {
    LWItemID item = owner ? owner->ownerItem : LWITEM_NULL;
    if (!item) {
        hostServices.messages->error("Due to a minor bug in LightWave, this plugin hasn't been told what object it's applied to.",
                                     "Go back to Layout and change the current frame, which should reset the plugin.");
        return;
    }
    const LWSceneInfo *scene = SceneInfo();
    bool hasParent = hostServices.itemInfo->parent(item) != LWITEM_NULL;
    const ControlSpec table[kExportControls] = {
        {.key = "E", .kind = ControlSpecKind::Numeric, .x = 160, .y = 30, .label = "End Frame",
         .value = static_cast<double>(scene ? scene->frameEnd : 60), .low = 0, .flags = kClipLow | kNotAnimatable,
         .setup = IntegerField},
        {.key = "I", .kind = ControlSpecKind::Percent, .x = 160, .y = 55, .label = "Keyframe Density", .value = 1,
         .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kNotAnimatable},
        {.key = "COORD", .kind = ControlSpecKind::Toggle, .x = 237, .y = 90, .label = "Use Parent Coordinates",
         .value = hasParent ? 1.0 : 0.0},
    };
    char title[300];
    std::snprintf(title, sizeof title, "Export Motion of %s", ItemName(item));
    LWError err = nullptr;
    PluginInstance *d = BuildInstance({.title = title, .shortName = "Export Motion", .width = 370, .height = 160}, table,
                                      kExportControls, LWITEM_NULL, &err, "no memory");
    if (!d) return;
    d->panel->acceptLabel = "Save Motion";
    d->panel->cancelLabel = "Abort";
    d->panel->fileButtons = 0;
    GhostControl(&Control<ButtonControl>(d, kCoordinates)->record, !hasParent);
    if (RunTemporary(d)) {
        char fullName[1024] = "";
        if (!exportName[0]) CopyText(exportName, sizeof exportName, "*.mot");
        if (hostServices.fileRequest &&
            hostServices.fileRequest("Save Motion File", exportName, exportPath, fullName, sizeof fullName) > 0) {
            ExportRequest request{item,
                                  static_cast<int>(Control<NumericControl>(d, kEndFrame)->value),
                                  Control<NumericControl>(d, kDensity)->value,
                                  ToggleIsOn(Control<ButtonControl>(d, kCoordinates)) && hasParent,
                                  scene ? scene->framesPerSecond : 30,
                                  ExportProgress,
                                  nullptr};
            OpenProgress("Saving Motion File", 0, true, 0);
            ExportMotionFile(request, fullName);
            CloseProgress();
        }
    }
    SharedDestroy(d);
}
