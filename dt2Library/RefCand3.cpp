// RefCand3: the refinement rules for one triangle (shape, size, growth, protected edges).
#include "RefCand3.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <iostream>
#include <string>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "Visualizer2.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
constexpr double kLargestDouble = 1.7976931348623157e308;
constexpr double kDegreesPerRadian = 57.29577951308232;
// Numbers the debug pictures of all triangulations of the process; never reset.
std::atomic<int> debugPictureCounter(0);

double angleBetweenDegrees(const Point2& apex, const Point2& a, const Point2& b) {
  const double ax(a.x() - apex.x()), ay(a.y() - apex.y());
  const double bx(b.x() - apex.x()), by(b.y() - apex.y());
  const double la(std::sqrt(ax * ax + ay * ay)), lb(std::sqrt(bx * bx + by * by));
  const double cosine((ax / la) * (bx / lb) + (ay / la) * (by / lb));
  return std::acos(std::max(-1.0, std::min(1.0, cosine))) * kDegreesPerRadian;
}
}  // namespace

bool isSplitBlocked(const ConstraintSegment2* pCSeg, const MeshGenParams& params) {
  if (!params.splitConstraints) return true;
  if (params.pLockedConstraints != nullptr && params.pLockedConstraints->count(const_cast<ConstraintSegment2*>(pCSeg)) != 0) return true;
  const double dx(pCSeg->getTrg()->x() - pCSeg->getSrc()->x()), dy(pCSeg->getTrg()->y() - pCSeg->getSrc()->y());
  return 2.0 * params.minEdgeLen > std::sqrt(dx * dx + dy * dy);
}

RefCand3::RefCand3(Dt2* pDt_, Triangle2* pT_, const InputAngleRule* pRule_)
    : pDt(pDt_), pT(pT_), aCorners{pT_->getCorner(0), pT_->getCorner(1), pT_->getCorner(2)}, locCode(kLocNoEdge),
      bSuppressEdgeTest(false), aSqLen{0.0, 0.0, 0.0}, bDebug(false), pRule(pRule_) {}

void RefCand3::setCircumcenter(const Point2& cc, int locCode_) {
  circumcenter = cc;
  locCode = locCode_;
}

bool RefCand3::isSafe(const MeshGenParams& params) {
  if (params.debugLevel == 1) bDebug = true;
  if (needRefinement(params)) return false;
  if (!bSuppressEdgeTest && locCode >= 0 && locCode <= 2) {
    const int m(pT->getMaxIndex());
    if (!pDt->isConstraint(pT, m)) return false;
    if (pDt->getPredicates().getOrientation(*aCorners[incIndexBy1(m)], *aCorners[incIndexBy2(m)], circumcenter) == ORIENTATION2_CW) {
      return false;
    }
    if (locCode != m) {
      reportWarning("RefCand3::isSafe()", "splitIndex!=maxIdx, numeric");
      return false;
    }
  }
  computeSquaredLengths();
  if (needRefinementDueToSize(params)) return true;
  // The angle rule is tested before the exemption: the same answer, and the exemption's lookups
  // are only paid for skinny triangles.
  if (getCosOfMinAngle() <= std::cos(params.minAngleDegree / kDegreesPerRadian)) return false;
  if (pRule != nullptr && pRule->isForcedByInput(pT, params.minAngleDegree)) return false;
  if (bDebug) {
    std::cout << "RefC: minAngle, current=" << getMinAngle() << std::endl;
    writeDebugPicture("_quality25.ps");
  }
  return true;
}

// The law of cosines at the corner opposite the shortest edge.
double RefCand3::getCosOfMinAngle() const {
  const double productOfLonger(std::sqrt(aSqLen[1] * aSqLen[2]));
  if (!(productOfLonger > 0.0)) return 1.0;
  return (aSqLen[1] + aSqLen[2] - aSqLen[0]) / (2.0 * productOfLonger);
}

double RefCand3::getSinSqOfMinAngle() const {
  const double cosine(getCosOfMinAngle());
  return std::max(0.0, 1.0 - cosine * cosine);
}

bool RefCand3::needRefinement(const MeshGenParams& params) const {
  switch (locCode) {
    case kLocNoEdge:
      return false;
    case 0:
    case 1:
    case 2: {
      const ConstraintSegment2* pCSeg(pDt->getConstraintMgr()->getAliveSegment(aCorners[incIndexBy1(locCode)], aCorners[incIndexBy2(locCode)]));
      if (pCSeg == nullptr) return !params.splitConstraints;
      return isSplitBlocked(pCSeg, params);
    }
    case kLocSkip:
      return true;
    default:
      reportError("RefCand3::needRefinement", "bug, unexpected case");
      return true;
  }
}

void RefCand3::computeSquaredLengths() {
  for (int i = 0; i < 3; ++i) {
    const Point2& a(*aCorners[incIndexBy1(i)]);
    const Point2& b(*aCorners[incIndexBy2(i)]);
    const double dx(b.x() - a.x()), dy(b.y() - a.y());
    aSqLen[i] = dx * dx + dy * dy;
  }
  std::sort(aSqLen, aSqLen + 3);
}

bool RefCand3::needRefinementDueToSize(const MeshGenParams& params) {
  MeshGenParams& hostParams(const_cast<MeshGenParams&>(params));  // the host's overrides are not const
  const double maxEdge(hostParams.getMaxEdgeLength(pT));
  const double longest(std::sqrt(aSqLen[2]));
  if (maxEdge < longest) {
    if (bDebug) {
      std::cout << "RefC: sidelength is " << longest << ", allowed: " << maxEdge << std::endl;
      writeDebugPicture("_sidelen.ps");
    }
    return true;
  }
  const double maxArea(hostParams.getMaxTriangleArea(pT));
  if (maxArea < kLargestDouble) {
    const double area(getArea());
    if (maxArea < area) {
      if (bDebug) {
        std::cout << "RefC: area " << area << ", allowed: " << maxArea << std::endl;
        writeDebugPicture("_area.ps");
      }
      return true;
    }
  }
  if (params.growthLimit != kLargestDouble && needRefinementDueToGrowth(params.growthLimit, params.growthMinArea)) {
    if (bDebug) {
      std::cout << "RefC: growth" << std::endl;
      writeDebugPicture("_growth.ps");
    }
    return true;
  }
  return false;
}

double RefCand3::getArea() const {
  const double a(std::sqrt(aSqLen[0])), b(std::sqrt(aSqLen[1])), c(std::sqrt(aSqLen[2]));
  const double s(0.5 * (a + b + c));
  const double product(s * (s - a) * (s - b) * (s - c));
  return product > 0.0 ? std::sqrt(product) : 0.0;
}

bool RefCand3::needRefinementDueToGrowth(double limit, double minArea) {
  if (limit <= 0.0) return false;
  const double ownArea(getArea());
  for (int i = 0; i < 3; ++i) {
    double neighbourArea(0.0);
    if (pDt->isConstraint(pT, i)) {
      neighbourArea = pDt->getConstraintMgr()->getAliveSegment(aCorners[incIndexBy1(i)], aCorners[incIndexBy2(i)])->getAdjacentArea();
      if (neighbourArea == kLargestDouble) continue;
    } else {
      const Triangle2* pForeignT(pT->getOppositeTriangle(i));
      if (pForeignT == nullptr) {
        reportWarning("RefCand3::needRefinementDueToGrowth()", "pForeignT=NULL");
        continue;
      }
      neighbourArea = pForeignT->getArea2D();
    }
    if (neighbourArea != 0.0 && neighbourArea >= minArea && neighbourArea != kLargestDouble && ownArea / neighbourArea > limit) return true;
  }
  return false;
}

double RefCand3::getMinAngle() const {
  double minAngle(180.0);
  for (int i = 0; i < 3; ++i) {
    minAngle = std::min(minAngle, angleBetweenDegrees(*aCorners[i], *aCorners[incIndexBy1(i)], *aCorners[incIndexBy2(i)]));
  }
  return minAngle;
}

void RefCand3::writeDebugPicture(const char* suffix) const {
  const int number(++debugPictureCounter);
  Visualizer2 vis;
  vis.addTriangle(pT, Color(CRED, 0.5), true);
  for (int i = 0; i < 3; ++i) {
    const Triangle2* pNeighbour(pT->getOppositeTriangle(i));
    if (pNeighbour != nullptr) vis.addTriangle(pNeighbour, Color(CGREY, 0.3), false);
  }
  vis.write("need_" + std::to_string(number) + suffix);
}

}  // namespace KORA_ZARN2D
