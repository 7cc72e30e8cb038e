#include "controls/numeric.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "controls/settings.h"
#include "services/host_services.h"

namespace {

const char *const kKeywords[kNumericModes] = {"FIXED",   "XPOS",   "YPOS",   "ZPOS",     "ORIGIN_DIST", "XSCALE",
                                              "YSCALE",  "ZSCALE", "AVESCALE", "SEPARATION", "LINEAR"};
}  // namespace

const char *const kNumericModeLabels[kNumericModes + 1] = {"Fixed Value",
                                            "Reference Object X Position",
                                            "Reference Object Y Position",
                                            "Reference Object Z Position",
                                            "Reference Object Dist from Origin",
                                            "Reference Object X Size",
                                            "Reference Object Y Size",
                                            "Reference Object Z Size",
                                            "Reference Object Average Size",
                                            "Separation of Two Ref Objects",
                                            "Linear Change Over Time",
                                            nullptr};

namespace {

NumericControl *Of(ControlRecord *r) { return reinterpret_cast<NumericControl *>(r); }

double Clip(const NumericControl *c, double v) {
    if (c->lowClip && v < c->lowLimit) v = c->lowLimit;
    if (c->highClip && v > c->highLimit) v = c->highLimit;
    return v;
}

double RoundIfInteger(const NumericControl *c, double v) { return c->displayKind == kInteger ? std::floor(v + 0.5) : v; }

void Param(LWItemID item, int param, double time, double v[3]) { hostServices.itemInfo->param(item, param, time, v); }

double Length(const double v[3]) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

double ScenesFramesPerSecond() {
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    return scene ? scene->framesPerSecond : 30.0;
}

// ---- the item duties ----

void ClearReference(NumericReference *ref) { std::memset(ref, 0, sizeof *ref); }

void ResolveReference(NumericReference *ref) {
    if (!ref->name[0]) return;
    ItemLine line{};
    CopyText(line.name, sizeof line.name, ref->name);
    line.index = ref->numbers[0];
    line.count = ref->numbers[1];
    if (ref->type == LWI_BONE) {
        line.type = LWI_OBJECT;
        LWItemID owner = FindItem(line, LWITEM_NULL);
        ItemLine bone{};
        CopyText(bone.name, sizeof bone.name, ref->boneName);
        bone.index = ref->boneNumbers[0];
        bone.count = ref->boneNumbers[1];
        bone.type = LWI_BONE;
        ref->item = owner ? FindItem(bone, owner) : LWITEM_NULL;
    } else {
        line.type = ref->type;
        ref->item = FindItem(line, LWITEM_NULL);
    }
}

void NumericResolve(ControlRecord *r) {
    NumericControl *c = Of(r);
    for (int i = 0; i < 2; ++i) {
        if (c->ref[i].type < 0 || c->ref[i].type > 3) {
            // A bad type on the second reference clears the first: kept as it always was.
            ClearReference(&c->ref[0]);
            continue;
        }
        ResolveReference(&c->ref[i]);
    }
}

int NumericCollect(ControlRecord *r, LWItemID *out, int room) {
    NumericControl *c = Of(r);
    if (!c->usesItems) return 0;
    int n = 0;
    for (const NumericReference &ref : c->ref) {
        if (!ref.item) continue;
        if (c->parentChain)
            n += AppendWithAncestors(ref.item, out + n, room - n);
        else if (n < room)
            out[n++] = ref.item;
    }
    return n;
}

void NumericChangeIds(ControlRecord *r, const LWItemID *pairs) {
    NumericControl *c = Of(r);
    for (NumericReference &ref : c->ref) {
        for (const LWItemID *p = pairs; p[0]; p += 2) {
            if (ref.item == p[0]) {
                ref.item = p[1];
                break;
            }
        }
    }
}

// ---- the NUM block ----

int SaveReference(const NumericReference &ref, const char *tag, const LWSaveState *state, const char *indent) {
    int bytes = WriteSettingsLine(state, " %s%s", indent, tag);
    return bytes + WriteItemLines(ref.item, state, indent);
}

int NumericSave(ControlRecord *r, const LWSaveState *state, int level) {
    NumericControl *c = Of(r);
    BlockIndent indentation(level);
    const char *indent = indentation.text;
    int bytes = WriteSettingsLine(state, "%sBEGIN NUM %s", indent, r->key);
    bool animated = c->mode >= kXPos && c->mode <= kLinear;
    if (animated) bytes += WriteSettingsLine(state, "%s ANIMATE %s", indent, kKeywords[c->mode]);
    if (c->mode == kFixed || c->mode == kLinear || !animated) {
        bytes += WriteSettingsLine(state, "%sVALUE %lg", indent, c->value);
    } else if (c->ref[0].item) {
        // Reference modes keep their items, not the fixed value.
        bytes += SaveReference(c->ref[0], "REF1ITEM", state, indent);
    }
    if (c->mode == kSeparation && c->ref[1].item) bytes += SaveReference(c->ref[1], "REF2ITEM", state, indent);
    if (c->mode == kLinear) bytes += WriteSettingsLine(state, " %sLINEAR %lg", indent, c->changePerFrame);
    return bytes + WriteSettingsLine(state, "%sEND", indent);
}

// The item line(s) after a REF1ITEM or REF2ITEM line.
LWError LoadReference(NumericReference *ref, const LWLoadState *state) {
    const char *line = ReadSettingsLine(state);
    if (!line) return kEndOfFile;
    ItemLine item;
    if (!ParseItemLine(line, &item)) return kBadToken;
    CopyText(ref->name, sizeof ref->name, item.name);
    ref->numbers[0] = item.index;
    ref->numbers[1] = item.count;
    ref->type = item.type;
    ref->item = LWITEM_NULL;
    ref->boneName[0] = 0;
    if (item.type != LWI_BONE) return nullptr;
    line = ReadSettingsLine(state);
    if (!line) return kEndOfFile;
    if (!ParseItemLine(line, &item)) return kBadToken;
    CopyText(ref->boneName, sizeof ref->boneName, item.name);
    ref->boneNumbers[0] = item.index;
    ref->boneNumbers[1] = item.count;
    return nullptr;
}

LWError NumericLoad(ControlRecord *r, const LWLoadState *state) {
    NumericControl *c = Of(r);
    ClearReference(&c->ref[0]);
    ClearReference(&c->ref[1]);
    c->mode = kFixed;
    char word[256], second[256];
    for (;;) {
        const char *line = ReadSettingsLine(state);
        if (!line) return kEndOfFile;
        if (SettingsToken(line, word, 1)) return kBadToken;
        bool hasSecond = SettingsToken(line, second, 2) == 0;
        if (std::strcmp(word, "END") == 0) return nullptr;
        if (std::strcmp(word, "ANIMATE") == 0) {
            if (!hasSecond) return kBadToken;
            for (int m = 0; m < kNumericModes; ++m)
                if (std::strcmp(second, kKeywords[m]) == 0) c->mode = m;
        } else if (std::strcmp(word, "REF1") == 0 || std::strcmp(word, "REF2") == 0) {
            // The older form: an object by name alone.
            NumericReference *ref = &c->ref[word[3] == '1' ? 0 : 1];
            const char *rest = line + 4;
            while (*rest == ' ' || *rest == '\t') ++rest;
            ClearReference(ref);
            CopyText(ref->name, sizeof ref->name, rest);
            ref->numbers[0] = ref->numbers[1] = 1;
        } else if (std::strcmp(word, "REF1ITEM") == 0 || std::strcmp(word, "REF2ITEM") == 0) {
            if (LWError err = LoadReference(&c->ref[word[3] == '1' ? 0 : 1], state)) return err;
        } else if (std::strcmp(word, "VALUE") == 0) {
            if (!hasSecond) return kBadToken;
            double v = std::strtod(second, nullptr);
            if (c->lowClip && v <= c->lowLimit) v = c->lowLimit;
            if (c->highClip && v >= c->highLimit) v = c->highLimit;
            c->value = v;
        } else if (std::strcmp(word, "LINEAR") == 0) {
            if (!hasSecond) return kBadToken;
            c->changePerFrame = std::strtod(second, nullptr);
        }
    }
}

void NumericCopy(ControlRecord *from, ControlRecord *to) {
    NumericControl *src = Of(from), *dst = Of(to);
    auto window = dst->window;
    std::memcpy(reinterpret_cast<char *>(dst) + sizeof(ControlRecord),
                reinterpret_cast<const char *>(src) + sizeof(ControlRecord), sizeof(NumericControl) - sizeof(ControlRecord));
    dst->window = window;
}

void NumericReset(ControlRecord *r) {
    NumericControl *c = Of(r);
    c->window.dragging = 0;
    c->window.lastX = kDragCentre;
}

void NumericUpdate(ControlRecord *r) { NumericResolve(r); }

}  // namespace

NumericControl *NewNumericControl(const char *key, int x, int y, Panel *panel) {
    NumericControl *c = AllocateControl<NumericControl>(kKindNumeric, key, x, y, panel);
    if (!c) return nullptr;
    ControlRecord *r = &c->record;
    r->save = NumericSave;
    r->load = NumericLoad;
    r->copy = NumericCopy;
    r->reset = NumericReset;
    r->resolve = NumericResolve;
    r->update = NumericUpdate;
    r->collectItems = NumericCollect;
    r->changeIds = NumericChangeIds;
    c->value = c->current = 0.5;
    c->dragStep = 0.05;
    c->lowLimit = 0.0;
    c->highLimit = 100.0;
    c->dragLow = 0.0;
    c->dragHigh = 100.0;
    c->width = 75;
    c->height = 16;
    c->digits = 3;
    c->animatable = 1;
    c->hasAdvancedButton = 1;
    c->dragLowOn = c->dragHighOn = 1;
    c->liveUpdate = 1;
    c->usesItems = c->parentChain = 1;
    c->window.windowless = 1;
    NumericReset(r);
    return c;
}

NumericControl *NewPercentControl(const char *key, int x, int y, Panel *panel) {
    NumericControl *c = NewNumericControl(key, x, y, panel);
    if (!c) return nullptr;
    c->displayKind = kPercent;
    c->dragStep = 0.005;
    c->dragLow = 0.0;
    c->dragHigh = 1.0;
    return c;
}

NumericControl *NewFactorControl(const char *key, int x, int y, Panel *panel) {
    NumericControl *c = NewNumericControl(key, x, y, panel);
    if (!c) return nullptr;
    c->value = c->current = 1.0;
    c->dragStep = 0.005;
    c->lowClip = 1;
    c->lowLimit = 0.0;
    c->dragLow = 0.0;
    c->dragHighOn = 0;
    return c;
}

NumericControl *NewIntegerControl(const char *key, int x, int y, Panel *panel) {
    NumericControl *c = NewNumericControl(key, x, y, panel);
    if (!c) return nullptr;
    c->value = c->current = 10;
    c->displayKind = kInteger;
    c->dragStep = 0.03;
    c->lowClip = c->highClip = 1;
    c->lowLimit = c->dragLow = 0;
    c->highLimit = c->dragHigh = 9999;
    c->width = 48;
    c->animatable = 0;
    return c;
}

void DragNotBelowLow(void *control) {
    NumericControl *c = static_cast<NumericControl *>(control);
    c->dragLow = c->lowLimit;
    c->dragLowOn = 1;
    c->dragHighOn = 0;
}

double EvaluateNumeric(NumericControl *c, double time) {
    double result = c->value;
    if (c->animatable) {
        LWItemID a = c->ref[0].item, b = c->ref[1].item;
        double v[3], w[3];
        switch (c->mode) {
        case kXPos:
        case kYPos:
        case kZPos:
        case kOriginDist:
            if (!a) return 0.0;
            Param(a, LWIP_W_POSITION, time, v);
            result = c->mode == kOriginDist ? Length(v) : v[c->mode - kXPos];
            break;
        case kXScale:
        case kYScale:
        case kZScale:
        case kAveScale:
            if (!a) return 0.0;
            Param(a, LWIP_SCALING, time, v);
            result = c->mode == kAveScale ? Length(v) / std::sqrt(3.0) : v[c->mode - kXScale];
            break;
        case kSeparation:
            if (!a || !b) return 0.0;
            Param(a, LWIP_W_POSITION, time, v);
            Param(b, LWIP_W_POSITION, time, w);
            for (int i = 0; i < 3; ++i) v[i] -= w[i];
            result = Length(v);
            break;
        case kLinear: result = c->value + c->changePerFrame * (time * ScenesFramesPerSecond() - 1); break;
        default: break;
        }
        result = Clip(c, result);
    }
    result = RoundIfInteger(c, result);
    c->current = result;
    return result;
}

void EvaluatePanelNumerics(Panel *panel, double time) {
    panel->currentTime = time;
    for (ControlRecord *r = panel->record.next; r; r = r->next)
        if (r->kind == kKindNumeric) EvaluateNumeric(Of(r), time);
}

void FormatNumeric(const NumericControl *c, double value, char out[31]) {
    char text[128];
    int digits = c->digits < 0 ? 0 : (c->digits > 20 ? 20 : c->digits);
    switch (c->displayKind) {
    case kInteger: std::snprintf(text, sizeof text, "  %d", RoundToInt(value)); break;
    case kOneDecimal: std::snprintf(text, sizeof text, "  %.1f", value); break;
    case kPercent: std::snprintf(text, sizeof text, "  %0.*f%%", digits - 2 < 1 ? 1 : digits - 2, value * 100); break;
    default: std::snprintf(text, sizeof text, "  %0.*f", digits, value); break;
    }
    CopyText(out, 31, text);
}

void CommitNumericText(NumericControl *c, const char *typed, bool report) {
    char text[64];
    CopyText(text, sizeof text, typed);
    double old = c->value, v = old;
    if (text[0]) {
        v = std::atof(text);
        if (c->displayKind == kPercent) v *= 0.01;
        v = RoundIfInteger(c, Clip(c, v));
    }
    c->value = v;
    FormatNumeric(c, v, c->window.text);
    if (report && std::fabs(v - old) >= 0.0001) ReportChange(&c->record);
}

int NumericDragBegin(NumericControl *c) {
    c->window.dragging = 1;
    c->window.lastX = kDragCentre;
    CommitNumericText(c, c->window.text, false);
    return kDragCentre;
}

int NumericDragMove(NumericControl *c, int x) {
    if (!c->window.dragging) return -1;
    int delta = x - c->window.lastX, warp = -1;
    c->window.lastX = x;
    if (x > kDragRightEdge || x < kDragLeftEdge) {
        c->window.lastX = warp = kDragCentre;
    }
    double old = c->value, v = old + delta * c->dragStep;
    if (c->dragLowOn && v < c->dragLow) v = c->dragLow;
    if (c->dragHighOn && v > c->dragHigh) v = c->dragHigh;
    c->value = v;
    if (std::fabs(v - old) <= 0.00001) return warp;
    if (c->liveUpdate) ReportChange(&c->record);
    FormatNumeric(c, v, c->window.text);
    return warp;
}

void NumericDragEnd(NumericControl *c) {
    if (!c->window.dragging) return;
    c->window.dragging = 0;
    FormatNumeric(c, c->value, c->window.text);
    ReportChange(&c->record);
}

const char *NumericModeKeyword(int mode) { return mode >= 0 && mode < kNumericModes ? kKeywords[mode] : ""; }
const char *NumericModeLabel(int mode) { return mode >= 0 && mode < kNumericModes ? kNumericModeLabels[mode] : ""; }

void AdvancedDialogTitle(const NumericControl *c, char *out, int size) {
    if (c->record.label[0])
        std::snprintf(out, size, "Advanced Definition of  \"%s\"", c->record.label);
    else
        std::snprintf(out, size, "Advanced Numeric Control Definition");
}

RangeReport ComputeRangeReport(NumericControl *copy, int sceneFirst, int sceneLast, double fps, double lowGraph,
                               double highGraph, double *xs, double *ys) {
    RangeReport report{};
    int n = (sceneLast - sceneFirst) * 5;
    n = n < 20 ? 20 : (n > kMaxGraphSamples ? kMaxGraphSamples : n);
    report.samples = n;
    report.start = static_cast<int>(lowGraph);
    report.end = static_cast<int>(highGraph);
    if (report.end < report.start + 1) report.end = report.start + 1;
    double minimum = 9999999.999, maximum = -9999999.999, sum = 0;
    for (int i = 0; i < n; ++i) {
        double f = static_cast<double>(i) / (n - 1);
        double frame = report.end * f + (1 - f) * report.start;
        double value = EvaluateNumeric(copy, frame / fps);
        if (xs) xs[i] = frame;
        if (ys) ys[i] = value;
        if (value < minimum) minimum = value;
        if (value > maximum) maximum = value;
        sum += value;
    }
    report.minimum = minimum;
    report.maximum = maximum;
    report.average = sum / n;
    return report;
}

void FormatRangeReport(const RangeReport &r, char *out, int size) {
    std::snprintf(out, size, "From Frame %d to %d the value ranges from %.3f to %.3f, average: %.3f.", r.start, r.end,
                  r.minimum, r.maximum, r.average);
}

bool NumericAdvancedClick(NumericControl *c, bool modifier) {
    if (!modifier || c->mode == kFixed) return true;
    c->mode = kFixed;
    RedrawControl(&c->record, kDrawAll);
    c->record.changedMark = 1;
    return false;
}

void FinishAdvancedDefinition(NumericControl *c, int chosenMode) {
    if (chosenMode < 0 || chosenMode >= kNumericModes) chosenMode = kFixed;
    bool missing = (chosenMode >= kXPos && chosenMode <= kAveScale && !c->ref[0].item) ||
                   (chosenMode == kSeparation && (!c->ref[0].item || !c->ref[1].item));
    c->mode = missing ? kFixed : chosenMode;
    RedrawControl(&c->record, kDrawAll);
    c->record.changedMark = 1;
}
