#!/usr/bin/env python3
"""Writes the curved segments of a TrueType font's glyph outlines as cubic Beziers.

Usage: bench/glyph_curves.py FONT.ttf OUT.txt [max_glyphs]

Each output line is one cubic "x0 y0 x1 y1 x2 y2 x3 y3" in font units (DejaVu: 2048 an em).
TrueType outlines are quadratic; each quadratic (P0, Q, P2) is raised exactly to the cubic
(P0, P0 + 2/3 (Q - P0), P2 + 2/3 (Q - P2), P2). Straight segments and composite glyphs are
skipped. Only the standard library is used, so the benchmarks need no extra packages.
"""
import struct
import sys


def tables(data):
    num = struct.unpack_from(">H", data, 4)[0]
    out = {}
    for i in range(num):
        tag, _, off, length = struct.unpack_from(">4sIII", data, 12 + 16 * i)
        out[tag.decode("latin-1")] = (off, length)
    return out


def glyph_contours(glyf, start, end):
    """Contours of one simple glyph as lists of (x, y, on_curve)."""
    if end <= start:
        return []
    ncont = struct.unpack_from(">h", glyf, start)[0]
    if ncont < 0:
        return []  # composite
    p = start + 10
    ends = struct.unpack_from(">%dH" % ncont, glyf, p)
    p += 2 * ncont
    ilen = struct.unpack_from(">H", glyf, p)[0]
    p += 2 + ilen
    npts = ends[-1] + 1 if ncont else 0
    flags = []
    while len(flags) < npts:
        f = glyf[p]
        p += 1
        flags.append(f)
        if f & 8:
            flags.extend([f] * glyf[p])
            p += 1
    coords = []
    for short, same in ((2, 16), (4, 32)):
        v, vals = 0, []
        for f in flags:
            if f & short:
                d = glyf[p]
                p += 1
                v += d if f & same else -d
            elif not f & same:
                v += struct.unpack_from(">h", glyf, p)[0]
                p += 2
            vals.append(v)
        coords.append(vals)
    pts = [(coords[0][i], coords[1][i], bool(flags[i] & 1)) for i in range(npts)]
    out, s = [], 0
    for e in ends:
        out.append(pts[s:e + 1])
        s = e + 1
    return out


def quadratics(contour):
    """(P0, Q, P2) of every curved piece, implied on-curve midpoints inserted."""
    n = len(contour)
    if n < 2:
        return []
    first = next((i for i in range(n) if contour[i][2]), None)
    if first is None:  # all off-curve: start at the midpoint of the first two
        a, b = contour[0], contour[1]
        pts = [((a[0] + b[0]) / 2, (a[1] + b[1]) / 2, True)] + contour[1:] + contour[:1]
    else:
        pts = contour[first:] + contour[:first]
    pts = pts + [pts[0]]
    out, cur, ctrl = [], pts[0][:2], None
    for x, y, on in pts[1:]:
        if on:
            if ctrl is not None:
                out.append((cur, ctrl, (x, y)))
            cur, ctrl = (x, y), None
        else:
            if ctrl is not None:
                mid = ((ctrl[0] + x) / 2, (ctrl[1] + y) / 2)
                out.append((cur, ctrl, mid))
                cur = mid
            ctrl = (x, y)
    return out


def main():
    font, dest = sys.argv[1], sys.argv[2]
    limit = int(sys.argv[3]) if len(sys.argv) > 3 else 400
    data = open(font, "rb").read()
    t = tables(data)
    long_loca = struct.unpack_from(">h", data, t["head"][0] + 50)[0] == 1
    nglyphs = struct.unpack_from(">H", data, t["maxp"][0] + 4)[0]
    loca_off = t["loca"][0]
    glyf = data[t["glyf"][0]:t["glyf"][0] + t["glyf"][1]]

    def loca(i):
        if long_loca:
            return struct.unpack_from(">I", data, loca_off + 4 * i)[0]
        return 2 * struct.unpack_from(">H", data, loca_off + 2 * i)[0]

    count = 0
    with open(dest, "w") as f:
        for g in range(min(nglyphs, limit)):
            for contour in glyph_contours(glyf, loca(g), loca(g + 1)):
                for p0, q, p2 in quadratics(contour):
                    c1 = (p0[0] + 2 / 3 * (q[0] - p0[0]), p0[1] + 2 / 3 * (q[1] - p0[1]))
                    c2 = (p2[0] + 2 / 3 * (q[0] - p2[0]), p2[1] + 2 / 3 * (q[1] - p2[1]))
                    f.write("%.17g %.17g %.17g %.17g %.17g %.17g %.17g %.17g\n"
                            % (p0[0], p0[1], c1[0], c1[1], c2[0], c2[1], p2[0], p2[1]))
                    count += 1
    print("glyph_curves: %d cubics from %d glyphs of %s" % (count, min(nglyphs, limit), font))


if __name__ == "__main__":
    main()
