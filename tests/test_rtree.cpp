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

TEST(RTree, ASingleItemIsFoundByEveryBoxMeetingItsBoxOnly) {
  const Item item{RTreeBox{1, 1, 2, 3}};
  RTree<const Item> tree;
  tree.add(&item, 1, 1, 2, 3);
  const std::vector<const Item*> vItem{&item}, vNone;
  EXPECT_EQ(sortedQuery(tree, RTreeBox{1.5, 2, 1.5, 2}), vItem);    // a point inside
  EXPECT_EQ(sortedQuery(tree, RTreeBox{2, 3, 5, 5}), vItem);        // touching at a corner
  EXPECT_EQ(sortedQuery(tree, RTreeBox{-1, 0, 1, 1.5}), vItem);  // touching along the left side
  EXPECT_EQ(sortedQuery(tree, RTreeBox{0, 0, 10, 10}), vItem);      // containing it
  EXPECT_EQ(sortedQuery(tree, RTreeBox{2.5, 1, 3, 3}), vNone);
  EXPECT_EQ(sortedQuery(tree, RTreeBox{1, 3.5, 2, 4}), vNone);
  EXPECT_EQ(tree.getHeight(), 0u);
}

TEST(RTree, ItemsWithTheSameCentreAreAllKeptAndFound) {
  // Equal centres give equal Hilbert keys: none of them may be lost in the packing.
  std::vector<Item> vItems;
  for (int i = 0; i < 9; ++i) vItems.push_back(Item{RTreeBox{5.0 - i, 5.0 - i % 3, 5.0 + i, 5.0 + i % 3}});
  vItems.push_back(Item{RTreeBox{5, 5, 5, 5}});
  vItems.push_back(Item{RTreeBox{5, 5, 5, 5}});
  vItems.push_back(Item{RTreeBox{0, 0, 1, 1}});
  RTree<const Item> tree;
  addAll(tree, vItems);
  const RTreeBox centre{5, 5, 5, 5};
  const std::vector<const Item*> vFound(sortedQuery(tree, centre));
  EXPECT_EQ(vFound.size(), 11u);
  EXPECT_EQ(vFound, bruteForce(vItems, centre));
}

TEST(RTree, ItemsOnOneVerticalLineOrAtOnePointAreFound) {
  // The box of all items has no width (or no extent at all): the Hilbert keys collapse along
  // that axis, the packing must still keep every item.
  for (double height : {0.0, 10.0}) {
    std::vector<Item> vItems;
    for (int i = 0; i < 50; ++i) {
      const double y(height * (i % 7) / 7.0);
      vItems.push_back(Item{RTreeBox{3, y, 3, y + height / 10}});
    }
    RTree<const Item> tree;
    addAll(tree, vItems);
    for (const RTreeBox& q : {RTreeBox{3, 0, 3, 0}, RTreeBox{0, 2, 3, 2}, RTreeBox{3, 5, 4, 20}, RTreeBox{3.5, 0, 4, 10}}) {
      EXPECT_EQ(sortedQuery(tree, q), bruteForce(vItems, q)) << "height " << height << ", query y " << q.ymin;
    }
  }
}

TEST(RTree, AnIndexWithoutItemsFindsNothingAndBuildsNothing) {
  RTree<const Item> tree;
  std::vector<const Item*> vFound;
  tree.query(RTreeBox{-1e300, -1e300, 1e300, 1e300}, vFound);
  EXPECT_TRUE(vFound.empty());
  EXPECT_FALSE(tree.isBuilt());
  // Items can still be added afterwards.
  const Item item{RTreeBox{0, 0, 0, 0}};
  tree.add(&item, 0, 0, 0, 0);
  tree.query(RTreeBox{0, 0, 0, 0}, vFound);
  EXPECT_EQ(vFound.size(), 1u);
}

TEST(RTree, EveryLevelPairsUpTheLevelBelow) {
  // All leaves lie at one depth: the height of n items is ceil(log2(n)).
  std::vector<Item> vItems(1025, Item{RTreeBox{0, 0, 1, 1}});
  for (size_t n : {2u, 3u, 4u, 5u, 1024u, 1025u}) {
    RTree<const Item> tree;
    for (size_t i = 0; i < n; ++i) tree.add(&vItems[i], 0, 0, 1, 1);
    tree.build();
    unsigned expectedHeight(0);
    while ((size_t(1) << expectedHeight) < n) ++expectedHeight;
    EXPECT_EQ(tree.getHeight(), expectedHeight) << n;
    EXPECT_EQ(sortedQuery(tree, RTreeBox{1, 1, 2, 2}).size(), n);
  }
}

TEST(RTree, InvertedBoxesAreRejectedWithTheConditionText) {
  const Item item{RTreeBox{0, 0, 1, 1}};
  RTree<const Item> tree;
  testing::internal::CaptureStdout();
  EXPECT_THROW(tree.add(&item, 1, 0, 0, 1), ZarnException);
  std::string output(testing::internal::GetCapturedStdout());
  EXPECT_NE(output.find("\n      [Zarn2D-Message] Zarn, , ERROR: Condition [ xmin<=xmax failed ]\n"), std::string::npos) << output;
  EXPECT_NE(output.find("kora_locate2/RTree"), std::string::npos) << output;

  testing::internal::CaptureStdout();
  EXPECT_THROW(tree.add(&item, 0, 1, 1, 0), ZarnException);
  output = testing::internal::GetCapturedStdout();
  EXPECT_NE(output.find("Condition [ ymin<=ymax failed ]"), std::string::npos) << output;
  EXPECT_EQ(tree.size(), 0u);
}

TEST(RTree, AddingToABuiltTreeIsAnError) {
  const Item item{RTreeBox{0, 0, 1, 1}};
  RTree<const Item> tree;
  tree.add(&item, 0, 0, 1, 1);
  tree.build();
  testing::internal::CaptureStdout();
  EXPECT_THROW(tree.add(&item, 0, 0, 1, 1), ZarnException);
  testing::internal::GetCapturedStdout();
}
