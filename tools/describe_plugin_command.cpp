// vesk describe-plugin: a plug-in's settings as its panel holds them, one row
// per control of a fresh instance: key, label, kind, default and limits. The
// manual's settings tables are this output, so they follow the control
// tables in the code.
#include <cstdio>
#include <string>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_instance.h"
#include "tools/command_line.h"

namespace {

std::string Number(double v) {
    char text[64];
    std::snprintf(text, sizeof text, "%g", v);
    return text;
}

struct Row {
    std::string key, label, kind, value, limits;
};

Row Describe(ControlRecord *r) {
    // A control without a caption of its own (radio buttons) carries its key as its label.
    Row row{r->key, std::string(r->label) == r->key ? "" : r->label, "", "", ""};
    switch (r->kind) {
    case kKindNumeric: {
        auto *n = reinterpret_cast<NumericControl *>(r);
        static const char *const kKinds[] = {"number", "whole number", "number", "percentage"};
        row.kind = kKinds[n->displayKind >= 0 && n->displayKind < 4 ? n->displayKind : 0];
        if (n->animatable) row.kind += ", animatable";
        char shown[31];
        FormatNumeric(n, n->value, shown);
        row.value = std::string(shown).substr(std::string(shown).find_first_not_of(' '));
        bool percent = n->displayKind == kPercent;
        auto limit = [&](double v) { return percent ? Number(v * 100) + "%" : Number(v); };
        if (n->lowClip && n->highClip)
            row.limits = limit(n->lowLimit) + " to " + limit(n->highLimit);
        else if (n->lowClip)
            row.limits = "at least " + limit(n->lowLimit);
        else if (n->highClip)
            row.limits = "at most " + limit(n->highLimit);
        else
            row.limits = "none";
        break;
    }
    case kKindButton: {
        auto *b = reinterpret_cast<ButtonControl *>(r);
        row.kind = "on/off";
        row.value = (b->state & kChecked) ? "on" : "off";
        if (row.label.empty()) row.label = b->text;
        break;
    }
    case kKindRadio: {
        auto *c = reinterpret_cast<RadioControl *>(r);
        row.kind = "choice";
        for (int i = 0; i < c->count; ++i) row.limits += (i ? ", " : "") + std::string(c->choices[i]) + " (" + std::to_string(i) + ")";
        row.value = c->selection >= 0 && c->selection < c->count ? c->choices[c->selection] : "";
        break;
    }
    case kKindColor: {
        auto *c = reinterpret_cast<ColorControl *>(r);
        row.kind = "colour";
        row.value = std::to_string(c->red) + ", " + std::to_string(c->green) + ", " + std::to_string(c->blue);
        row.limits = "0 to 255 each";
        break;
    }
    case kKindItem: {
        auto *c = reinterpret_cast<ItemControl *>(r);
        row.kind = c->prefixMode ? "items by name prefix" : "item";
        row.value = "(none)";
        break;
    }
    case kKindListbox: row.kind = "list"; break;
    case kKindGraph: row.kind = "graph"; break;
    case kKindPreview: row.kind = "preview"; break;
    case kKindExportMotion: row.kind = "Export Motion button"; break;
    case kKindText: row.kind = "text"; break;
    default: row.kind = "other"; break;
    }
    return row;
}

int DescribePlugin(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"--markdown"}, &positional, &v, &error, {"--markdown"})) return FailCommand("describe-plugin: " + error);
    if (positional.size() != 1) return FailCommand("describe-plugin: give one plug-in name (vesk list shows them)");
    Session s;
    if (!s.ready) return FailCommand(s.error);
    NewInstance made;
    if (!CreateInstance(s, positional[0], "", &made, &error)) return FailCommand(error);
    auto *instance = static_cast<PluginInstance *>(made.instance);
    std::vector<Row> rows;
    for (ControlRecord *r = instance->panel->record.next; r; r = r->next) rows.push_back(Describe(r));
    const bool markdown = v[0] == "1";
    if (markdown) {
        std::printf("| Key | Label | Kind | Default | Limits |\n|---|---|---|---|---|\n");
        for (const Row &r : rows)
            std::printf("| `%s` | %s | %s | %s | %s |\n", r.key.c_str(), r.label.empty() ? "" : ("\"" + r.label + "\"").c_str(),
                        r.kind.c_str(), r.value.c_str(), r.limits.c_str());
    } else {
        std::printf("%s (%s), panel \"%s\"\n", positional[0].c_str(), made.className.c_str(), instance->panel->title);
        for (const Row &r : rows)
            std::printf("%-14s %-30s %-28s %-18s %s\n", r.key.c_str(), r.label.c_str(), r.kind.c_str(), r.value.c_str(),
                        r.limits.c_str());
    }
    Destroy(made);
    return 0;
}

}  // namespace

extern const Command describePluginCommand = {
    "describe-plugin", "a plug-in's settings: each control's key, label, kind, default and limits",
    "usage: vesk describe-plugin PLUGIN [--markdown]\n"
    "\n"
    "Prints the controls of a new instance of PLUGIN in their panel and save\n"
    "order: the key its settings text uses, the label the panel shows, its kind,\n"
    "its default and its limits. With --markdown, as the table the manual uses.\n",
    DescribePlugin};
