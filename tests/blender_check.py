"""Run inside Blender (blender -b): imports each export named in the manifest
export_tools.py wrote and compares it with vesk's own answers. Prints an
"object" line for each object checked, a "FAIL" line for each difference and
"blender: N objects" at the end; exits 1 on any failure."""
import json
import math
import sys

import numpy

# Debian's Blender 3.4 glTF importer still uses numpy.bool, which Debian's
# numpy 1.24 no longer has.
numpy.bool = bool

import bpy  # noqa: E402

# glTF's Y-up frame into Blender's Z-up one, as its importer turns it:
# (x, y, z) goes to (x, -z, y).
TO_BLENDER = [[1, 0, 0], [0, 0, -1], [0, 1, 0]]


def rotation_rows(h, p, b):
    """The host's unit rows of heading, pitch and bank (radians)."""
    sh, ch, sp, cp, sb, cb = math.sin(h), math.cos(h), math.sin(p), math.cos(p), math.sin(b), math.cos(b)
    return [[ch * cb + sh * sp * sb, cp * sb, -sh * cb + ch * sp * sb],
            [-ch * sb + sh * sp * cb, cp * cb, sh * sb + ch * sp * cb],
            [sh * cp, -sp, ch * cp]]


def expected_world(values):
    """A baked world motion (position, heading-pitch-bank in degrees, scale) as
    a 3 x 4 matrix of column vectors in Blender's frame: the host's rows
    transposed and mirrored in Z, then turned Z-up."""
    rows = rotation_rows(*(math.radians(v) for v in values[3:6]))
    s = [1, 1, -1]
    g = [[s[i] * s[j] * rows[j][i] * values[6 + j] for j in range(3)] for i in range(3)]
    t = [values[0], values[1], -values[2]]
    c = TO_BLENDER
    # C G C^-1, with C^-1 = C^T; and C t.
    cg = [[sum(c[i][k] * g[k][j] for k in range(3)) for j in range(3)] for i in range(3)]
    m = [[sum(cg[i][k] * c[j][k] for k in range(3)) for j in range(3)] for i in range(3)]
    ct = [sum(c[i][k] * t[k] for k in range(3)) for i in range(3)]
    return [m[i] + [ct[i]] for i in range(3)]


def baked_motion(path):
    """Frame -> the nine values of a LWMO motion file's keys."""
    lines = open(path).read().split("\n")
    count, keys = int(lines[3]), {}
    for k in range(count):
        values = [float(v) for v in lines[4 + 2 * k].split()]
        keys[round(float(lines[5 + 2 * k].split()[0]))] = values
    return keys


def obj_shape(path):
    points, corners, used = [], 0, set()
    for line in open(path):
        w = line.split()
        if w and w[0] == "v":
            points.append([float(x) for x in w[1:4]])
        elif w and w[0] == "f" and len(w) >= 4:
            corners += len(w) - 1
            used.update(int(x.split("/")[0]) - 1 for x in w[1:])
    return [points[i] for i in sorted(used)], corners


def distinct(points):
    return len({tuple(round(c, 4) for c in p) for p in points})


def close(a, b, tolerance=1e-4):
    # Within 1e-4, and the motion file's six significant digits on larger values.
    return abs(a - b) <= tolerance + 5e-6 * abs(b)


def check_scene(entry, fail):
    bpy.ops.wm.read_factory_settings(use_empty=True)
    bpy.context.scene.render.fps = round(entry["fps"])
    bpy.ops.import_scene.gltf(filepath=entry["glb"])
    checked = 0
    for o in entry["objects"]:
        where = f"{entry['scene']}: {o['name']}"
        obj = bpy.data.objects.get(o["name"])
        if obj is None or obj.type != "MESH":
            fail(f"{where}: no mesh object of that name")
            continue
        motion = baked_motion(o["motion"])
        for frame in entry["frames"]:
            bpy.context.scene.frame_set(frame)
            want, have = expected_world(motion[frame]), obj.matrix_world
            worst = max(abs(have[i][j] - want[i][j]) for i in range(3) for j in range(4))
            if not all(close(have[i][j], want[i][j]) for i in range(3) for j in range(4)):
                fail(f"{where}: frame {frame}: world matrix off by {worst:.3g}")
            points, corners = obj_shape(o["shapes"][str(frame)])
            mesh = obj.evaluated_get(bpy.context.evaluated_depsgraph_get()).to_mesh()
            have_points = [list(v.co) for v in mesh.vertices]
            if len(have_points) != corners:
                fail(f"{where}: frame {frame}: {len(have_points)} vertices, the polygons have {corners} corners")
            if distinct(have_points) != distinct(points):
                fail(f"{where}: frame {frame}: {distinct(have_points)} distinct points, vesk displace has {distinct(points)}")
            # Each triangle's winding agrees with the normals written for its
            # corners: the front glTF (and Blender) sees is the host's front.
            mesh.calc_normals_split()
            backwards = sum(1 for poly in mesh.polygons if poly.area > 1e-12 and
                            sum(poly.normal.dot(mesh.loops[i].normal) for i in poly.loop_indices) < 0)
            if backwards:
                fail(f"{where}: frame {frame}: {backwards} triangles face away from their normals")
            # The host's (x, y, z) less the pivot is Blender's (x, z, y).
            px, py, pz = o["pivot"]
            ours = [[x - px, z - pz, y - py] for x, y, z in points]
            for axis in range(3):
                for pick in (min, max):
                    a, b = pick(p[axis] for p in have_points), pick(p[axis] for p in ours)
                    if not close(a, b):
                        fail(f"{where}: frame {frame}: bounding box {pick.__name__} {'xyz'[axis]} {a} against {b}")
            obj.evaluated_get(bpy.context.evaluated_depsgraph_get()).to_mesh_clear()
        print(f"object {where}: {len(entry['frames'])} frames")
        checked += 1
    return checked


def main():
    manifest = json.load(open(sys.argv[1]))
    failures = []

    def fail(message):
        failures.append(message)
        print("FAIL " + message)

    checked = sum(check_scene(entry, fail) for entry in manifest)
    print(f"blender: {checked} objects, {len(failures)} failures")
    if failures:
        sys.exit(1)


main()
