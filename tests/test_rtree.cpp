// The static R-tree: queries against a brute-force scan over boxes on a small integer grid (so that
// boxes often touch, coincide or degenerate), the single-item and empty cases, and the rejection of
// inverted boxes.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "RTree.h"
#include "ZarnException.h"
#include "test_support.h"

using namespace KORA_ZARN2D;

namespace {

struct Item {
  RTreeBox box;
};

/// Which items a query should find: closed boxes that share at least one point.
std::vector<const Item*> bruteForce(const std::vector<Item>& vItems, const RTreeBox& q) {
  std::vector<const Item*> vFound;
  for (const Item& item : vItems) {
    const bool bDisjoint(item.box.xmax < q.xmin || q.xmax < item.box.xmin || item.box.ymax < q.ymin || q.ymax < item.box.ymin);
    if (!bDisjoint) vFound.push_back(&item);
  }
  return vFound;
}

std::vector<const Item*> sortedQuery(RTree<const Item>& tree, const RTreeBox& q) {
  std::vector<const Item*> vFound;
  tree.query(q, vFound);
  std::sort(vFound.begin(), vFound.end());
  return vFound;
}

/// A box with corners on the grid 0..gridSize; about a third are points, horizontal or vertical.
RTreeBox randomGridBox(std::mt19937& rng, int gridSize) {
  std::uniform_int_distribution<int> coordinate(0, gridSize), shape(0, 5), extent(0, 3);
  const double x(coordinate(rng)), y(coordinate(rng));
  const int kind(shape(rng));
  const double w(kind == 0 || kind == 1 ? 0.0 : extent(rng));
  const double h(kind == 0 || kind == 2 ? 0.0 : extent(rng));
  return RTreeBox{x, y, x + w, y + h};
}

void addAll(RTree<const Item>& tree, const std::vector<Item>& vItems) {
  for (const Item& item : vItems) tree.add(&item, item.box.xmin, item.box.ymin, item.box.xmax, item.box.ymax);
}

}  // namespace

TEST(RTree, QueriesMatchABruteForceScanOnDegenerateAndTouchingBoxes) {
  std::mt19937 rng(7);
  for (int numItems : {2, 3, 17, 64, 1000}) {
    std::vector<Item> vItems;
    for (int i = 0; i < numItems; ++i) vItems.push_back(Item{randomGridBox(rng, 30)});
    RTree<const Item> tree;
    addAll(tree, vItems);
    for (int q = 0; q < 400; ++q) {
      const RTreeBox queryBox(randomGridBox(rng, 33));
      const std::vector<const Item*> vExpected(bruteForce(vItems, queryBox));
      ASSERT_EQ(sortedQuery(tree, queryBox), vExpected) << "items " << numItems << ", query " << q;
    }
  }
}

// Inverted boxes fail their assertions; a built tree takes no more items.
TEST(RTree, InvertedBoxesAndAddingToABuiltTreeAreRejected) {
  const Item item{RTreeBox{0, 0, 1, 1}};
  RTree<const Item> tree;
  const std::string output(zarn_test::expectFailedCondition("xmin<=xmax", [&] { tree.add(&item, 1, 0, 0, 1); }));
  EXPECT_NE(output.find("kora_locate2/RTree"), std::string::npos) << output;
  zarn_test::expectFailedCondition("ymin<=ymax", [&] { tree.add(&item, 0, 1, 1, 0); });
  EXPECT_EQ(tree.size(), 0u);
  tree.add(&item, 0, 0, 1, 1);
  tree.build();
  zarn_test::outputOfFailedAssertion([&] { tree.add(&item, 0, 0, 1, 1); });
}
