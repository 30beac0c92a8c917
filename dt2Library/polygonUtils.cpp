// Polygon and edge utilities: ordering segments into a ring, the simple-polygon test, chaining
// edges into polygons, and the borders and edges of triangle sets.
#include <algorithm>
#include <cmath>
#include <functional>
#include <unordered_map>
#include <utility>

#include "Edge2.h"
#include "SegmentChecker.h"
#include "ZoneSearch.h"
#include "freeFunctions.h"

namespace KORA_ZARN2D {

namespace {

constexpr size_t kMinRingSize = 3;

// One end of a segment: its position, the segment's index and whether it is the source.
struct SegmentEnd {
  Point2 position;
  size_t segment;
  bool bSource;
};

bool isFinite(const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }

// For every segment end, the index (into vEnds sorted by position) of the other segment's end at
// the same position: partner[k] for end k. False unless every position holds exactly two ends
// of two different, non-degenerate segments.
bool pairEnds(const std::vector<Segment2>& vRing, std::vector<SegmentEnd>& vEnds, std::vector<size_t>& vEndOf) {
  vEnds.clear();
  for (size_t i = 0; i < vRing.size(); ++i) {
    const Segment2& seg(vRing[i]);
    if (!isFinite(seg.getSrc()) || !isFinite(seg.getTrg()) || seg.getSrc() == seg.getTrg()) return false;
    vEnds.push_back(SegmentEnd{seg.getSrc(), i, true});
    vEnds.push_back(SegmentEnd{seg.getTrg(), i, false});
  }
  std::sort(vEnds.begin(), vEnds.end(), [](const SegmentEnd& a, const SegmentEnd& b) { return a.position < b.position; });
  vEndOf.assign(2 * vRing.size(), 0);  // (segment, bSource) -> index in vEnds
  for (size_t k = 0; k < vEnds.size(); k += 2) {
    const bool bPair(vEnds[k].position == vEnds[k + 1].position && vEnds[k].segment != vEnds[k + 1].segment);
    const bool bAlone(k + 2 >= vEnds.size() || vEnds[k + 2].position != vEnds[k].position);
    if (!bPair || !bAlone) return false;
  }
  for (size_t k = 0; k < vEnds.size(); ++k) vEndOf[2 * vEnds[k].segment + (vEnds[k].bSource ? 1 : 0)] = k;
  return true;
}

// The orientation of the ring (sorted, consecutive) at its lexicographically lowest vertex.
Orientation2 orientationAtLowestVertex(const std::vector<Segment2>& vRing) {
  size_t lowest(0);
  for (size_t i = 1; i < vRing.size(); ++i) {
    if (vRing[i].getSrc() < vRing[lowest].getSrc()) lowest = i;
  }
  const Segment2& arriving(vRing[(lowest + vRing.size() - 1) % vRing.size()]);
  return getOrientation2_mt(&arriving.getSrc(), &vRing[lowest].getSrc(), &vRing[lowest].getTrg());
}

// Membership in a set of triangles given as a vector: sorted copy, binary search.
class TriangleMembership {
 public:
  explicit TriangleMembership(const std::vector<Triangle2*>& vTriangles) : vSorted(vTriangles.begin(), vTriangles.end()) {
    std::sort(vSorted.begin(), vSorted.end(), std::less<const Triangle2*>());
  }
  bool operator()(const Triangle2* pT) const { return std::binary_search(vSorted.begin(), vSorted.end(), pT, std::less<const Triangle2*>()); }

 private:
  std::vector<const Triangle2*> vSorted;
};

}  // namespace

// ----- Rings of segments -----

bool sortRing(std::vector<Segment2>& vRing) {
  if (vRing.size() < kMinRingSize) return false;
  std::vector<SegmentEnd> vEnds;
  std::vector<size_t> vEndOf;
  if (!pairEnds(vRing, vEnds, vEndOf)) return false;
  // Walk from segment 0 in its own direction: at each target the partner end names the next
  // segment, entered at that end.
  std::vector<Segment2> vSorted;
  vSorted.reserve(vRing.size());
  size_t current(0);
  bool bForward(true);
  do {
    Segment2 seg(vRing[current]);
    if (!bForward) seg.swapSrcTrg();
    vSorted.push_back(seg);
    const size_t exitEnd(vEndOf[2 * current + (bForward ? 0 : 1)]);
    const SegmentEnd& next(vEnds[exitEnd ^ 1]);  // ends at one position are adjacent: k and k^1
    current = next.segment;
    bForward = next.bSource;
  } while (current != 0 && vSorted.size() <= vRing.size());
  if (vSorted.size() != vRing.size() || !bForward) return false;  // several cycles
  vRing.swap(vSorted);
  return true;
}

bool sortRingCCW(std::vector<Segment2>& vRing) {
  std::vector<Segment2> vSorted(vRing);
  if (!sortRing(vSorted)) return false;
  const Orientation2 ori(orientationAtLowestVertex(vSorted));
  if (ori == ORIENTATION2_COLLINEAR) return false;
  if (ori == ORIENTATION2_CW) {
    std::reverse(vSorted.begin(), vSorted.end());
    for (Segment2& seg : vSorted) seg.swapSrcTrg();
  }
  vRing.swap(vSorted);
  return true;
}

bool isSimplePolygon(std::vector<Segment2>& vSegments) {
  if (!sortRing(vSegments)) return false;
  // Every vertex joins exactly two segments now, so any other contact (a crossing, a vertex on
  // another segment, consecutive segments folding back onto each other) makes it non-simple.
  std::vector<Segment2*> vPointers;
  vPointers.reserve(vSegments.size());
  for (Segment2& seg : vSegments) vPointers.push_back(&seg);
  const SegmentChecker checker(vPointers);
  std::vector<Segment2*> vIllegal;
  checker.getIllegalSegments(false, vIllegal);
  return vIllegal.empty();
}

// ----- Chaining edges -----

// A depth-first walk along unused edges. Reaching a vertex that is already on the path closes a
// polygon (the path's tail from that vertex); a vertex without an unused outgoing edge ends no
// cycle, so the edge that led there is given up. Each edge is pushed and popped once: O(n log n)
// for the sort, O(n) expected for the rest.
void edgesToPolygons(const std::vector<Edge2>& vEdgesIn, std::vector<std::vector<Edge2>>& vvPolygons,
                     std::vector<Edge2>& vRemainingEdges) {
  std::vector<Edge2> vBySource(vEdgesIn);
  std::sort(vBySource.begin(), vBySource.end(),
            [](const Edge2& a, const Edge2& b) { return std::less<const Point2*>()(a.getSrc(), b.getSrc()); });
  std::unordered_map<const Point2*, std::pair<size_t, size_t>> mOutgoing;  // vertex -> [next unused, end) in vBySource
  for (size_t i = 0; i < vBySource.size(); ++i) {
    auto it(mOutgoing.emplace(vBySource[i].getSrc(), std::make_pair(i, i)).first);
    it->second.second = i + 1;
  }
  const auto takeOutgoing = [&](const Point2* pVtx, Edge2& edge) {
    const auto it(mOutgoing.find(pVtx));
    if (it == mOutgoing.end() || it->second.first == it->second.second) return false;
    edge = vBySource[it->second.first++];
    return true;
  };
  std::unordered_map<const Point2*, size_t> mPathPosition;  // path vertex -> index of the path edge leaving it
  std::vector<Edge2> vPath;
  for (const Edge2& startEdge : vBySource) {
    Edge2 edge;
    if (!takeOutgoing(startEdge.getSrc(), edge)) continue;  // used already
    vPath.assign(1, edge);
    mPathPosition.clear();
    mPathPosition[edge.getSrc()] = 0;
    while (!vPath.empty()) {
      const Point2* pTip(vPath.back().getTrg());
      const auto onPath(mPathPosition.find(pTip));
      if (onPath != mPathPosition.end()) {
        const size_t from(onPath->second);
        vvPolygons.emplace_back(vPath.begin() + static_cast<std::ptrdiff_t>(from), vPath.end());
        for (size_t i = from; i < vPath.size(); ++i) mPathPosition.erase(vPath[i].getSrc());
        vPath.resize(from);
        if (vPath.empty()) break;
        continue;
      }
      Edge2 next;
      if (takeOutgoing(pTip, next)) {
        mPathPosition[pTip] = vPath.size();
        vPath.push_back(next);
      } else {
        vRemainingEdges.push_back(vPath.back());
        mPathPosition.erase(vPath.back().getSrc());
        vPath.pop_back();
      }
    }
  }
}

// ----- Edges of triangle sets -----

void getBorders(const std::vector<Triangle2*>& vTriangles, std::vector<Segment2>& vBorderSegments) {
  forEachBorderEdge(vTriangles, TriangleMembership(vTriangles), [&vBorderSegments](Triangle2* pT, int i) {
    vBorderSegments.emplace_back(*pT->getCorner(incIndexBy1(i)), *pT->getCorner(incIndexBy2(i)));
  });
}

void getDirectedEdges(const std::vector<Triangle2*>& vTriangles, std::vector<Edge2>& vDirectedEdges) {
  vDirectedEdges.reserve(vDirectedEdges.size() + 3 * vTriangles.size());
  for (Triangle2* pT : vTriangles) {
    for (int i = 0; i < 3; ++i) vDirectedEdges.emplace_back(pT, i);
  }
}

void getUndirectedEdges(const std::vector<Triangle2*>& vTriangles, std::vector<Edge2>& vUndirectedEdges) {
  const TriangleMembership isMember(vTriangles);
  for (Triangle2* pT : vTriangles) {
    for (int i = 0; i < 3; ++i) {
      const Triangle2* pN(pT->getOppositeTriangle(i));
      // An inner edge is taken from its lower-address triangle only.
      if (pN == nullptr || std::less<const Triangle2*>()(pT, pN) || !isMember(pN)) vUndirectedEdges.emplace_back(pT, i);
    }
  }
}

}  // namespace KORA_ZARN2D
