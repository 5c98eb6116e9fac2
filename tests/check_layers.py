#!/usr/bin/env python3
"""Checks that the library's folders are layers: no file includes a header of a folder above
its own, and private headers (in an internal/ folder) are never reached from a public one.

Folders, bottom to top, as docs/ARCHITECTURE.md describes them."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LAYERS = ["platform", "core", "geom", "raster", "analysis", "effects", "draw", "layout"]


def layer(path):
    parts = path.split("/")
    if len(parts) < 3:
        return len(LAYERS)  # plexa/plexa.h sits above everything
    return LAYERS.index(parts[1]) if parts[1] in LAYERS else None


bad = []
for f in sorted((ROOT / "plexa").rglob("*")):
    if f.suffix not in (".h", ".cpp") or f.name.endswith("_test.cpp"):
        continue
    rel = f.relative_to(ROOT).as_posix()
    own = layer(rel)
    if own is None:
        bad.append(f"{rel} is in a folder that is not a layer")
        continue
    public = f.suffix == ".h" and "/internal/" not in rel
    for inc in re.findall(r'#include "(plexa/[^"]+)"', f.read_text()):
        r = layer(inc)
        if r is not None and r > own:
            bad.append(f"{rel} includes {inc}, a layer above it")
        if public and "/internal/" in inc:
            bad.append(f"public header {rel} includes the private {inc}")
print("\n".join(bad) if bad else "layering ok")
sys.exit(1 if bad else 0)
