"""Run inside Blender (blender -b --python-expr): renders frame FRAME of a
vesk glTF export with Cycles on the processor, through the export's camera,
at WIDTH x HEIGHT, into OUT.png.

usage: sys.argv = [_, EXPORT, FRAME, WIDTH, HEIGHT, OUT, FPS, AMBIENT]

The host's lights do not fall off with distance and its diffuse term has no
1/pi; Cycles' do. So that the picture is lit as the host lights it: a sun gets
pi times the scene's intensity, and a point or spot light 4 pi^2 d^2 times it,
d its distance from the middle of the objects; the world gives the scene's
ambient light, and the backdrop is left transparent over black, as vesk
render's is. The view transform is the plain one, as vesk render writes its
levels."""
import json
import math
import struct
import sys

import numpy

# Debian's Blender 3.4 glTF importer still uses numpy.bool, which Debian's
# numpy 1.24 no longer has.
numpy.bool = bool

import bpy  # noqa: E402
from mathutils import Vector  # noqa: E402

export, frame, width, height, out, fps, ambient = sys.argv[1:8]
bpy.ops.wm.read_factory_settings(use_empty=True)
scene = bpy.context.scene
scene.render.fps = round(float(fps))
bpy.ops.import_scene.gltf(filepath=export)
scene.frame_set(int(frame))

# The scene's own light factors, by light, from the export itself.
data = open(export, "rb").read()
document = json.loads(data[20:20 + struct.unpack("<I", data[12:16])[0]])
lights = document.get("extensions", {}).get("KHR_lights_punctual", {}).get("lights", [])
factor = {node["name"]: lights[node["extensions"]["KHR_lights_punctual"]["light"]]["intensity"]
          for node in document.get("nodes", []) if "KHR_lights_punctual" in node.get("extensions", {})}

meshes = [o for o in scene.objects if o.type == "MESH"]
corners = [o.matrix_world @ Vector(c) for o in meshes for c in o.bound_box]
middle = sum(corners, Vector()) / len(corners) if corners else Vector()
for light in (o for o in scene.objects if o.type == "LIGHT"):
    intensity = factor.get(light.name, 1.0)
    if light.data.type == "SUN":
        light.data.energy = math.pi * intensity
    else:
        d = (light.matrix_world.translation - middle).length
        light.data.energy = 4 * math.pi ** 2 * d * d * intensity
    light.data.shadow_soft_size = 0

world = bpy.data.worlds.new("Ambient")
world.use_nodes = True
world.node_tree.nodes["Background"].inputs["Color"].default_value = (*(float(a) for a in ambient.split(",")), 1)
scene.world = world
scene.camera = next(o for o in scene.objects if o.type == "CAMERA")
scene.render.engine = "CYCLES"
scene.cycles.device = "CPU"
scene.cycles.samples = 48
scene.cycles.use_denoising = False
scene.render.film_transparent = True
scene.render.resolution_x, scene.render.resolution_y = int(width), int(height)
scene.render.resolution_percentage = 100
scene.display_settings.display_device = "None"
scene.render.filepath = out
bpy.ops.render.render(write_still=True)
