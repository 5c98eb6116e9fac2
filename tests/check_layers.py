#!/usr/bin/env python3
"""Checks that no library file includes a header of a layer above its own.

Layers, bottom to top: platform, value types, view transform, planar geometry, Bezier segment,
path, path sets, then analysis, raster, effects, layout, draw. Tests may include anything."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
RANKS = [
    (r"plexa/platform/", 0),
    (r"plexa/geom/types\.h$", 1),
    (r"plexa/effects/view3d\.", 2),
    (r"plexa/analysis/(planar|circle)\.", 3),
    (r"plexa/geom/bezier\.|plexa/analysis/nearest\.", 4),
    (r"plexa/geom/(path[._]|shapes)", 5),
    (r"plexa/geom/", 6),
    (r"plexa/analysis/", 7),
    (r"plexa/raster/", 8),
    (r"plexa/effects/", 9),
    (r"plexa/layout/", 10),
    (r"plexa/draw/", 11),
    (r"plexa/plexa\.h$", 12),
]


def rank(path):
    for pattern, r in RANKS:
        if re.search(pattern, path):
            return r
    return None


bad = []
for f in sorted((ROOT / "plexa").rglob("*")):
    if f.suffix not in (".h", ".cpp") or f.name.endswith("_test.cpp"):
        continue
    rel = f.relative_to(ROOT).as_posix()
    own = rank(rel)
    for inc in re.findall(r'#include "(plexa/[^"]+)"', f.read_text()):
        r = rank(inc)
        if own is not None and r is not None and r > own:
            bad.append(f"{rel} includes {inc}, a layer above it")
print("\n".join(bad) if bad else "layering ok")
sys.exit(1 if bad else 0)
