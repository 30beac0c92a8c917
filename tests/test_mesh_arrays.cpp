// getMeshArrays: index arrays of a triangulation or of a triangle subset, checked against the
// triangulation's own pointers on randomized inputs with duplicates, constraints and removals.
#include <gtest/gtest.h>

#include <vector>

#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;

namespace {

/// Checks every row, triangle, neighbour and piece of mesh against dt for the list vTriangles.
void expectArraysMatch(Zarn_2D& dt, const std::vector<Point2>& vInput, const std::vector<Triangle2*>& vTriangles, const MeshArrays& mesh) {
  auto rowPoint = [&](int32_t row) -> Point2 {
    return row < static_cast<int32_t>(vInput.size()) ? vInput[size_t(row)] : *mesh.vAddedVertices.at(size_t(row) - vInput.size());
  };
  ASSERT_EQ(mesh.vTriangles.size(), 3 * vTriangles.size());
  for (size_t t = 0; t < vTriangles.size(); ++t) {
    for (int i = 0; i < 3; ++i) {
      EXPECT_TRUE(dt2test::sameXY(rowPoint(mesh.vTriangles[3 * t + i]), *vTriangles[t]->getCorner(i))) << t;
      const int32_t n(mesh.vNeighbors[3 * t + i]);
      const Triangle2* pN(vTriangles[t]->getOppositeTriangle(i));
      if (n >= 0) {
        EXPECT_EQ(vTriangles[size_t(n)], pN);
      } else {
        EXPECT_TRUE(pN == nullptr || std::find(vTriangles.begin(), vTriangles.end(), pN) == vTriangles.end());
      }
    }
  }
  std::vector<ConstraintSegment2*> vPieces;
  dt.getAliveConstraintSegments(vPieces);
  ASSERT_EQ(mesh.vSegments.size(), 2 * vPieces.size());
  for (size_t k = 0; k < vPieces.size(); ++k) {
    EXPECT_TRUE(dt2test::sameXY(rowPoint(mesh.vSegments[2 * k]), *vPieces[k]->getSrc()));
    EXPECT_TRUE(dt2test::sameXY(rowPoint(mesh.vSegments[2 * k + 1]), *vPieces[k]->getTrg()));
  }
  for (const Point2* pV : mesh.vAddedVertices) EXPECT_TRUE(pV->getCustomIndex() < 0 || pV->getCustomIndex() >= int(vInput.size()));
}

}  // namespace

TEST(MeshArrays, RowsFollowTheInputAndPositionsFollowTheList) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    std::vector<Point2> vInput(dt2test::randomPoints(300 * seed, seed));
    vInput.push_back(vInput[7]);  // a duplicate keeps its own row
    for (size_t i = 0; i < vInput.size(); ++i) vInput[i].setCustomIndex(int(i));
    Zarn_2D dt;
    std::vector<Point2*> vHandles;
    zarn_test::captureStdout([&] {
      dt.insert(vInput, vHandles);
      std::vector<Segment2> vSegments;
      generateRandomSegments(10, 0.0, 1.0, 0.5, vSegments, seed);  // crossings add vertices
      dt.createConstraint(vSegments, seed % 2 == 0 ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY);
      for (size_t i = 0; i < vHandles.size(); i += 9) {
        if (!dt.isConstraint(vHandles[i])) dt.remove(vHandles[i]);
      }
    });
    ASSERT_TRUE(dt.checkValidity(true, "mesh arrays"));
    std::vector<Triangle2*> vAll;
    dt.getTrianglePointers(vAll);
    MeshArrays mesh;
    getMeshArrays(dt, vAll, int32_t(vInput.size()), mesh);
    EXPECT_FALSE(mesh.vAddedVertices.empty()) << seed;
    expectArraysMatch(dt, vInput, vAll, mesh);
    // A subset in another order: positions follow the subset, neighbours outside it are -1.
    std::vector<Triangle2*> vSubset;
    for (size_t t = vAll.size(); t-- > 0;) {
      if (t % 3 != 0) vSubset.push_back(vAll[t]);
    }
    getMeshArrays(dt, vSubset, int32_t(vInput.size()), mesh);
    expectArraysMatch(dt, vInput, vSubset, mesh);
  }
}
