"""Times zarn2d.triangulate on uniform random points against the same work called from C++
(bench/bench_mesh_arrays) and against scipy.spatial.Delaunay, on the same points in one run.

    python3 python/benchmark.py BUILD_DIR [NUM_POINTS] [REPEATS]

BUILD_DIR must hold python/zarn2d*.so and bench/bench_mesh_arrays (-DZARN_BUILD_PYTHON=ON
-DZARN_BUILD_BENCH=ON). Reports medians."""
import os
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np

build = sys.argv[1]
num_points = int(sys.argv[2]) if len(sys.argv) > 2 else 1_000_000
repeats = int(sys.argv[3]) if len(sys.argv) > 3 else 5
sys.path.insert(0, os.path.join(build, "python"))
import zarn2d  # noqa: E402
from scipy.spatial import Delaunay  # noqa: E402

points = np.random.default_rng(1).random((num_points, 2))
with tempfile.NamedTemporaryFile(suffix=".bin") as f:
    f.write(np.array([20, num_points, 0], dtype="<i4").tobytes() + points.astype("<f8").tobytes())
    f.flush()
    cpp = subprocess.run([os.path.join(build, "bench", "bench_mesh_arrays"), f.name, str(repeats)], capture_output=True, text=True, check=True)
cpp_times = dict(line.rsplit(" ", 1) for line in cpp.stdout.splitlines())


def median_seconds(call):
    times = []
    for _ in range(repeats):
        start = time.perf_counter()
        call()
        times.append(time.perf_counter() - start)
    return statistics.median(times)


ours = median_seconds(lambda: zarn2d.triangulate(points))
scipy = median_seconds(lambda: Delaunay(points))
cpp_arrays = float(cpp_times["insert+arrays"])
print(f"{num_points} points, median of {repeats}:")
print(f"  C++ insert                 {float(cpp_times['insert']):.3f} s")
print(f"  C++ insert + getMeshArrays {cpp_arrays:.3f} s")
print(f"  zarn2d.triangulate         {ours:.3f} s  ({ours / cpp_arrays:.2f}x the C++ call)")
print(f"  scipy.spatial.Delaunay     {scipy:.3f} s  ({scipy / ours:.2f}x zarn2d.triangulate)")
