#!/usr/bin/env python3
"""Writes the manual's pages: docs/README.md, the index of the collection by
class, and docs/plugins/PLUGIN.md for every plug-in of the server table.

A page is put together from its text, docs/source/PLUGIN.txt, and from what the
vesk command says about the plug-in today: its settings table (`vesk
describe-plugin PLUGIN --markdown`, with each key's explanation from the text
beside it) and its description lines (a new instance's, a disabled one's, and
those of its example scene). A key of the control table that the text does not
explain, or a key the text explains that the table no longer has, stops the
run, so the manual cannot drift from the code.

A text has sections, each opened by a line of its own:
  %summary   one line for the index
  %about     what the plug-in does, for an animator
  %effect    the caption of its picture, docs/effects/PLUGIN.png (lower case)
  %example   the example scene(s) whose description lines the page shows
  %controls  lines "KEY KEY2 ...: what it does"
  %shared    names of texts in docs/source/ whose %controls it shares (a family's)
docs/source/common.txt holds %controls that mean the same in every plug-in (the
Disable and Interactive buttons, Export Motion); a plug-in's own line wins,
then its shared texts', then the common one.

usage: manual_pages.py VESK OUT_DIR     (OUT_DIR is docs, or a folder to compare
                                         with docs: the tests do, so a stale page fails)
"""
import os
import re
import subprocess
import sys
import tempfile

CLASS_TITLES = [
    ("ItemMotionHandler", "Item motion", "rewrite an item's position, rotation and scale at every time"),
    ("DisplacementHandler", "Displacement", "move an object's points before it is rendered"),
    ("ShaderHandler", "Shaders", "change a surface at every spot the renderer shades"),
    ("PixelFilterHandler", "Pixel filters", "change each pixel as it is rendered, with the render's buffers and rays"),
    ("ImageFilterHandler", "Image filters", "change the finished frame"),
]
# Rows of these kinds are captions and drawings on the panel; they hold no setting.
CAPTION_KINDS = {"text": "A caption on the panel; it holds no setting.",
                 "graph": "The graph on the panel; it holds no setting.",
                 "preview": "A picture of the effect on the panel, redrawn as the settings change; it holds no setting."}


def run(*args, stdin=None):
    return subprocess.run(args, capture_output=True, text=True, check=True).stdout


def sections(path):
    found, name = {}, None
    with open(path, encoding="utf-8") as f:
        for line in f:
            if line.startswith("%"):
                name = line[1:].strip()
                found[name] = []
            elif name:
                found[name].append(line.rstrip("\n"))
    return {k: "\n".join(v).strip() for k, v in found.items()}


def control_texts(text, where):
    texts = {}
    for line in text.splitlines():
        if not line.strip():
            continue
        keys, sep, what = line.partition(":")
        if not sep or not what.strip():
            sys.exit(f"{where}: a controls line is 'KEY KEY2: what it does', not '{line}'")
        for key in keys.split():
            texts[key] = what.strip()
    return texts


def description_line(vesk, name, settings=None):
    args = [vesk, "settings", name] + ([settings] if settings else [])
    for line in run(*args).splitlines():
        if line.startswith("description: "):
            return line[len("description: "):]
    return ""


def page(vesk, name, kind, source_dir):
    src = os.path.join(source_dir, name + ".txt")
    if not os.path.exists(src):
        sys.exit(f"{src}: missing; every plug-in has its text")
    s = sections(src)
    for needed in ("summary", "about", "effect", "controls"):
        if not s.get(needed):
            sys.exit(f"{src}: no %{needed} section")
    own = control_texts(s["controls"], src)
    common = {}
    for shared in ["common"] + s.get("shared", "").split():
        path = os.path.join(source_dir, shared + ".txt")
        common = {**common, **control_texts(sections(path).get("controls", ""), path)}
    table = run(vesk, "describe-plugin", name, "--markdown").strip().splitlines()
    rows, keys = [], []
    for row in table[2:]:
        cells = row.split(" | ")
        key = cells[0].strip("| `")
        keys.append(key)
        what = own.get(key) or common.get(key) or CAPTION_KINDS.get(cells[2].strip())
        if not what:
            sys.exit(f"{src}: the control {key} is not explained")
        rows.append(row.rstrip() + f" {what} |")
    unknown = sorted(set(own) - set(keys))
    if unknown:
        sys.exit(f"{src}: explains {', '.join(unknown)}, which {name}'s controls no longer hold")

    lines = [f"# {name}", "", f"*{kind}.* {s['summary']}", "", s["about"], "",
             "## Its effect", "", f"![{name}'s effect](../effects/{name.lower()}.png)", "", s["effect"], "",
             "## Its panel", "", f"![{name}'s panel](../panels/{name.lower()}.png)", "",
             "## Settings", "",
             "Generated from the plug-in's own control table (`vesk describe-plugin " + name + " --markdown`): "
             "the key its settings text uses, the label on its panel, the kind of control, its default and its limits.",
             "", table[0] + " What it does |", table[1] + "---|"] + rows + ["", "## Description lines", "",
             "What the host's plug-in lists show for an instance:", "",
             f"- a new one: \"{description_line(vesk, name)}\""]
    if "DISABLE" in keys:
        with tempfile.NamedTemporaryFile("w", suffix=".txt", delete=False) as f:
            f.write(f"BEGIN MARVEN_LABS_PLUGIN {name}\nVERSION 1\n BEGIN BUTTON DISABLE\n  CHECKED YES\n END\n"
                    f"END MARVEN_LABS_PLUGIN {name}\n")
        try:
            lines.append(f"- with Disable on: \"{description_line(vesk, name, f.name)}\"")
        finally:
            os.unlink(f.name)
    for scene in s.get("example", "").split():
        for line in run(vesk, "describe", scene).splitlines():
            item, _, rest = line.partition(": ")
            plugin, _, shown = rest.partition(": ")
            if plugin == name:
                lines.append(f"- in `{scene}`, on {item}: \"{shown}\"")
    return "\n".join(lines) + "\n", s["summary"]


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    vesk, out = sys.argv[1], sys.argv[2]
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    os.chdir(root)
    source_dir = "docs/source"
    plugins = []
    for line in run(vesk, "list").splitlines():
        fields = line.split()
        if len(fields) >= 3 and fields[1].endswith("Handler"):
            plugins.append((fields[1], fields[2]))
    os.makedirs(os.path.join(out, "plugins"), exist_ok=True)
    summaries = {}
    for cls, name in plugins:
        title = next(t for c, t, _ in CLASS_TITLES if c == cls)
        text, summaries[name] = page(vesk, name, title, source_dir)
        with open(os.path.join(out, "plugins", name + ".md"), "w", encoding="utf-8") as f:
            f.write(text)
    index = ["# The Vesk Collection: the manual", "",
             "33 plug-ins for LightWave 3D 5.x in one module, `vesk.p`. Each page shows the plug-in's panel, "
             "a picture of its effect from a real run, its settings (generated from its control table) "
             "and its description lines.", "",
             "- [Installing and troubleshooting](install.md): putting `vesk.p` in the host, what its messages "
             "mean, checking a settings file or a scene with `vesk`.",
             "- [Long sequences](sequences.md): rendering, filtering and baking long frame ranges on one "
             "machine and on several.", "",
             "Regenerate the whole manual with `bash scripts/docs.sh`.", ""]
    for cls, title, what in CLASS_TITLES:
        index += [f"## {title}", "", f"These {what}.", ""]
        index += [f"- [{name}](plugins/{name}.md): {summaries[name]}"
                  for c, name in sorted(plugins, key=lambda p: p[1].lower()) if c == cls]
        index.append("")
    with open(os.path.join(out, "README.md"), "w", encoding="utf-8") as f:
        f.write("\n".join(index))
    print(f"wrote the index and {len(plugins)} pages to {out}")


if __name__ == "__main__":
    main()
