#!/usr/bin/env python3
"""Every example scene exported as glTF and checked by programs nobody here
wrote: the Khronos glTF validator (no error, no warning), assimp (reads it)
and Blender (imports it: every object's world matrix at five frames is
vesk bake's world motion of that item, turned into glTF's frame and then
Blender's; its vertices are the corners of vesk displace's polygons, on as
many distinct points, within the same bounding box).

usage: export_tools.py VESK SOURCE_DIR NODE_MODULES"""
import json
import os
import struct
import subprocess
import sys
import tempfile


def run(*command, **kwargs):
    return subprocess.run(command, capture_output=True, text=True, **kwargs)


def glb_json(path):
    data = open(path, "rb").read()
    length = struct.unpack("<I", data[12:16])[0]
    return json.loads(data[20:20 + length])


def scene_numbers(path):
    """FirstFrame, LastFrame and FramesPerSecond as the scene gives them."""
    found = {"FirstFrame": 1, "LastFrame": 60, "FramesPerSecond": 30}
    for line in open(path, encoding="latin-1"):
        words = line.split()
        if len(words) == 2 and words[0] in found:
            found[words[0]] = float(words[1])
    return int(found["FirstFrame"]), int(found["LastFrame"]), found["FramesPerSecond"]


def main():
    vesk, source, node_modules = sys.argv[1:4]
    examples = os.path.join(source, "examples")
    work = tempfile.mkdtemp()
    failures = []
    manifest = []
    for name in sorted(f for f in os.listdir(examples) if f.endswith(".lws")):
        scene = os.path.join(examples, name)
        glb = os.path.join(work, name[:-4] + ".glb")
        r = run(vesk, "export", scene, "-o", glb)
        if r.returncode:
            failures.append(f"{name}: export: {r.stderr.strip()}")
            continue
        # Read as it stands, and through assimp's usual clean-up when there
        # is a mesh: the clean-up drops unused materials and then refuses a
        # scene left with none, as one of nulls, lights and cameras is.
        has_mesh = bool(glb_json(glb).get("meshes"))
        for options in (["--raw"], []) if has_mesh else (["--raw"],):
            r = run("assimp", "info", glb, *options)
            if r.returncode or "Nodes:" not in r.stdout:
                failures.append(f"{name}: assimp info {' '.join(options)}: {(r.stdout + r.stderr).strip()[-300:]}")
        first, last, fps = scene_numbers(scene)
        frames = sorted({first + (last - first) * k // 4 for k in range(5)})
        entry = {"scene": name, "glb": glb, "fps": fps, "frames": frames, "objects": []}
        for node in glb_json(glb).get("nodes", []):
            if "mesh" not in node:
                continue
            item, stem = node["name"], os.path.join(work, f"{name[:-4]}_{len(entry['objects'])}")
            r = run(vesk, "bake", scene, item, "-o", stem + ".mot")
            if r.returncode:
                failures.append(f"{name}: bake {item}: {r.stderr.strip()}")
                continue
            shapes = {}
            for frame in frames:
                r = run(vesk, "displace", scene, item, "--frame", str(frame), "-o", f"{stem}_{frame}.obj")
                if r.returncode:
                    failures.append(f"{name}: displace {item}: {r.stderr.strip()}")
                shapes[frame] = f"{stem}_{frame}.obj"
            entry["objects"].append({"name": item, "motion": stem + ".mot", "shapes": shapes,
                                     "pivot": node.get("extras", {}).get("pivot", [0, 0, 0])})
        manifest.append(entry)

    exports = [e["glb"] for e in manifest]
    r = run("node", os.path.join(source, "tests", "validate_gltf.js"), *exports,
            env=dict(os.environ, NODE_PATH=node_modules))
    print(r.stdout, end="")
    if r.returncode:
        failures.append("the glTF validator: " + (r.stderr.strip() or "errors or warnings above"))

    manifest_path = os.path.join(work, "manifest.json")
    json.dump(manifest, open(manifest_path, "w"))
    check = os.path.join(source, "tests", "blender_check.py")
    r = run("blender", "-b", "--python-exit-code", "1", "--python-expr",
            f"import sys; sys.argv = ['blender_check', {manifest_path!r}]; exec(open({check!r}).read())")
    lines = [l for l in r.stdout.splitlines() if l.startswith(("object", "FAIL", "blender:"))]
    print("\n".join(lines))
    if r.returncode or not any(l.startswith("blender: ") for l in lines):
        failures.append("Blender: " + (r.stderr.strip()[-2000:] or "see above"))

    for f in failures:
        print("FAIL:", f)
    print(f"exports checked: {len(manifest)} scenes, {sum(len(e['objects']) for e in manifest)} objects;"
          f" {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
