#pragma once

#include <string>
#include <utility>
#include <vector>

#include "MsgBase.h"
#include "Point2.h"
#include "Segment2.h"

/// How two segments meet. A plain enumeration at global scope, so that the SIT_ values can be used
/// without the namespace.
enum SegmentIntersectionType {
  SIT_UNINITIALIZED = 0,  ///< not (yet) classified
  SIT_NONE = 1,           ///< no common point
  SIT_SEGMENT = 2,        ///< they overlap in a segment of positive length (or are the same segment)
  SIT_POINT = 3,          ///< one common point that is not an endpoint of both: a proper crossing or a "T"
  SIT_ENDPOINT = 4        ///< the only common point is an endpoint of both segments
};

namespace KORA_ZARN2D {

struct SegmentCheckerData;

/// Finds the segments of a set that intersect each other, so that input can be cleaned before it
/// is inserted as constraints.
///
/// Every decision is exact (orientation predicates with a floating-point filter and a rational
/// fallback). Candidate pairs come from an R-tree over the segments' boxes built by the
/// constructor, so checking n segments costs O(n log n) plus the work for the pairs whose boxes
/// meet. The segments stay owned by the caller and must outlive the checker; the checker keeps
/// their pointers and their order (a segment's index is its position in the constructor's
/// vector). Not safe for concurrent use.
class ZARN2D_EXPORT SegmentChecker {
 public:
  /// An empty checker.
  SegmentChecker();
  /// Indexes the segments; O(n log n). Null pointers and segments with a non-finite coordinate
  /// keep their index but are not checked (one warning gives their number).
  explicit SegmentChecker(const std::vector<Segment2*>& vSegments);
  ~SegmentChecker();
  SegmentChecker(const SegmentChecker&) = delete;
  SegmentChecker& operator=(const SegmentChecker&) = delete;

  /// The number of segments given to the constructor.
  unsigned getNumberOfSegments() const;
  /// The segment with index i: the caller's pointer, as given to the constructor. An index out of
  /// range fails an assertion (ZarnException).
  Segment2* getSegment(unsigned i) const;
  /// The index of pSegment (its first position if it was given twice). A segment that is not
  /// there is reported ("No such segment") and -1 is returned. The first call builds a table
  /// (O(n)), later calls cost O(1).
  int getIndex(Segment2* pSegment) const;

  /// Classifies how the two segments meet, exactly; the result does not depend on the argument
  /// order or on the direction of the segments. The segments need not belong to the checker.
  /// O(1): up to four orientation tests. A null segment or a non-finite coordinate is reported
  /// and gives SIT_UNINITIALIZED.
  SegmentIntersectionType getIntersectionType(const Segment2* pSeg0, const Segment2* pSeg1) const;
  /// "SIT_UNINITIALIZED", "SIT_NONE", "SIT_SEGMENT", "SIT_POINT", "SIT_ENDPOINT", or "UNKNOWN SIT".
  static std::string getIntersectionTypeString(SegmentIntersectionType sit);

  /// Replaces the content of vIllegalSegmentsOut by the segments that intersect another one
  /// (SIT_POINT or SIT_SEGMENT; SIT_ENDPOINT too with bAlsoEndPointIntersections), each once and in
  /// index order. One index query per segment plus one classification per pair of segments whose
  /// boxes meet (pairs of two segments already known to be illegal are skipped). Reports progress
  /// to receivers subscribed to MSG_PROGRESS.
  void getIllegalSegments(bool bAlsoEndPointIntersections, std::vector<Segment2*>& vIllegalSegmentsOut) const;
  /// Appends to vIntersectorsOut the checked segments (other than pTestSegment itself) that
  /// intersect pTestSegment, with the type of each intersection, in index order.
  /// pTestSegment need not belong to the checker. A null or non-finite test segment is reported and
  /// gives an empty result. O(log n) plus the candidates whose boxes meet its box.
  void getIntersectors(Segment2* pTestSegment, bool bAlsoEndPointIntersections,
                       std::vector<std::pair<Segment2*, SegmentIntersectionType>>& vIntersectorsOut) const;

  /// For two segments of type SIT_POINT, sets out to their common point and returns true: the
  /// exact point when it is representable (an endpoint on the other segment always is), else the
  /// exact crossing rounded to the nearest doubles. SIT_ENDPOINT, any other type, or a type the
  /// two segments do not have, is reported and returns false with out unchanged.
  bool getIntersectionPoint(SegmentIntersectionType sit, const Segment2& seg0, const Segment2& seg1, Point2& out) const;
  /// For two collinear segments that overlap, sets out to the common part (directed like seg0; a
  /// single point when they only touch) and returns true. Non-collinear segments are reported and
  /// return false; collinear segments without a common point return false silently.
  bool getIntersectionSegment(const Segment2& seg0, const Segment2& seg1, Segment2& out) const;

  /// Draws all segments to a PostScript file (SVG for a ".svg" name) and prints their number.
  void showSegments(const std::string& filename) const;
  /// Draws the legal segments in black and the illegal ones (as getIllegalSegments decides) in red,
  /// and prints the numbers of all, illegal and legal segments.
  void showIllegalSegments(bool bAlsoEndPointIntersections, const std::string& filename) const;

  /// Registers a receiver for messages of msgType, once per (type, receiver) pair. The receiver is
  /// not owned: keep it alive while it is subscribed.
  void subscribe(MsgType msgType, MsgBase* pMsg);
  /// Removes the receiver from msgType; unknown receivers are ignored. Reported ("No publisher
  /// present") when nobody ever subscribed.
  void unsubscribe(MsgType msgType, MsgBase* pMsg);

 private:
  void addSegments(const std::vector<Segment2*>& vSegments);

  SegmentCheckerData* pSCD;
};

}  // namespace KORA_ZARN2D
