// RTree: a static bounding-box index, packed bottom-up in Hilbert order of the box centres.
#pragma once

#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include "HC2.h"
#include "SimplePool.h"
#include "tools.h"

namespace KORA_ZARN2D {

/// A closed axis-parallel box. Degenerate boxes (a point, a horizontal or a vertical segment) are
/// valid boxes; the empty box has its minimum above its maximum.
struct RTreeBox {
  double xmin, ymin, xmax, ymax;

  /// The box that contains nothing and grows to the first box it is extended by.
  static RTreeBox empty() { return RTreeBox{DBL_MAX, DBL_MAX, -DBL_MAX, -DBL_MAX}; }
  /// True when the two closed boxes share a point: boxes that only touch meet. The four
  /// comparisons are combined without branches: in a query their outcomes are hard to predict.
  bool meets(const RTreeBox& other) const {
    return static_cast<bool>(static_cast<int>(xmin <= other.xmax) & static_cast<int>(other.xmin <= xmax) &
                             static_cast<int>(ymin <= other.ymax) & static_cast<int>(other.ymin <= ymax));
  }
  /// Grows this box to contain other.
  void extend(const RTreeBox& other) {
    xmin = std::min(xmin, other.xmin);
    ymin = std::min(ymin, other.ymin);
    xmax = std::max(xmax, other.xmax);
    ymax = std::max(ymax, other.ymax);
  }
};

/// A static R-tree over items of type T, each given by a pointer and its box.
///
/// Items are added first; the tree is then packed bottom-up (the first query does it): the leaves
/// in Hilbert order of their box centres, each inner node over a run of two consecutive nodes of
/// the level below. Hilbert packing keeps sibling boxes small without split heuristics (Kamel and
/// Faloutsos, "On packing R-trees", 1993). Because every level pairs up the whole level below, all
/// leaves lie at the same depth, so a query knows from the depth alone where the leaves are.
///
/// Nodes come from two pools that are freed with the tree; a pool that cannot get memory ends the
/// process. The tree is never updated after it has been built. Not synchronised.
template <class T>
class RTree {
 public:
  RTree() : box(RTreeBox::empty()), pRoot(nullptr), height(0) {
    leafPool.init(kFirstPoolBlockSize, maxPoolBlockSize<LeafNode>());
    innerPool.init(kFirstPoolBlockSize, maxPoolBlockSize<InnerNode>());
  }
  RTree(const RTree&) = delete;
  RTree& operator=(const RTree&) = delete;

  /// Adds an item with its box; amortised O(1). The box must satisfy xmin <= xmax and
  /// ymin <= ymax (a NaN fails as well), and items can only be added before the tree is built;
  /// violations fail an assertion (ZarnException).
  void add(T* pItem, double xmin, double ymin, double xmax, double ymax) {
    ZARN_ASSERT(xmin<=xmax);
    ZARN_ASSERT(ymin<=ymax);
    ZARN_ASSERT(!isBuilt());
    const RTreeBox itemBox{xmin, ymin, xmax, ymax};
    vPending.push_back(PendingItem{pItem, itemBox, 0});
    box.extend(itemBox);
  }

  /// Packs the tree: one sort of the Hilbert keys plus linear passes, O(n log n). Does nothing
  /// when the tree is built already or has no items. Called by the first query.
  void build() {
    if (isBuilt() || vPending.empty()) return;
    if (pHC == nullptr) pHC.reset(new HC2(box.xmin, box.ymin, box.xmax, box.ymax, kHilbertBitLength));
    sortPendingItemsByKey();
    std::vector<const Node*> vLevel(createLeaves());
    height = 0;
    while (vLevel.size() > 1) {
      vLevel = createParentLevel(vLevel);
      ++height;
    }
    pRoot = vLevel.front();
  }

  /// Appends to vOut every item whose box meets the query box (touching counts), in leaf order.
  /// Builds the tree first if necessary; an index without items finds nothing and builds nothing.
  /// Visits only the nodes whose boxes meet the query box.
  void query(const RTreeBox& queryBox, std::vector<T*>& vOut) {
    build();
    if (pRoot != nullptr && pRoot->box.meets(queryBox)) collect(pRoot, height, queryBox, vOut);
  }

  /// Calls visit(pItem, box) for every item, in leaf order once the tree is built (and in the
  /// order of addition before). Items that follow each other in leaf order lie close together, so
  /// queries issued in this order find the nodes they need in the cache.
  template <class Visitor>
  void forEachItem(Visitor visit) const {
    for (const PendingItem& item : vPending) visit(item.pItem, item.box);
  }

  /// The number of items added.
  size_t size() const { return vPending.size(); }
  /// True once the tree has been packed (never for an index without items).
  bool isBuilt() const { return pRoot != nullptr; }
  /// The number of inner levels above the leaves: 0 for a single item, ceil(log2(n)) for n items.
  unsigned getHeight() const { return height; }

 private:
  struct PendingItem {
    T* pItem;
    RTreeBox box;
    uint32_t key;  // Hilbert key of the box centre, set by build()
  };
  struct Node {
    RTreeBox box;
  };
  struct LeafNode : Node {
    T* pItem;
  };
  struct InnerNode : Node {
    const Node* apChild[2];  // the second is null for the last node of an odd level
  };

  static constexpr int32_t kFirstPoolBlockSize = 2;
  static constexpr unsigned kHilbertBitLength = 30;

  // Sorting 64-bit words (key above, position below) is much cheaper than sorting whole records,
  // and the position breaks ties so that the packing does not depend on the sort's stability.
  // The pending items are then permuted into key order, which is the leaf order.
  void sortPendingItemsByKey() {
    std::vector<uint64_t> vKeyAndPosition(vPending.size());
    for (size_t i = 0; i < vPending.size(); ++i) {
      const RTreeBox& itemBox(vPending[i].box);
      vPending[i].key = pHC->getKey((itemBox.xmin + itemBox.xmax) / 2, (itemBox.ymin + itemBox.ymax) / 2);
      vKeyAndPosition[i] = (static_cast<uint64_t>(vPending[i].key) << 32) | i;
    }
    std::sort(vKeyAndPosition.begin(), vKeyAndPosition.end());
    std::vector<PendingItem> vSorted;
    vSorted.reserve(vPending.size());
    for (uint64_t keyAndPosition : vKeyAndPosition) vSorted.push_back(vPending[static_cast<uint32_t>(keyAndPosition)]);
    vPending.swap(vSorted);
  }

  std::vector<const Node*> createLeaves() {
    std::vector<const Node*> vLeaves;
    vLeaves.reserve(vPending.size());
    for (const PendingItem& item : vPending) vLeaves.push_back(new (leafPool.alloc()) LeafNode{{item.box}, item.pItem});
    return vLeaves;
  }

  std::vector<const Node*> createParentLevel(const std::vector<const Node*>& vChildren) {
    std::vector<const Node*> vParents;
    vParents.reserve((vChildren.size() + 1) / 2);
    for (size_t i = 0; i < vChildren.size(); i += 2) {
      const Node* pFirst(vChildren[i]);
      const Node* pSecond(i + 1 < vChildren.size() ? vChildren[i + 1] : nullptr);
      RTreeBox parentBox(pFirst->box);
      if (pSecond != nullptr) parentBox.extend(pSecond->box);
      vParents.push_back(new (innerPool.alloc()) InnerNode{{parentBox}, {pFirst, pSecond}});
    }
    return vParents;
  }

  // pNode's box meets the query box; level 0 is the leaf level.
  void collect(const Node* pNode, unsigned level, const RTreeBox& queryBox, std::vector<T*>& vOut) const {
    if (level == 0) {
      vOut.push_back(static_cast<const LeafNode*>(pNode)->pItem);
      return;
    }
    for (const Node* pChild : static_cast<const InnerNode*>(pNode)->apChild) {
      if (pChild != nullptr && pChild->box.meets(queryBox)) collect(pChild, level - 1, queryBox, vOut);
    }
  }

  std::vector<PendingItem> vPending;
  SimplePool<LeafNode> leafPool{kRTreePoolMessageThreshold, POOL_OOM_EXIT};
  SimplePool<InnerNode> innerPool{kRTreePoolMessageThreshold, POOL_OOM_EXIT};
  RTreeBox box;                // box of all items
  std::unique_ptr<HC2> pHC;    // created by the first build, over the box of all items
  const Node* pRoot;
  unsigned height;             // inner levels above the leaves
};

}  // namespace KORA_ZARN2D
