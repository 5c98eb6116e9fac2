"""The plexa Python module, used as a Python program would use it."""
import math
import os
import threading
import time

import pytest

import plexa

EXAMPLES = os.environ.get("PLEXA_EXAMPLES", os.path.join(os.path.dirname(__file__), "..", "..", "examples"))


def square(x0, y0, side):
    return plexa.Path.polygon([(x0, y0), (x0 + side, y0), (x0 + side, y0 + side), (x0, y0 + side)])


def test_paths_round_trip_and_measure():
    circle = plexa.Path.circle(0, 0, 100)
    assert circle.closed
    assert circle.length == pytest.approx(2 * math.pi * 100, rel=1e-3)
    assert circle.bounds() == pytest.approx((-100, -100, 100, 100), abs=1e-6)
    again = plexa.Path.from_nodes(circle.nodes)
    assert again.nodes == circle.nodes
    pts = circle.flatten(0.5)
    assert all(abs(math.hypot(x, y) - 100) < 0.6 for x, y in pts)
    assert circle.contains((10, 10)) and not circle.contains((99, 99))
    assert circle.reversed().clockwise != circle.clockwise
    with pytest.raises(ValueError):
        circle.flatten(0)


def test_sets_read_outlines_with_holes():
    ring = plexa.PathSet([square(0, 0, 100), square(25, 25, 50).reversed()])
    assert len(ring) == 2 and len(list(ring)) == 2
    assert ring.holes() == [1]
    assert ring.contains((10, 10)) and not ring.contains((50, 50))
    assert ring[-1].nodes == ring[1].nodes
    with pytest.raises(IndexError):
        ring[2]
    assert ring.length == pytest.approx(600)


def test_tracer_finds_a_generated_ring_from_lists_and_arrays():
    size = 60
    rows = [[0 if 10 <= math.hypot(x - 30, y - 30) < 25 else 255 for x in range(size)]
            for y in range(size)]
    traced = plexa.trace(rows)
    assert len(traced) == 2
    shape = plexa.trace(rows, engine="shape")
    assert len(shape) == 2
    with pytest.raises(ValueError):
        plexa.trace(rows, engine="nope")
    assert traced.holes() == [1] or traced.holes() == [0]
    assert traced.contains((30, 12)) and not traced.contains((30, 30))
    np = pytest.importorskip("numpy")
    again = plexa.trace(np.array(rows, dtype=np.uint8))
    assert len(again) == 2
    assert len(plexa.trace(rows, invert=True)) >= 2  # the paper and the hole's disc


def test_centre_lines_follow_a_stroke():
    rows = [[0 if 20 <= x < 180 and 45 <= y < 55 else 255 for x in range(200)] for y in range(100)]
    lines = plexa.centerline(rows)
    assert len(lines) == 1
    pts = lines[0].flatten(0.5)
    assert all(abs(y - 49.5) < 2 for _, y in pts)  # the stroke's middle row
    assert min(x for x, _ in pts) < 30 and max(x for x, _ in pts) > 170


def test_files_and_errors(tmp_path):
    sign = os.path.join(EXAMPLES, "sign.png")
    if os.path.exists(sign):
        assert len(plexa.trace(sign, invert=True)) > 0 or len(plexa.trace(sign)) > 0
    with pytest.raises(FileNotFoundError):
        plexa.trace(str(tmp_path / "missing.png"))
    bad = tmp_path / "bad.png"
    bad.write_bytes(b"not an image")
    with pytest.raises(ValueError):
        plexa.trace(str(bad))
    with pytest.raises(ValueError):
        plexa.trace([[0, 1], [2]])
    with pytest.raises(ValueError):
        plexa.trace([[0]], threshold=300)
    out = tmp_path / "shapes.svg"
    shapes = plexa.PathSet([square(0, 0, 100), plexa.Path.circle(300, 50, 40)])
    plexa.write(shapes, str(out))
    back = plexa.read_svg(str(out))
    assert len(back) == 2
    assert back.bounds() == pytest.approx(shapes.bounds(), abs=0.01)
    for fmt in ("pdf", "eps", "dxf", "plt"):
        plexa.write(shapes, str(tmp_path / ("s." + fmt)))
        assert (tmp_path / ("s." + fmt)).stat().st_size > 0
    with pytest.raises(ValueError):
        plexa.write(shapes, str(tmp_path / "s.unknown"))
    with pytest.raises(FileNotFoundError):
        plexa.read_svg(str(tmp_path / "missing.svg"))


def test_text_and_fitting():
    if not os.path.exists("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"):
        pytest.skip("fonts-dejavu-core is not installed")
    word = plexa.text("Hi", height=100)
    assert len(word) >= 3  # H, the stem and the dot of i
    x0, y0, x1, y1 = word.bounds()
    assert 50 < x1 - x0 < 150 and y1 <= 1e-9  # on the baseline, y down
    with pytest.raises(ValueError):
        plexa.text("x", height=0)
    pts = [(x, 10 * math.sin(x / 10)) for x in range(0, 200)]
    fitted = plexa.fit_curve(pts, tolerance=0.5)
    assert 2 <= len(fitted) < 40
    assert fitted.nodes[0][1] == pts[0] and fitted.nodes[-1][1] == pts[-1]


def test_long_calls_let_other_threads_run():
    size = 900
    rows = [[0 if (x // 9 + y // 9) % 2 else 255 for x in range(size)] for y in range(size)]
    ticks = []
    done = threading.Event()

    def tick():
        while not done.is_set():
            ticks.append(time.perf_counter())
            time.sleep(0.001)

    t = threading.Thread(target=tick)
    t.start()
    start = time.perf_counter()
    for _ in range(3):
        plexa.trace(rows, min_points=4)
    end = time.perf_counter()
    done.set()
    t.join()
    during = [x for x in ticks if start < x < end]
    # The other thread kept ticking while the traces ran (with the GIL held it would stall).
    assert len(during) >= 3


def test_booleans_pick_the_operation_and_fill_rule():
    # The geometry is the library's (its own tests probe it densely); here each name reaches
    # its operation: two overlapping squares probed where only one, both or neither covers.
    a, b = plexa.PathSet([square(0, 0, 40)]), plexa.PathSet([square(20, 20, 40)])
    only_a, both, only_b, none = (10, 10), (30, 30), (50, 50), (50, 10)
    for result, inside in ((plexa.union(a, b), (True, True, True, False)),
                           (plexa.intersection(a, b), (False, True, False, False)),
                           (plexa.difference(a, b), (True, False, False, False)),
                           (plexa.xor(a, b), (True, False, True, False))):
        assert [result.contains(p) for p in (only_a, both, only_b, none)] == list(inside)
    assert len(plexa.union(a, b)) == 1 and not plexa.union(a, b)[0].clockwise
    # Fill rules: two copies of one square are empty under even-odd and filled under non-zero.
    twice = plexa.PathSet([square(0, 0, 40), square(0, 0, 40)])
    assert len(plexa.weld(twice, "evenodd")) == 0 and len(plexa.weld(twice)) == 1
    with pytest.raises(ValueError):
        plexa.weld(twice, fill_rule="odd")


def test_colour_regions_tile_a_generated_picture(tmp_path):
    # A flat picture of two colours written as a binary PPM: a red disc on blue.
    size = 40
    pixels = bytearray()
    for y in range(size):
        for x in range(size):
            pixels += b"\xff\x00\x00" if math.hypot(x - 20, y - 20) < 12 else b"\x00\x00\xff"
    path = tmp_path / "disc.ppm"
    path.write_bytes(b"P6 %d %d 255\n" % (size, size) + bytes(pixels))
    regions = plexa.trace_colours(str(path), colours=2)
    assert [colour for colour, _ in regions] == [(0, 0, 255), (255, 0, 0)]
    assert len(regions[0][1]) == 2 and len(regions[1][1]) == 1  # the blue has the disc as hole
    assert regions[1][1].contains((20, 20)) and not regions[0][1].contains((20, 20))
    assert regions[0][1].contains((2, 2))
    with pytest.raises(ValueError):
        plexa.trace_colours(str(path), colours=1000)
    with pytest.raises(OSError):
        plexa.trace_colours(str(tmp_path / "missing.png"))


def test_nest_places_without_overlap_and_reports_the_rest():
    parts = [plexa.PathSet([square(0, 0, 30)]) for _ in range(5)]
    parts.append(plexa.PathSet([square(0, 0, 500)]))  # larger than the sheet
    r = plexa.nest(parts, width=100, height=50, gap=2)  # three squares a sheet
    assert r["nested"] == 5 and r["sheets"] == 2
    assert r["parts"][5]["status"] == "too large" and r["parts"][5]["paths"] is None
    for p in r["parts"][:5]:  # placed on a sheet (overlaps are the library tests' business)
        x0, y0, x1, y1 = p["paths"].bounds()
        assert p["status"] == "placed" and 0 <= x0 and x1 <= 100 and 0 <= y0 and y1 <= 50
    assert r["fill"] == pytest.approx(5 * 900 / (2 * 100 * 50))
    with pytest.raises(ValueError):
        plexa.nest(parts, width=0, height=70)


def test_edges_follow_a_disc_and_skip_a_flat_picture():
    size = 80
    rows = [[220 if math.hypot(x + 0.5 - 40, y + 0.5 - 40) < 20 else 30 for x in range(size)]
            for y in range(size)]
    for method in ("canny", "isef"):
        found = plexa.edges(rows, method=method)
        assert len(found) >= 1
        for path in found:
            for x, y in path.flatten(0.5):
                assert abs(math.hypot(x - 40, y - 40) - 20) < 7  # a pixel plus the fit's slack
    assert len(plexa.edges([[128] * 30 for _ in range(20)], method="isef")) == 0
    with pytest.raises(ValueError):
        plexa.edges(rows, method="sobel")
    with pytest.raises(ValueError):
        plexa.edges(rows, details=2)


def test_offset_grows_and_shrinks_a_square():
    sq = plexa.PathSet([square(0, 0, 100)])
    grown, mitred = plexa.offset(sq, 10), plexa.offset(sq, 10, join="miter")
    shrunk, gone = plexa.offset(sq, -10), plexa.offset(sq, -60)
    assert len(grown) == 1 and len(shrunk) == 1 and len(gone) == 0
    # (-8, -8) is 11.3 from the corner: outside the round join, inside the miter.
    assert not grown.contains((-8, -8)) and mitred.contains((-8, -8))
    assert shrunk.contains((50, 11)) and not shrunk.contains((50, 9))
    with pytest.raises(ValueError):
        plexa.offset(sq, float("nan"))
    with pytest.raises(ValueError):
        plexa.offset(sq, 1, join="spiky")
