#!/usr/bin/env python3
"""The Python module's cost per call: a small operation (the length of a four-segment circle)
called from Python, against the same call repeated inside C++ in the same process; medians of
seven rounds. With pyclipper installed (Debian python3-pyclipper), the union of overlapping
squares is timed in both when the module has boolean operations."""
import statistics
import time

import plexa

ROUNDS = 7
N = 200_000


def median_per_call(fn, n):
    times = []
    for _ in range(ROUNDS):
        t0 = time.perf_counter()
        fn(n)
        times.append((time.perf_counter() - t0) / n)
    return statistics.median(times)


circle = plexa.Path.circle(0, 0, 100)


def py_loop(n):
    for _ in range(n):
        circle.length


def cpp_loop(n):
    plexa._length_loop(circle, n)


py = median_per_call(py_loop, N)
cpp = median_per_call(cpp_loop, N)
print(f"Path.length from Python: {py * 1e9:.0f} ns a call; in C++: {cpp * 1e9:.0f} ns a call; "
      f"overhead {(py - cpp) * 1e9:.0f} ns ({py / cpp:.2f}x)")

try:
    import pyclipper
except ImportError:
    pyclipper = None
if pyclipper is None or not hasattr(plexa, "union"):
    print("pyclipper comparison: skipped (pyclipper or plexa.union missing)")
else:
    squares = [[(i * 7, j * 7), (i * 7 + 10, j * 7), (i * 7 + 10, j * 7 + 10), (i * 7, j * 7 + 10)]
               for i in range(30) for j in range(30)]
    paths = plexa.PathSet([plexa.Path.polygon(s) for s in squares])

    def ours(n):
        for _ in range(n):
            plexa.union(paths)

    def theirs(n):
        for _ in range(n):
            pc = pyclipper.Pyclipper()
            pc.AddPaths(squares, pyclipper.PT_SUBJECT, True)
            pc.Execute(pyclipper.CT_UNION, pyclipper.PFT_NONZERO, pyclipper.PFT_NONZERO)

    a, b = median_per_call(ours, 5), median_per_call(theirs, 5)
    print(f"union of 900 squares: plexa {a * 1e3:.2f} ms, pyclipper {b * 1e3:.2f} ms ({a / b:.2f}x)")
