"""Times zarn2d.triangulate on uniform random points against the same work called from C++
(bench/bench_mesh_arrays: bulk insertion plus getMeshArrays) and against scipy.spatial.Delaunay,
on the same points. The three run in turn in every round, so that a busy machine slows them
alike; the medians of the rounds are reported.

    python3 bench/bench_python.py BUILD_DIR [NUM_POINTS] [ROUNDS]

BUILD_DIR must hold python/zarn2d*.so and bench/bench_mesh_arrays (-DZARN_BUILD_PYTHON=ON
-DZARN_BUILD_BENCH=ON)."""
import os
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np

build = sys.argv[1]
num_points = int(sys.argv[2]) if len(sys.argv) > 2 else 1_000_000
rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 5
sys.path.insert(0, os.path.join(build, "python"))
import zarn2d  # noqa: E402
from scipy.spatial import Delaunay  # noqa: E402

points = np.random.default_rng(1).random((num_points, 2))


def seconds(call):
    start = time.perf_counter()
    result = call()
    elapsed = time.perf_counter() - start
    del result
    return elapsed


times = {"cpp_insert": [], "cpp": [], "python": [], "scipy": []}
with tempfile.NamedTemporaryFile(suffix=".bin") as f:
    f.write(np.array([20, num_points, 0], dtype="<i4").tobytes() + points.astype("<f8").tobytes())
    f.flush()
    for _ in range(rounds):
        # The C++ calls run three times in their process (median): warm, as the Python calls are.
        cpp = subprocess.run([os.path.join(build, "bench", "bench_mesh_arrays"), f.name, "3"], capture_output=True, text=True, check=True)
        cpp_times = dict(line.rsplit(" ", 1) for line in cpp.stdout.splitlines())
        times["cpp_insert"].append(float(cpp_times["insert"]))
        times["cpp"].append(float(cpp_times["insert+arrays"]))
        times["python"].append(seconds(lambda: zarn2d.triangulate(points)))
        times["scipy"].append(seconds(lambda: Delaunay(points)))

m = {key: statistics.median(values) for key, values in times.items()}
print(f"{num_points} points, median of {rounds} rounds:")
print(f"  C++ insert                 {m['cpp_insert']:.3f} s")
print(f"  C++ insert + getMeshArrays {m['cpp']:.3f} s")
print(f"  zarn2d.triangulate         {m['python']:.3f} s  ({m['python'] / m['cpp']:.2f}x the C++ call)")
print(f"  scipy.spatial.Delaunay     {m['scipy']:.3f} s  ({m['scipy'] / m['python']:.2f}x zarn2d.triangulate)")
print("  per round (C++, Python, scipy): " + ", ".join(f"{c:.2f}/{p:.2f}/{s:.2f}" for c, p, s in zip(times["cpp"], times["python"], times["scipy"])))
