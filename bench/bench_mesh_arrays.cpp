// The C++ side of the Python benchmark (bench/bench_python.py): triangulates the points of a
// binary point file the way zarn2d.triangulate() does (bulk insertion from a coordinate array,
// then getMeshArrays), and prints the median seconds of the insertion alone and of both.
//   bench_mesh_arrays POINTFILE [REPEATS]
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "Zarn_2D.h"

using namespace KORA_ZARN2D;

namespace {

double seconds(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: bench_mesh_arrays POINTFILE [REPEATS]" << std::endl;
    return 1;
  }
  std::vector<Point2> vPoints;
  if (!readPointsBIN(argv[1], vPoints)) return 1;
  std::vector<double> vCoordinates;
  for (const Point2& p : vPoints) vCoordinates.insert(vCoordinates.end(), {p.x(), p.y()});
  const int numRepeats(argc > 2 ? std::max(1, std::atoi(argv[2])) : 5);
  std::vector<double> vInsert, vArrays;
  for (int r = 0; r < numRepeats; ++r) {
    const auto start(std::chrono::steady_clock::now());
    Zarn_2D dt(static_cast<unsigned int>(vPoints.size() + 3));
    dt.insert(static_cast<int>(vPoints.size()), vCoordinates.data(), nullptr);
    vInsert.push_back(seconds(start));
    std::vector<Triangle2*> vTriangles;
    dt.getTrianglePointers(vTriangles);
    MeshArrays mesh;
    getMeshArrays(dt, vTriangles, static_cast<int32_t>(vPoints.size()), mesh);
    vArrays.push_back(seconds(start));
  }
  std::cout << "insert " << median(vInsert) << "\ninsert+arrays " << median(vArrays) << std::endl;
  return 0;
}
