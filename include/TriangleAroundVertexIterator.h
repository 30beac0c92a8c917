#pragma once

#include "Triangle2.h"

namespace KORA_ZARN2D {

/// Walks the triangles incident to one vertex.
///
/// `++` turns counterclockwise around the centre vertex, `--` clockwise. Around an inner vertex
/// the walk is a cycle. Around a vertex on the convex hull the star has a gap: stepping over the
/// last triangle on one side makes the current triangle null (the gap), and the next step in the
/// same direction continues from the outermost triangle on the other side. So around a hull
/// vertex with k incident triangles, k+1 steps in one direction return to the start and pass the
/// gap once. A step against the direction that led into the gap returns to the triangle the
/// iterator came from: `--` undoes `++` everywhere, and vice versa.
///
/// Each step costs a few pointer comparisons; a step out of the gap walks once around the star.
/// The iterator does not own anything; it is invalidated when the triangulation changes the star.
class ZARN2D_EXPORT TriangleAroundVertexIterator {
 public:
  /// Starts at the incident triangle of pVtx. A vertex without an incident triangle (not part of
  /// a triangulation, or a null pointer) fails an assertion and throws ZarnException.
  explicit TriangleAroundVertexIterator(const Point2* pVtx);
  /// Starts at pStartT, which must be a (non-null) triangle with corner pVtx; otherwise an
  /// assertion fails and ZarnException is thrown.
  TriangleAroundVertexIterator(Point2* pVtx, Triangle2* pStartT);

  /// The current triangle; null while the iterator stands in the border gap.
  Triangle2* operator*() const { return pCurrentT; }
  /// Moves to the next triangle counterclockwise (or out of the gap).
  TriangleAroundVertexIterator& operator++();
  /// Moves to the next triangle clockwise (or out of the gap).
  TriangleAroundVertexIterator& operator--();
  /// As `++`, returning the iterator as it was before the step.
  TriangleAroundVertexIterator operator++(int);
  /// As `--`, returning the iterator as it was before the step.
  TriangleAroundVertexIterator operator--(int);

  /// The triangle that `++` would make current (null if that is the gap); does not move.
  Triangle2* previewNextTriangle() const;
  /// The triangle that `--` would make current (null if that is the gap); does not move.
  Triangle2* previewPrevTriangle() const;

  /// Same centre vertex and same current triangle.
  bool operator==(const TriangleAroundVertexIterator& other) const {
    return pVtx == other.pVtx && pCurrentT == other.pCurrentT;
  }
  /// Negation of ==.
  bool operator!=(const TriangleAroundVertexIterator& other) const { return !(*this == other); }

 protected:
  /// Where a step out of the gap lands: from the last real triangle (pPrevT) turn against the
  /// stepping direction (clockwise for `++`, counterclockwise for `--`) until the border; the
  /// outermost triangle reached. A star without border fails an assertion (corrupt topology).
  Triangle2* loop(bool bCounterclockwiseStep) const;
  /// The neighbour of pT around the centre in the given direction, or null at the border.
  Triangle2* neighbourAround(const Triangle2* pT, bool bCounterclockwise) const;
  /// Where a step in the given direction lands from the current state.
  Triangle2* stepTarget(bool bCounterclockwise) const;
  void step(bool bCounterclockwise);

  const Point2* pVtx;
  Triangle2* pCurrentT;
  Triangle2* pPrevT;
};

}  // namespace KORA_ZARN2D
