#!/usr/bin/env python3
"""Writes the example objects of examples/ as LWOB files (points, one surface,
quads): a stalk modelled straight up +Y from its origin, a ball and a box of
about a thousand points each, fine enough to disperse or shiver point by point,
a rope lying along +X from its pivot, a finely divided floor to dent, and a
wheel about the Z axis; and for the render studio the same ball, box and floor
with described surfaces (colour, smoothing, specular, mirror), and a grassy
valley for the fog layer, a double-sided rotor disc, a three-bladed propeller,
and a globe about its own
origin for SuperQ, which shapes an object about that origin.
usage: make_example_objects.py EXAMPLES_DIR"""
import math
import struct
import sys


def surf(name, colour, smooth=False, diffuse=1.0, specular=0.0, gloss=64, mirror=0.0, double_sided=False):
    # An LWOB SURF chunk: the name, then sub-chunks with 16-bit lengths.
    def sub(tag, data):
        return tag + struct.pack(">H", len(data)) + data
    data = name.encode() + b"\0" + (b"\0" if len(name) % 2 == 0 else b"")
    data += sub(b"COLR", bytes(colour) + b"\0")
    data += sub(b"FLAG", struct.pack(">H", (4 if smooth else 0) | (256 if double_sided else 0)))
    data += sub(b"VDIF", struct.pack(">f", diffuse)) + sub(b"VSPC", struct.pack(">f", specular))
    data += sub(b"GLOS", struct.pack(">H", gloss)) + sub(b"VRFL", struct.pack(">f", mirror))
    if smooth:
        data += sub(b"SMAN", struct.pack(">f", math.radians(89.5)))
    return data


def lwob(path, points, polygons, surface=None):
    pnts = b"".join(struct.pack(">fff", *p) for p in points)
    name = surface[0] if surface else "Default"
    srfs = name.encode() + b"\0" + (b"\0" if len(name) % 2 == 0 else b"")
    pols = b"".join(struct.pack(">H", len(p)) + b"".join(struct.pack(">H", i) for i in p) + struct.pack(">h", 1)
                    for p in polygons)
    body = b"LWOB"
    chunks = [(b"PNTS", pnts), (b"SRFS", srfs), (b"POLS", pols)]
    if surface:
        chunks.append((b"SURF", surf(*surface)))
    for tag, data in chunks:
        body += tag + struct.pack(">I", len(data)) + data + (b"\0" if len(data) % 2 else b"")
    with open(path, "wb") as f:
        f.write(b"FORM" + struct.pack(">I", len(body)) + body)


def stalk(rings=41, height=2.0, width=0.08):
    # A square tube tapering a little towards the tip.
    points, polygons = [], []
    for r in range(rings):
        y = height * r / (rings - 1)
        h = width * (1 - 0.5 * r / (rings - 1)) / 2
        points += [(-h, y, -h), (h, y, -h), (h, y, h), (-h, y, h)]
    for r in range(rings - 1):
        for s in range(4):
            a, b = 4 * r + s, 4 * r + (s + 1) % 4
            polygons.append((a, a + 4, b + 4, b))  # clockwise seen from outside
    return points, polygons


def ball(rings=24, sides=48, radius=1.0, centre=1.2):
    # Latitude rings between two poles, quads between the rings, triangles at the poles.
    points = [(0.0, centre - radius, 0.0)]
    for r in range(1, rings):
        lat = math.pi * r / rings - math.pi / 2
        for s in range(sides):
            lon = 2 * math.pi * s / sides
            points.append((radius * math.cos(lat) * math.cos(lon), centre + radius * math.sin(lat),
                           radius * math.cos(lat) * math.sin(lon)))
    points.append((0.0, centre + radius, 0.0))
    top = len(points) - 1
    ring = lambda r, s: 1 + (r - 1) * sides + s % sides
    # Each polygon's points run clockwise seen from outside, the side LightWave shows.
    polygons = [(0, ring(1, s), ring(1, s + 1)) for s in range(sides)]
    for r in range(1, rings - 1):
        polygons += [(ring(r, s), ring(r + 1, s), ring(r + 1, s + 1), ring(r, s + 1)) for s in range(sides)]
    polygons += [(top, ring(rings - 1, s + 1), ring(rings - 1, s)) for s in range(sides)]
    return points, polygons


def box(cells=12, size=1.0, base=0.2):
    # Six faces of cells x cells quads each; the faces' edge points coincide,
    # as in a box modelled face by face.
    points, polygons = [], []
    h = size / 2
    for axis in range(3):
        for sign in (-1, 1):
            first = len(points)
            for i in range(cells + 1):
                for j in range(cells + 1):
                    u, v = -h + size * i / cells, -h + size * j / cells
                    p = [0.0, 0.0, 0.0]
                    p[axis], p[(axis + 1) % 3], p[(axis + 2) % 3] = sign * h, u, v
                    points.append((p[0], p[1] + h + base, p[2]))
            for i in range(cells):
                for j in range(cells):
                    a = first + i * (cells + 1) + j
                    quad = (a, a + cells + 1, a + cells + 2, a + 1)
                    polygons.append(quad if sign > 0 else quad[::-1])
    return points, polygons


def rope(rings=61, length=3.0, width=0.05):
    # A square tube lying along +X from its pivot at the origin.
    points, polygons = [], []
    h = width / 2
    for r in range(rings):
        x = length * r / (rings - 1)
        points += [(x, -h, -h), (x, h, -h), (x, h, h), (x, -h, h)]
    for r in range(rings - 1):
        for s in range(4):
            a, b = 4 * r + s, 4 * r + (s + 1) % 4
            polygons.append((a, b, b + 4, a + 4))  # clockwise seen from outside
    return points, polygons


def plane(cells=40, size=4.0):
    # A flat grid in X and Z, its middle at the origin.
    points = [(-size / 2 + size * i / cells, 0.0, -size / 2 + size * j / cells)
              for j in range(cells + 1) for i in range(cells + 1)]
    polygons = [(j * (cells + 1) + i, (j + 1) * (cells + 1) + i, (j + 1) * (cells + 1) + i + 1, j * (cells + 1) + i + 1)
                for j in range(cells) for i in range(cells)]
    return points, polygons


def valley(cells=100, size=480.0):
    # A height field in X and Z: a valley running along Z, its floor near
    # altitude 0 and its sides rising to some 50 m, with gentle undulations.
    def height(x, z):
        return min(0.0035 * x * x, 60.0) + 2.0 * math.sin(z / 17.0) + 1.5 * math.cos((x + z) / 23.0) + 1.0
    points = []
    for j in range(cells + 1):
        for i in range(cells + 1):
            x, z = -size / 2 + size * i / cells, -size / 2 + size * j / cells
            points.append((x, height(x, z), z))
    polygons = [(j * (cells + 1) + i, (j + 1) * (cells + 1) + i, (j + 1) * (cells + 1) + i + 1, j * (cells + 1) + i + 1)
                for j in range(cells) for i in range(cells)]
    return points, polygons


def disc(rings=8, sides=64, radius=1.2):
    # A flat disc in X and Y about the origin, rings of quads round a fan of
    # triangles: a rotor disc spinning about +Z.
    points = [(0.0, 0.0, 0.0)]
    for r in range(1, rings + 1):
        for s in range(sides):
            a = 2 * math.pi * s / sides
            points.append((radius * r / rings * math.cos(a), radius * r / rings * math.sin(a), 0.0))
    at = lambda r, s: 1 + (r - 1) * sides + s % sides
    polygons = [(0, at(1, s + 1), at(1, s)) for s in range(sides)]
    for r in range(1, rings):
        polygons += [(at(r, s), at(r, s + 1), at(r + 1, s + 1), at(r + 1, s)) for s in range(sides)]
    return points, polygons


def propeller(blades=3, hub=0.12, tip=1.0, root=0.16, end=0.07, steps=8):
    # Blades in X and Y round the Z axis, each a strip of quads narrowing from
    # root to tip: a propeller that spins in bank, facing a camera on -Z.
    points, polygons = [], []
    for b in range(blades):
        a = 2 * math.pi * b / blades
        c, s = math.cos(a), math.sin(a)
        first = len(points)
        for k in range(steps + 1):
            r = hub + (tip - hub) * k / steps
            w = (root + (end - root) * k / steps) / 2
            points += [(r * c + w * s, r * s - w * c, 0.0), (r * c - w * s, r * s + w * c, 0.0)]
        for k in range(steps):
            i = first + 2 * k
            polygons.append((i, i + 2, i + 3, i + 1))
    return points, polygons


def wheel(sides=24, radius=0.35, width=0.08):
    # A cylinder about the Z axis: a wheel that rolls along X, turning in bank.
    # Thin, since its rolling radius is measured to its outermost rim points.
    points, polygons = [], []
    for z in (-width / 2, width / 2):
        for s in range(sides):
            a = 2 * math.pi * s / sides
            points.append((radius * math.cos(a), radius * math.sin(a), z))
    for s in range(sides):
        n = (s + 1) % sides
        polygons.append((s, n, sides + n, sides + s))
    polygons.append(tuple(range(sides - 1, -1, -1)))
    polygons.append(tuple(range(sides, 2 * sides)))
    return points, polygons


if __name__ == "__main__":
    out = sys.argv[1] if len(sys.argv) > 1 else "."
    lwob(out + "/stalk.lwo", *stalk())
    lwob(out + "/ball.lwo", *ball())
    lwob(out + "/jelly.lwo", *box())
    lwob(out + "/rope.lwo", *rope())
    lwob(out + "/plane.lwo", *plane())
    lwob(out + "/wheel.lwo", *wheel())
    lwob(out + "/studio_ball.lwo", *ball(), surface=("Ball", (220, 90, 40), True, 0.9, 0.6, 64))
    lwob(out + "/studio_crate.lwo", *box(cells=4, size=1.0, base=0.0), surface=("Crate", (60, 110, 200), False, 0.9, 0.2, 16))
    lwob(out + "/propeller.lwo", *propeller(), surface=("Blade", (200, 200, 205), False, 0.8, 0.5, 64, 0.0, True))
    lwob(out + "/rotor_disc.lwo", *disc(), surface=("Prop", (40, 40, 45), False, 0.8, 0.4, 64, 0.0, True))
    lwob(out + "/valley.lwo", *valley(), surface=("Grass", (96, 120, 70), True, 0.9, 0.05, 16))
    lwob(out + "/globe.lwo", *ball(centre=0.0), surface=("Globe", (90, 150, 210), True, 0.9, 0.4, 32))
    lwob(out + "/studio_floor.lwo", *plane(cells=16, size=16.0), surface=("Floor", (190, 185, 170), False, 0.8, 0.0, 16, 0.2))
