#!/usr/bin/env python3
"""Writes the seed corpora fuzz/corpus/<family>/ from the real data in data/.

A seed is encoded the way fuzz_input.h decodes: raw payload (little-endian
doubles or int32) from the front, control bytes (selectors, counts, flags)
from the back, the back read last byte first. Each recipe below lists what
its target consumes, in order, so real outlines arrive as whole polylines
rather than as noise. Rerun after changing a target's input order:

    python3 fuzz/make_seeds.py
"""
import os
import struct

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DATA = os.path.join(ROOT, "data")
OUT = os.path.join(ROOT, "fuzz", "corpus")


def read_blocks(name, limit=None):
    blocks, cur = [], []
    with open(os.path.join(DATA, name)) as f:
        for line in f:
            line = line.strip()
            if line.startswith("#"):
                continue
            if not line:
                if cur:
                    blocks.append(cur)
                    cur = []
                continue
            x, y = line.split()[:2]
            cur.append((float(x), float(y)))
    if cur:
        blocks.append(cur)
    return blocks[:limit] if limit else blocks


class Seed:
    """Payload grows at the front, control bytes in consumption order."""

    def __init__(self):
        self.front = bytearray()
        self.back = []  # consumed first = last byte of the file

    def byte(self, v):
        self.back.append(v & 0xFF)

    def count(self, v, lo, hi):
        # ConsumeIntegralInRange: as many bytes as the range needs, the first
        # consumed is the most significant; the value is lo + result.
        rng, shift, nbytes = hi - lo, 0, 0
        while shift < 64 and (rng >> shift) > 0:
            nbytes += 1
            shift += 8
        r = v - lo
        for i in reversed(range(nbytes)):
            self.byte(r >> (8 * i))

    def u16(self, v):
        self.count(v, 0, 0xFFFF)

    def flag(self, b):
        self.byte(1 if b else 0)

    def number(self, v):
        self.byte(0)  # raw
        self.front += struct.pack("<d", v)

    def points(self, pts):
        self.u16(len(pts))
        for x, y in pts:
            self.byte(0)  # a new point
            self.number(x)
            self.number(y)

    def int_(self, v):
        self.byte(0)
        self.front += struct.pack("<i", int(v))

    def int_points(self, pts):
        self.u16(len(pts))
        for x, y in pts:
            self.byte(0)
            self.int_(x)
            self.int_(y)

    def data(self):
        # Zero padding between: any control value read beyond the recipe is 0.
        return bytes(self.front) + bytes(16) + bytes(reversed(self.back))


def write(family, name, seed):
    d = os.path.join(OUT, family)
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, name), "wb") as f:
        f.write(seed.data())


def thin(pts, n):
    step = max(1, len(pts) // n)
    return pts[::step][:n]


def outlines():
    """A handful of small real outlines of different kinds."""
    picks = [
        ("coins_chain.xy", 0),
        ("horse_crack.xy", 0),
        ("london_buildings.xy", 3),
        ("nc_counties.xy", 0),
        ("omap_forest_contours.xy", 2),
        ("world_ne110m_countries.xy", 5),
        ("ccitt2_centerlines.xy", 7),
        ("footprints_traced.xy", 1),
    ]
    out = []
    for name, i in picks:
        blocks = read_blocks(name, i + 1)
        out.append((name.split(".")[0], thin(blocks[i], 160)))
    return out


def core(name, pts):
    s = Seed()
    s.points(pts)
    # Lines: a, b, c, p, angle, form (3), rect (4), IsParallel tol, radius.
    a, b, c, p = pts[0], pts[len(pts) // 3], pts[len(pts) // 2], pts[-2]
    for q in (a, b, c, p):
        s.number(q[0]), s.number(q[1])
    s.number(0.5)
    for v in (1.0, -1.0, 0.0):
        s.number(v)
    xs, ys = [q[0] for q in pts], [q[1] for q in pts]
    for v in (min(xs), min(ys), (min(xs) + max(xs)) / 2, (min(ys) + max(ys)) / 2):
        s.number(v)
    s.number(0.1)
    s.number((max(xs) - min(xs)) / 3)
    s.flag(False)
    write("core", name, s)


def polyline(name, pts):
    s = Seed()
    s.points(pts)
    s.number(1.0)  # tolerance
    s.flag(True)
    s.number(20.0)  # chord limit
    s.flag(True)
    write("polyline", name, s)


def polygon(name, rings):
    s = Seed()
    s.count(len(rings) - 1, 0, 6)
    for r in rings[:-1]:
        s.points(r)
    line = rings[-1]
    s.points(line)
    s.points([])
    write("polygon", name, s)


def shape(name, pts):
    s = Seed()
    s.points(pts)
    write("shape", name, s)


def raster(name, pts):
    s = Seed()
    for v in (pts[0][0], pts[0][1], pts[-1][0], pts[-1][1], pts[1][0], pts[1][1]):
        s.int_(v)
    s.flag(False)
    s.count(40, -2, 600)
    s.int_points(pts)
    s.count(2, 0, 5)  # 8 bits a pixel
    s.count(300, 0, 300)
    s.count(300, 0, 300)
    s.flag(True)  # start at the top vertex
    s.count(128, 0, 128)
    write("raster", name, s)


def transform(name, block):
    tfw, rows = block
    s = Seed()
    pts = []
    for col, row, x, y, lon, lat in rows:
        pts += [(col, row), (x, y)]
    s.points(pts)
    for v in (tfw[0], tfw[1], tfw[2], tfw[3], tfw[4], tfw[5]):
        s.number(v)
    write("transform", name, s)


def georef():
    blocks, tfw, rows = [], None, []
    with open(os.path.join(DATA, "georef_geotiffs.txt")) as f:
        for line in f:
            line = line.strip()
            if line.startswith("#"):
                continue
            if not line:
                if tfw:
                    blocks.append((tfw, rows))
                tfw, rows = None, []
                continue
            parts = line.split()
            if parts[0] == "tfw":
                tfw = [float(v) for v in parts[1:7]]
            else:
                rows.append([float(v) for v in parts[:6]])
    if tfw:
        blocks.append((tfw, rows))
    return blocks


def decisiontree():
    # The tree of the unit tests: numeric root, an option node, a second
    # threshold; then the empty list.
    s = Seed()
    s.count(3, 0, 4)
    for index, options in ((2, []), (0, [1, 4, 9]), (1, [])):
        s.count(index, 0, 5)
        s.count(len(options), 0, 4)
        for o in options:
            s.count(o, 0, 8)
        s.flag(True)
    leaf = 0xFFFF
    nodes = [(0, [2.5]), (1, []), (leaf, [3, .2, 7, .8]), (leaf, [1, 1]), (2, [-1.0]),
             (leaf, [2, .5, 5, .5]), (leaf, []), (leaf, [4, .6, 6, .3, 8, .1])]
    s.count(len(nodes), 0, 200)
    for code, vals in nodes:
        s.flag(code == leaf)
        if code != leaf:
            s.count(code, 0, 5)
        s.count(len(vals), 0, 6 if code == leaf else 1)
        for i, v in enumerate(vals):
            if code == leaf and i % 2 == 0:
                s.flag(True)
                s.count(int(v), -2, 70000)
            else:
                s.number(v)
    s.count(4, 0, 8)
    for code, v1, v2 in ((1, 0.0, 1.0), (9, -2.0, 0.0), (4, 0.0, 3.0), (5, 0.0, 0.0)):
        s.count(3, 0, 6)
        s.flag(False), s.count(code, 0, 9)
        s.flag(True), s.number(v1)
        s.flag(True), s.number(v2)
    write("decisiontree", "unit_tree", s)
    write("decisiontree", "empty", Seed())


def rings_seed(family, name, rings, lo, hi, tail=()):
    s = Seed()
    s.count(len(rings), lo, hi)
    for r in rings:
        s.points(r)
    for v in tail:
        s.number(v)
    write(family, name, s)


def polylines(family, name, polys, tail=()):
    """Targets that read one or more polylines, then numbers."""
    s = Seed()
    for p in polys:
        s.points(p)
    for v in tail:
        s.number(v)
    write(family, name, s)


def main():
    shapes = outlines()
    for name, pts in shapes:
        core(name, pts)
        polyline(name, pts)
        shape(name, pts)
    for name, pts in shapes[:4]:
        raster(name, [(round(x), round(y)) for x, y in pts])
    nc = read_blocks("nc_counties.xy", 6)
    polygon("nc_counties", [thin(b, 80) for b in nc[:4]] + [thin(nc[5], 80)])
    horse = read_blocks("horse_crack.xy")
    polygon("horse_holes", [thin(b, 120) for b in horse[:3]] + [thin(shapes[0][1], 60)])
    london = read_blocks("london_buildings.xy", 8)
    polygon("london", [thin(b, 60) for b in london[:6]] + [thin(london[7], 60)])
    for i, block in enumerate(georef()[:4]):
        transform("georef%d" % i, block)
    decisiontree()

    for name, pts in shapes:
        small = thin(pts, 60)
        polylines("rectangle", name, [small])
        polylines("polyortho", name, [small], (0.0, 1.0, 0.5))
        polylines("splines", name, [thin(pts, 40), thin(pts[::-1], 30)], (0.0, 0.0))
        polylines("graph", name, [small])
        polylines("curvefit", name, [small, thin(pts[:20], 10)], (1.0, 0.5))
        polylines("polydir", name, [small, thin(pts[::-1], 40)], (0.1,))
    footprints = read_blocks("footprints_traced.xy", 6)
    for i, b in enumerate(footprints[:4]):
        polylines("polyortho", "footprint%d" % i, [thin(b, 90)], (0.0, 1.0, 0.5))
        polylines("rectangle", "footprint%d" % i, [thin(b, 90)])
    for name, (ra, rb) in (("nc_counties", ([nc[0]], [nc[1]])), ("london", (london[:2], london[2:3])),
                           ("horse", (horse[:2], [outlines()[0][1]]))):
        s = Seed()  # two operands, each a ring count and its rings
        for rings in (ra, rb):
            s.count(len(rings), 1, 3)
            for r in rings:
                s.points(thin(r, 35))
        write("boolean", name, s)
    rings_seed("prepared", "nc_counties", [thin(b, 60) for b in nc[:4]], 1, 4)
    rings_seed("prepared", "horse_holes", [thin(b, 60) for b in horse[:3]], 1, 4)


if __name__ == "__main__":
    main()
