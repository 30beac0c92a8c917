// ConstraintSegment2: one constraint edge with its split tree.
#include "ConstraintSegment2.h"

#include <algorithm>
#include <cmath>
#include <ostream>

#include "ConstraintGraph2.h"
#include "ConstraintMgr.h"
#include "Dt2.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
// Process-wide sequence number of constructed segments (single-threaded by design).
int nextSegmentLabel = 0;
constexpr double kUnsetAdjacentArea = 1.7976931348623157e308;
}  // namespace

ConstraintSegment2::ConstraintSegment2(Point2* p0_, Point2* p1_, ConstraintInsertionStrategy cis_)
    : label(nextSegmentLabel++), cis(cis_), p0(p0_), p1(p1_), aChildren{nullptr, nullptr}, adjacentArea(kUnsetAdjacentArea),
      pFirstOwner(nullptr), bFirstOwnerReverse(false), bAlive(true) {
  ZARN_ASSERT(p0<p1);
}

bool ConstraintSegment2::operator<(const ConstraintSegment2& other) const {
  if (p0 != other.p0) return p0 < other.p0;
  return p1 < other.p1;
}

bool* ConstraintSegment2::findReverseFlag(const ConstraintGraph2* pGraph) {
  if (pGraph == nullptr) return nullptr;
  if (pFirstOwner == pGraph) return &bFirstOwnerReverse;
  if (pMoreOwners == nullptr) return nullptr;
  for (Owner& owner : *pMoreOwners) {
    if (owner.pGraph == pGraph) return &owner.bReverse;
  }
  return nullptr;
}

const bool* ConstraintSegment2::findReverseFlag(const ConstraintGraph2* pGraph) const {
  return const_cast<ConstraintSegment2*>(this)->findReverseFlag(pGraph);
}

template <typename Visit>
void ConstraintSegment2::forEachOwner(Visit visit) const {
  if (pFirstOwner == nullptr) return;
  visit(pFirstOwner);
  if (pMoreOwners == nullptr) return;
  for (const Owner& owner : *pMoreOwners) visit(owner.pGraph);
}

void ConstraintSegment2::addOwner(ConstraintGraph2* pOwner) {
  if (findReverseFlag(pOwner) == nullptr) {
    if (pFirstOwner == nullptr) {
      pFirstOwner = pOwner;
      bFirstOwnerReverse = false;
    } else {
      if (pMoreOwners == nullptr) pMoreOwners.reset(new OwnerList());
      Owner entry{pOwner, false};
      if (std::less<ConstraintGraph2*>()(pOwner, pFirstOwner)) {  // the new one goes first
        std::swap(entry.pGraph, pFirstOwner);
        std::swap(entry.bReverse, bFirstOwnerReverse);
      }
      const auto pos(std::lower_bound(pMoreOwners->begin(), pMoreOwners->end(), entry, [](const Owner& a, const Owner& b) {
        return std::less<ConstraintGraph2*>()(a.pGraph, b.pGraph);
      }));
      pMoreOwners->insert(pos, entry);
    }
  }
  if (isAlive() || isSkipped()) return;
  ZARN_ASSERT_TEXT(aChildren[0] != nullptr && aChildren[1] != nullptr, "pKid0!=0 && pKid1!=0");
  aChildren[0]->addOwner(pOwner);
  aChildren[1]->addOwner(pOwner);
}

void ConstraintSegment2::getChildrenAndSplitPoint(ConstraintSegment2*& pKid0, ConstraintSegment2*& pKid1, Point2*& pSplit) {
  if (isAlive()) {
    reportWarning("ConstraintSegment2::getChildrenAndSplitPoint()", "*this is still alive!");
    return;
  }
  if (!hasChildren()) return;  // held dead but never split: there is nothing to report
  pKid0 = aChildren[0];
  pKid1 = aChildren[1];
  pSplit = nullptr;
  const auto isVertexOfKid1 = [pKid1](const Point2* p) { return p == pKid1->p0 || p == pKid1->p1; };
  if (isVertexOfKid1(pKid0->p0)) {
    pSplit = pKid0->p0;
    // Deliberately tested as well: only two children with the same vertex pair reach this.
    if (isVertexOfKid1(pKid0->p1)) pSplit = pKid0->p1;
  } else if (isVertexOfKid1(pKid0->p1)) {
    pSplit = pKid0->p1;
  }
}

void ConstraintSegment2::getChildrenRec(std::vector<ConstraintSegment2*>& vOut) const {
  if (isSkipped()) return;
  ZARN_ASSERT_TEXT(hasChildren(), "vChildren.size()==2");
  for (ConstraintSegment2* pKid : aChildren) {
    if (pKid->isAlive()) {
      vOut.push_back(pKid);
    } else {
      pKid->getChildrenRec(vOut);
    }
  }
}

Dt2* ConstraintSegment2::getOwnerTriangulation() const {
  ZARN_ASSERT_TEXT(pFirstOwner != nullptr, "!sOwners.empty()");
  Dt2* pOwnerDt(pFirstOwner->getDt2());
  ZARN_ASSERT(pOwnerDt!=0);
  return pOwnerDt;
}

void ConstraintSegment2::attachChildren(Dt2* pDt2, Point2* pSplit) {
  ConstraintMgr* pMgr(pDt2->getConstraintMgr());
  aChildren[0] = pMgr->getOrCreateSegment(p0, pSplit, cis);
  aChildren[1] = pMgr->getOrCreateSegment(p1, pSplit, cis);
  forEachOwner([this](ConstraintGraph2* pOwner) {
    aChildren[0]->addOwner(pOwner);
    aChildren[1]->addOwner(pOwner);
  });
  bool bFirstOwner(true);
  forEachOwner([this, &bFirstOwner](ConstraintGraph2* pOwner) {
    pOwner->onSegmentSplit(this, bFirstOwner);
    bFirstOwner = false;
  });
}

Point2* ConstraintSegment2::insertAndSplit(const Point2& p) {
  ZARN_ASSERT(bAlive);
  ZARN_ASSERT_TEXT(!hasChildren(), "vChildren.empty()");
  ZARN_ASSERT_TEXT(pFirstOwner != nullptr, "!sOwners.empty()");
  Dt2* pOwnerDt(getOwnerTriangulation());
  // Held dead while p goes in: the insertion then splits the edge as a plain edge.
  bAlive = false;
  Point2* pSplit(pOwnerDt->insert(p));
  ZARN_ASSERT(pSplit!=0);
  if (pSplit == p0 || pSplit == p1) {
    bAlive = true;
    return nullptr;
  }
  attachChildren(pOwnerDt, pSplit);
  pOwnerDt->legalizeFormerConstraintEdge(p0, p1);
  ConstraintMgr* pMgr(pOwnerDt->getConstraintMgr());
  std::vector<ConstraintSegment2*> vWork(aChildren, aChildren + 2);
  sortByCoordinates(vWork.begin(), vWork.end());
  while (!vWork.empty()) {
    ConstraintSegment2* pCSeg(vWork.back());
    vWork.pop_back();
    if (pCSeg->isAlive()) {
      pMgr->insertSegment(pCSeg);
    } else {
      appendPiecesByCoordinates(pCSeg, vWork);
    }
  }
  pOwnerDt->legalizeAround(pSplit);
  return pSplit;
}

bool ConstraintSegment2::splitAndRemovePrev(const Point2& p) {
  Point2* pSplit(insertAndSplit(p));
  if (pSplit == nullptr) return false;
  ZARN_ASSERT_TEXT(pFirstOwner != nullptr, "!sOwners.empty()");
  const double dx(pSplit->x() - p0->x());
  const double dy(pSplit->y() - p0->y());
  getOwnerTriangulation()->removeInnerVerticesNear(*pSplit, dx * dx + dy * dy);
  return true;
}

bool ConstraintSegment2::split_combinatorialOnly(Point2* pSplit) {
  ZARN_ASSERT(pSplit!=0);
  ZARN_ASSERT(isAlive());
  ZARN_ASSERT(p0!=pSplit && p1!=pSplit);
  ZARN_ASSERT_TEXT(pFirstOwner != nullptr, "!sOwners.empty()");
  attachChildren(getOwnerTriangulation(), pSplit);
  return true;
}

std::ostream& operator<<(std::ostream& stream, const ConstraintSegment2& seg) {
  stream << "ConstraintSegment2 label " << seg.label << ", " << static_cast<const void*>(&seg) << ": ("
         << static_cast<const void*>(seg.p0) << "," << static_cast<const void*>(seg.p1) << ")";
  if (seg.isAlive()) {
    stream << " [alive]" << std::endl;
  } else {
    stream << " [DEAD, numChildren=" << (seg.hasChildren() ? 2u : 0u) << "]" << std::endl;
  }
  const double dx(seg.p1->x() - seg.p0->x());
  const double dy(seg.p1->y() - seg.p0->y());
  stream << *seg.p0 << std::endl << *seg.p1 << std::endl << "length=" << std::sqrt(dx * dx + dy * dy);
  return stream;
}

}  // namespace KORA_ZARN2D
