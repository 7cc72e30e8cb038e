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


def real_objects_scene(source, work):
    """A scene of objects nobody here made: an LWO2 object of several layers
    turning and moving, a concave LWOB polygon and a glossy LWOB sphere."""
    models = os.path.join(source, "..", "shared", "realdata", "assimp", "test", "models", "LWO")
    keyed = "ObjectMotion (unnamed)\n  9\n  2\n  {}\n  0 0 0 0 0\n  {}\n  24 0 0 0 0\nEndBehavior 1\n"
    text = "LWSC\n1\nFirstFrame 0\nLastFrame 24\nFramesPerSecond 24\n"
    for i, (model, start, end) in enumerate([
            ("LWO2/hierarchy.lwo", "0 0 4 0 0 0 1 1 1", "1 0.5 5 90 20 10 1 2 1"),
            ("LWOB/ConcavePolygon.lwo", "-2 0 6 0 0 0 1 1 1", "-2 1 6 0 -45 0 0.5 0.5 0.5"),
            ("LWOB/sphere_with_mat_gloss_10pc.lwo", "2 0 6 0 0 0 1 1 1", "2 0 8 0 0 180 1 1 1")]):
        text += f"LoadObject {os.path.join(models, model)}\n" + keyed.format(start, end)
    text += "AddLight\nLightName Light\nShowLight 1 7\n" + keyed.format("0 5 -5 0 30 0 1 1 1", "0 5 -5 0 30 0 1 1 1")
    text += "ShowCamera 1 7\nCameraMotion (unnamed)\n  9\n  1\n  0 1 -6 0 5 0 1 1 1\n  0 0 0 0 0\n"
    path = os.path.join(work, "real_objects.lws")
    open(path, "w").write(text)
    return path


def main():
    vesk, source, node_modules = sys.argv[1:4]
    examples = os.path.join(source, "examples")
    work = tempfile.mkdtemp()
    failures = []
    manifest = []
    scenes = [os.path.join(examples, f) for f in sorted(os.listdir(examples)) if f.endswith(".lws")]
    for scene in scenes + [real_objects_scene(source, work)]:
        name = os.path.basename(scene)
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

    # The .gltf form with its buffer beside it, every fourth frame, no morphs.
    gltf = os.path.join(work, "studio.gltf")
    r = run(vesk, "export", os.path.join(examples, "studio_demo.lws"), "-o", gltf, "--step", "4", "--no-morph")
    if r.returncode:
        failures.append(f"studio_demo.lws: export as .gltf: {r.stderr.strip()}")
    exports = [e["glb"] for e in manifest] + [gltf]
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
