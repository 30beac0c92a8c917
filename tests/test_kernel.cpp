// The small pieces under the triangulation: Vector2 and Bbox2, Triangle2 measures and
// circumcentres, Edge2 and the walk around the star of a vertex, console messages, assertions, the
// log file and the named stopwatch, the memory pool, Hilbert keys, the static R-tree, and the
// facade's thread count, timing helper and message subscription.

#include <limits>
#include <memory>
#include <thread>
#include <tuple>

#include "Bbox2.h"
#include "BlockCache.h"
#include "Dt2.h"
#include "Edge2.h"
#include "HC2.h"
#include "RTree.h"
#include "SimplePool.h"
#include "TriangleAroundVertexIterator.h"
#include "dt2_test_support.h"
#include "file_test_support.h"
#include "tools.h"

using namespace KORA_ZARN2D;
using zarn_test::captureStdout;
using zarn_test::warned;

namespace {

// ----- Vector2, Bbox2 --------------------------------------------------------------------------

std::vector<double> boundsOf(const Bbox2& box) { return {box.get_minX(), box.get_minY(), box.get_maxX(), box.get_maxY()}; }

TEST(Vector2, ArithmeticNormalizeAndTheLeftUnitNormal) {
  const Vector2 a(3, 4), b(-1, 2);
  EXPECT_EQ((a + b).x() + (a - b).y() + (-a).x() + (2.0 * a).y() + (a * 2.0).x() + (a / 2.0).x(), 2 + 2 - 3 + 8 + 6 + 1.5);
  EXPECT_EQ(a * b + 10 * a.length() + 100 * a.sqLength(), 5 + 50 + 2500);
  EXPECT_TRUE(Vector2(-0.0, 0.0).isDegenerate() && !Vector2(0, 1e-300).isDegenerate());
  Vector2 result(1, 1);
  EXPECT_EQ(captureStdout([&result] { result = normalize(Vector2(0, 0)); }), "warning: normalize(const Vector2& other), Null length vector!\n");
  EXPECT_TRUE(result.isDegenerate() && Vector2(0, 0).orthogonalVector().isDegenerate() && normalize(Vector2(0, -4)).y() == -1);
  std::mt19937_64 engine(7);
  std::uniform_real_distribution<double> coordinate(-1e6, 1e6);
  for (int i = 0; i < 1000; ++i) {
    const Vector2 v(coordinate(engine), coordinate(engine)), normal(v.orthogonalVector());
    EXPECT_TRUE(std::abs(normal.length() - 1.0) <= 1e-15 && std::abs(normal * v) <= 1e-9 * v.length()) << v.x() << " " << v.y();
    const Point2 origin(0, 0), tip(v.x(), v.y()), normalTip(normal.x(), normal.y());
    EXPECT_EQ(getOrientation2(&origin, &tip, &normalTip), ORIENTATION2_CCW);
  }
}

// add() tells whether the box changed; bounds set before the first point stay; merging, the
// centre and the intersection warn about invalid boxes.
TEST(Bbox2, AddsMergesAndWarningsAboutInvalidBoxes) {
  Bbox2 box, bulk, preset, invalid, result, empty;
  const double kLargest(std::numeric_limits<double>::max()), coordinates[] = {1, 2, -1, 4};
  EXPECT_TRUE(!box.isValid() && boundsOf(box) == (std::vector<double>{kLargest, kLargest, -kLargest, -kLargest}));
  EXPECT_TRUE(box.add(Point2(5, 7)) && !box.add(Point2(5, 7)) && box.add(Point2(3, 9)));
  EXPECT_EQ(boundsOf(box), (std::vector<double>{3, 7, 5, 9}));
  std::vector<Point2> vInside{Point2(0, 3), Point2(1, 2)};
  Point2 outside(0, 10);
  const std::vector<Point2*> vPointers{&vInside[0], &outside};
  EXPECT_TRUE(bulk.add(2, coordinates) && !bulk.add(vInside.cbegin(), vInside.cend()) && bulk.add(vPointers.cbegin(), vPointers.cend()));
  EXPECT_EQ(boundsOf(bulk), (std::vector<double>{-1, 2, 1, 10}));
  EXPECT_EQ(boundsOf(Bbox2(vInside.cbegin(), vInside.cend())), (std::vector<double>{0, 2, 1, 3}));
  preset.setMinX(-10);
  preset.setMaxY(20);
  EXPECT_TRUE(preset.add(Point2(1, 2)) && boundsOf(preset) == (std::vector<double>{-10, 2, 1, 20}));
  EXPECT_EQ(captureStdout([&] { result = bulk + invalid; }), warned("Box2::operator+()", "trying to add an invalid Bbox2"));
  EXPECT_EQ(captureStdout([&] { invalid.computeCenter(); }), warned("Bbox2::computeCenter()", "Bbox2 is invalid"));
  EXPECT_EQ(zarn_test::outputOfCall([&] { return bulk.doIntersect(invalid); }, false), warned("Bbox2::doIntersect()", "bbox invalid"));
  EXPECT_TRUE(boundsOf(result) == boundsOf(bulk));
  result = box + bulk;  // merges into box as well
  EXPECT_TRUE(boundsOf(box) == (std::vector<double>{-1, 2, 5, 10}) && boundsOf(result) == boundsOf(box));
  empty + preset;
  EXPECT_TRUE(boundsOf(empty) == boundsOf(preset) && !empty.add(Point2(0, 3)));  // the merged box counts as valid for add()
  EXPECT_EQ(preset.computeCenter(), Point2(-4.5, 11));
}

// A triangle on three corners that exposes the two circumcentre constructions separately: the
// first (false when it is not accurate) or the fallback.
class TestTriangle : public Triangle2 {
 public:
  TestTriangle(Point2* p0, Point2* p1, Point2* p2) { setProperties(p0, p1, p2); }
  bool centre(bool bFirst, Point2& cc) const {
    double offsetX(0.0), offsetY(0.0);
    getCommonOffset(offsetX, offsetY);
    if (bFirst) return getCC_strategy1(offsetX, offsetY, cc);
    getCC_strategy2(getMaxIndex(), offsetX, offsetY, cc);
    return true;
  }
};

// The exact circumcentre of three doubles, as rationals.
std::pair<mpq_class, mpq_class> exactCircumcentre(const Point2& p0, const Point2& p1, const Point2& p2) {
  const mpq_class ax(mpq_class(p1.x()) - p0.x()), ay(mpq_class(p1.y()) - p0.y()), bx(mpq_class(p2.x()) - p0.x());
  const mpq_class by(mpq_class(p2.y()) - p0.y()), sqA(ax * ax + ay * ay), sqB(bx * bx + by * by), d(2 * (ax * by - ay * bx));
  return std::make_pair(mpq_class(p0.x() + (by * sqA - ay * sqB) / d), mpq_class(p0.y() + (ax * sqB - bx * sqA) / d));
}

double distanceToExact(const Point2& cc, const std::pair<mpq_class, mpq_class>& exact) {
  const double dx(mpq_class(exact.first - cc.x()).get_d()), dy(mpq_class(exact.second - cc.y()).get_d());
  return std::sqrt(dx * dx + dy * dy);
}

// ----- Triangle2 measures --------------------------------------------------------------------------

// Measures of the right triangle (0,0) (1,0) (0,1), ties of the extreme edges, degenerate corners;
// hasOnEdge includes the end points and nothing one unit in the last place beyond.
TEST(Triangle2Measures, RightTriangleFlatCornersAndPointsOnEdges) {
  Point2 p0(0.0, 0.0), p1(1.0, 0.0), p2(0.0, 1.0);
  TestTriangle t(&p0, &p1, &p2);
  EXPECT_EQ(t.getSquaredEdgeLength(0) + 10 * t.getSquaredEdgeLength(1) + 100 * t.getSquaredEdgeLength2D(2), 2.0 + 10 + 100);
  EXPECT_EQ(t.getMaxSqEdgeLen2D() + 10 * t.getMaxIndex() + 100 * t.getMinIndex(), 2.0 + 0 + 100);  // 1 and 2 tie: the lower wins
  EXPECT_DOUBLE_EQ(Edge2(&t, 0).getLength2D(), std::sqrt(2.0));
  for (int i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ(t.getInteriorAngle2D(i), i == 0 ? M_PI / 2.0 : M_PI / 4.0) << i;
  EXPECT_DOUBLE_EQ(t.getArea2D(), 0.5);
  EXPECT_TRUE(t.getBarycenter() == Point2(1.0 / 3.0, 1.0 / 3.0) && t.getDual() == std::make_pair(Point2(0.5, 0.5), true));
  Point2 a(0.0, 0.0), b(2.0, 0.0), apex(1.0, 5.0), c(3.0, 0.0), cc;
  TestTriangle tall(&a, &b, &apex);  // edges 0 and 1 are the long ones
  EXPECT_EQ(tall.getMaxIndex() + 10 * tall.getMinIndex(), 0 + 10 * 2);
  tall.setProperties(&apex, &a, &b);  // now edges 1 and 2
  EXPECT_EQ(tall.getMaxIndex() + 10 * tall.getMinIndex(), 1 + 10 * 0);
  TestTriangle flat(&a, &b, &c);  // collinear: no accurate centre, but a finite one
  const std::pair<Point2, bool> dual(flat.getDual());
  EXPECT_TRUE(flat.getArea2D() == 0.0 && !flat.centre(true, cc) && !dual.second && std::isfinite(dual.first.x() + dual.first.y()));
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> coord(-1e3, 1e3), factor(0.1, 10.0);
  for (int i = 0; i < 2000; ++i) {  // the angle at a corner whose edges run the same way
    const double dx(coord(rng)), dy(coord(rng)), f(factor(rng));
    Point2 next(dx, dy), prev(dx * f, dy * f);
    flat.setProperties(&a, &next, &prev);
    ASSERT_TRUE(!std::isnan(flat.getInteriorAngle2D(0)) && flat.getInteriorAngle2D(0) < 1e-7) << next << " " << prev;
  }
  const double tiny(std::numeric_limits<double>::denorm_min()), beyond(std::ldexp(1.0, -52)), above1(std::nextafter(1.0, 2.0));
  for (const auto& [edge, x, y, bOn] : std::vector<std::tuple<int, double, double, bool>>{
           {2, 0.0, 0.0, true}, {2, 1.0, 0.0, true}, {2, 0.3, 0.0, true}, {2, above1, 0.0, false}, {2, -tiny, 0.0, false},
           {2, 0.5, tiny, false}, {2, 0.5, -tiny, false}, {0, 0.25, 0.75, true}, {0, 1.0 + beyond, -beyond, false},
           {0, -beyond, 1.0 + beyond, false}, {0, 0.5, std::nextafter(0.5, 1.0), false}, {1, 1.0, 0.0, false}}) {
    EXPECT_EQ(t.hasOnEdge(edge, Point2(x, y)), bOn) << edge << " " << x << " " << y;
  }
}

TEST(Triangle2Measures, AreaOfCorruptCoordinatesReportsAndThrows) {
  Point2 a(std::numeric_limits<double>::quiet_NaN(), 0.0), b(1.0, 0.0), c(0.0, 1.0);
  const TestTriangle t(&a, &b, &c);
  const std::string output(zarn_test::outputOfFailedAssertion([&] { t.getArea2D(); }));
  const std::string expectedStart(
      "\n      [Zarn2D-Message] Triangle2::computeArea(), WARNING: invalid value, no area for this triangle\n\n"
      "ownHalfCircf=nan\nCorners are: Point2 (nan, 0), Point2 (1, 0), Point2 (0, 1)\nlen0=1.41421\nlen1=nan\nlen2=nan\n"
      "\n      [Zarn2D-Message] Zarn, , ERROR: Condition [ false failed ]\n\n"
      "Zarn, Condition [ false failed ]\n");
  EXPECT_EQ(output.substr(0, expectedStart.size()), expectedStart);
}

// ----- Circumcentres ------------------------------------------------------------------------------

// Random triangles far from the origin, half of them needles and slivers whose centre lies far
// away: a well-shaped one gets an accurate centre from getDual and the first construction, and
// the fallback construction stays accurate relative to the radius for all of them.
TEST(Triangle2Dual, CircumcentresAgreeWithTheExactOne) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> local(0.0, 10.0), thin(-1e-3, 1e-3);
  int numWellShaped(0);
  for (int i = 0; i < 12000; ++i) {
    const double shift(i % 3 == 0 ? 1e7 : i % 3 == 1 ? -1e7 : -2.5e6), along(local(rng) / 10.0);
    std::uniform_real_distribution<double>& off(i % 2 == 0 ? thin : local);
    Point2 a(shift + local(rng), shift + local(rng)), b(shift + local(rng), shift + local(rng));
    Point2 c(a.x() + along * (b.x() - a.x()) + off(rng), a.y() + along * (b.y() - a.y()) + off(rng));
    const Orientation2 ori(getOrientation2(&a, &b, &c));
    if (ori == ORIENTATION2_COLLINEAR) continue;
    if (ori == ORIENTATION2_CW) std::swap(a, b);
    const TestTriangle t(&a, &b, &c);
    const std::pair<mpq_class, mpq_class> exact(exactCircumcentre(a, b, c));
    const double radius(distanceToExact(a, exact));
    Point2 cc2, cc1;
    // Rounding of the result near |shift| plus a few units of rounding relative to the radius.
    ASSERT_TRUE(t.centre(false, cc2) && distanceToExact(cc2, exact) < 8e-9 + 1e-14 * radius) << t << " radius " << radius;
    if (std::min({t.getInteriorAngle2D(0), t.getInteriorAngle2D(1), t.getInteriorAngle2D(2)}) < 0.35) continue;  // below 20 degrees
    ++numWellShaped;
    const std::pair<Point2, bool> dual(t.getDual());
    ASSERT_TRUE(dual.second && distanceToExact(dual.first, exact) < 1e-7) << t;
    ASSERT_TRUE(t.centre(true, cc1) && distanceToExact(cc1, exact) < 1e-7) << t;
  }
  EXPECT_GT(numWellShaped, 1000);
}

// ----- Edges and the walk around a vertex ---------------------------------------------------

// Around every vertex of random triangulations with collinear vertices on a hull side (whose links
// the exact oracle checks first), from every start: ++ visits the triangles counterclockwise,
// nullptr standing for the outside of a hull vertex, and -- walks back the same way. Each Edge2
// sees the triangle on its other side with the edge reversed.
TEST(TriangleAroundVertex, WalksAndEdgesAgreeWithTheNeighbourLinks) {
  for (unsigned seed : {1u, 2u, 3u}) {
    std::vector<Point2> v(dt2test::randomPoints(30, seed, 0.0, 1.0));
    for (int i = 0; i <= 4; ++i) v.emplace_back(0.25 * i, -0.5);
    Zarn_2D dt;
    std::vector<Point2*> vHandles;
    dt.insert(v, vHandles);
    ASSERT_TRUE(dt2test::isDelaunayTriangulationOf(dt, v));
    const std::vector<Triangle2*> vT(dt2test::trianglesOf(dt));
    for (Triangle2* pT : vT) {
      for (int i = 0; i < 3; ++i) {
        Point2 *pSrc(nullptr), *pTrg(nullptr);
        Triangle2 *pT0(nullptr), *pT1(nullptr);
        int i0(-5), i1(-5);
        Edge2(pT, i).getPoints(pSrc, pTrg);
        Edge2(pT, i).getTriangles(pT0, pT1, i0, i1);
        ASSERT_TRUE(pSrc == pT->getCorner(incIndexBy1(i)) && pTrg == pT->getCorner(incIndexBy2(i)) && pT0 == pT && i0 == i);
        ASSERT_EQ(pT1, pT->getOppositeTriangle(i));
        ASSERT_TRUE(pT1 == nullptr ? i1 == -1 : pT1->getCorner(incIndexBy1(i1)) == pTrg && pT1->getCorner(incIndexBy2(i1)) == pSrc);
      }
    }
    for (Point2* pV : vHandles) {
      const auto turn = [pV](const Triangle2* pT, bool bCcw) {
        return pT->getOppositeTriangle((bCcw ? incIndexBy1 : incIndexBy2)(pT->getIntraTriangleIndex(pV)));
      };
      const auto next = [&](const Triangle2* pT) -> Triangle2* {
        if (pT != nullptr) return turn(pT, true);
        for (Triangle2* pFirst : vT) {  // after the outside: the triangle that has none before it
          if (pFirst->hasVertex(pV) && turn(pFirst, false) == nullptr) return pFirst;
        }
        return nullptr;
      };
      std::vector<Triangle2*> vCycle{pV->getIncidentTriangle()};
      while (next(vCycle.back()) != vCycle.front()) vCycle.push_back(next(vCycle.back()));
      for (size_t start = 0; start < vCycle.size(); ++start) {
        if (vCycle[start] == nullptr) continue;
        TriangleAroundVertexIterator it(pV, vCycle[start]);
        for (size_t step = 1; step <= vCycle.size(); ++step) {  // the preview first, then the step
          const Triangle2* pNext(vCycle[(start + step) % vCycle.size()]);
          ASSERT_TRUE(it.previewNextTriangle() == pNext && *++it == pNext) << step;
        }
        for (size_t step = 1; step <= vCycle.size() + 1; ++step) {
          const Triangle2* pPrev(vCycle[(start + 2 * vCycle.size() - step) % vCycle.size()]);
          ASSERT_TRUE(it.previewPrevTriangle() == pPrev && *--it == pPrev) << step;
        }
      }
    }
  }
}

TEST(TriangleAroundVertex, VertexWithoutTriangleOrForeignStartThrows) {
  Zarn_2D dt;
  dt.insert(dt2test::randomPoints(6, 4));
  std::vector<Triangle2*> vT(dt2test::trianglesOf(dt));
  Point2 loose(3.0, 3.0);
  zarn_test::expectFailedCondition("pVtx != nullptr && pVtx->getIncidentTriangle() != nullptr", [&] { TriangleAroundVertexIterator it(&loose); });
  EXPECT_NE(zarn_test::outputOfFailedAssertion([&] { TriangleAroundVertexIterator it(&loose, vT[0]); }).find("failed ]"), std::string::npos);
}

// ----- Messages, assertions, the log file and the timer ----------------------------------------

int gFalseAssertionLine = 0;
void failOnFalse() {
  gFalseAssertionLine = __LINE__ + 1;
  ZARN_ASSERT(false);
}

void failOnSize(const std::vector<int>& vEdge) { ZARN_ASSERT(vEdge.size()==1); }

// Info carries the tag only without a location. (Errors and warnings, their tagged line between
// blank lines, are compared whole throughout the tests.)
TEST(Messages, InfoLinesCarryTheTagOnlyWithoutALocation) {
  EXPECT_EQ(captureStdout([] { reportInfo("", "all done"); }), "\n      [Zarn2D-Message] INFO: all done\n\n");
  EXPECT_EQ(captureStdout([] { reportInfo("Zarn_2D::refine()", "all done"); }), "\n      Zarn_2D::refine(), INFO: all done\n\n");
}

// The log file is written to the working directory: these tests run in their own.
class LogFile : public zarn_test::TempDirTest {
 protected:
  void SetUp() override {
    TempDirTest::SetUp();
    oldDir = std::filesystem::current_path();
    std::filesystem::current_path(dir);
  }
  void TearDown() override {
    std::filesystem::current_path(oldDir);
    TempDirTest::TearDown();
  }
  std::filesystem::path oldDir;
};

// A failed assertion prints its lines and location, throws, and the log file holds only the last
// failure; logToFile prints its text and starts the file anew.
TEST_F(LogFile, FailedAssertionPrintsLogsTheLastOneAndThrows) {
  std::string what;
  const std::vector<std::string> vLines(zarn_test::splitLines(zarn_test::outputOfFailedAssertion(failOnFalse, &what)));
  const std::vector<std::string> vExpected{"", "      [Zarn2D-Message] Zarn, , ERROR: Condition [ false failed ]", "",
                                           "Zarn, Condition [ false failed ]",
                                           std::string("      ") + __FILE__ + ":" + std::to_string(gFalseAssertionLine)};
  EXPECT_EQ(vLines, vExpected);
  EXPECT_EQ(read("ZARN_LOG.txt"), "Zarn, Condition [ false failed ]\n");
  EXPECT_EQ(what.find("\n  ZARN EXCEPTION due to a bug _or_ wrong usage of Zarn. If you think it is a \n  bug then please report "
                      "this incident and it will be fixed quickly: "), 0u) << what;
  zarn_test::expectFailedCondition("vEdge.size()==1", [] { failOnSize(std::vector<int>(3)); });
  EXPECT_EQ(read("ZARN_LOG.txt"), "Zarn, Condition [ vEdge.size()==1 failed ]\n");
  EXPECT_EQ(captureStdout([] { logToFile("first\nmessage"); }), "first\nmessage\n");
  EXPECT_EQ(captureStdout([] { logToFile("second"); }), "second\n");
  EXPECT_EQ(read("ZARN_LOG.txt"), "second\n");
}

// A named timer starts and stops in turn; the "[quiet]" prefix silences it but stays part of the
// name; the stop line leaves std::cout fixed with its precision restored.
TEST(Timer, StartStopRestartAndQuietNames) {
  for (const auto& [name, bStarts, bPrints] : std::vector<std::tuple<std::string, bool, bool>>{
           {"a", true, true}, {"a", false, true}, {"a", true, true}, {"[quiet]", true, false}, {"[quiet]", false, false},
           {"[quiet] insertion", true, false}, {"insertion", true, true}, {"[quiet] insertion", false, false},
           {"[quie", true, true}, {"[quie", false, true}, {"insertion", false, true}, {"a", false, true}}) {
    double elapsed(0.0);
    const std::string out(captureStdout([&] { elapsed = timer(name); }));
    std::ostringstream expected;
    expected << "...Timer [" << name << "] " << std::fixed << std::setprecision(3);
    expected << (bStarts ? "start\n" : "stop, elapsed time: ");
    if (!bStarts) expected << elapsed << " s\n";
    EXPECT_EQ(out, bPrints ? expected.str() : "") << name;
    EXPECT_TRUE(bStarts ? elapsed == -1.0 : elapsed >= 0.0) << name << " " << elapsed;
  }
  EXPECT_TRUE(std::cout.precision() == 6 && (std::cout.flags() & std::ios::fixed));
}

// ----- The memory pool ------------------------------------------------------------------------

struct Record {
  double x, y;
  void* p;
};

std::vector<Record*> enumerate(const SimplePool<Record>& pool) {
  std::vector<Record*> vElements;
  for (int b = 0; b < pool.getNumBlocks(); ++b) {
    for (int32_t i = 0; i < pool.getUsedCount(b); ++i) vElements.push_back(pool.getBlock(b) + i);
  }
  return vElements;
}

// Far beyond any address space: malloc must fail for a single block of these.
struct Gigantic {
  char bytes[1ull << 40];
};

// Elements are handed out in block order, never move, and the enumeration visits exactly them; a
// block of at least two huge pages starts on one (the kernel may then back it with them).
TEST(SimplePool, ElementsAreHandedOutInOrderAndEnumeratedExactly) {
  const int32_t numHuge(static_cast<int32_t>(2 * kHugePageSize / sizeof(Record)) + 1);
  for (int32_t firstBlock : {3, numHuge}) {
    for (int numAllocs : {0, 1, 3, 4, 7, 100, 1000}) {
      SimplePool<Record> pool;
      pool.init(firstBlock, 64);
      std::vector<Record*> vHandedOut;
      for (int i = 0; i < numAllocs; ++i) {
        vHandedOut.push_back(pool.alloc());
        *vHandedOut.back() = Record{double(i), 0.0, nullptr};  // writable storage of the element's full size
        EXPECT_EQ(pool.isUntouched(), i < firstBlock);
      }
      EXPECT_EQ(enumerate(pool), vHandedOut) << numAllocs << " allocations";
      for (int i = 0; i < numAllocs; ++i) ASSERT_EQ(vHandedOut[i]->x, i);
      EXPECT_TRUE(numAllocs <= 3 || firstBlock > 3 || vHandedOut[3] == pool.getBlock(1));
      EXPECT_TRUE(numAllocs == 0 || firstBlock == 3 || (reinterpret_cast<uintptr_t>(vHandedOut[0]) - kBlockHeaderBytes) % kHugePageSize == 0);
    }
  }
  // A second init is reported and keeps the partly used block; contains() knows only handed-out elements.
  SimplePool<Record> pool;
  pool.init(2, 16);
  std::vector<Record*> vHandedOut{pool.alloc()};
  EXPECT_EQ(captureStdout([&] { pool.init(3, 16); }), "SimplePool::init(..), ERROR: This pool is already initialized\n");
  for (int i = 0; i < 4; ++i) vHandedOut.push_back(pool.alloc());
  EXPECT_EQ(pool.getBlockSizes(), (std::vector<int32_t>{2, 3, 6}));
  EXPECT_EQ(enumerate(pool), vHandedOut);
  Record foreign;
  for (Record* p : vHandedOut) EXPECT_TRUE(pool.contains(p));
  for (Record* p : {vHandedOut[4] + 1, vHandedOut[0] + 1, &foreign, static_cast<Record*>(nullptr)}) EXPECT_FALSE(pool.contains(p));
}

// The triangulation's pools report more than a thousand blocks when destroyed, the R-tree's more than fifty.
TEST(SimplePool, DestructorReportsManyBlocks) {
  for (const auto& c : {std::make_pair(1001, kTriangulationPoolMessageThreshold), std::make_pair(1000, kTriangulationPoolMessageThreshold),
                        std::make_pair(51, kRTreePoolMessageThreshold), std::make_pair(50, kRTreePoolMessageThreshold)}) {
    std::unique_ptr<SimplePool<char>> pPool(new SimplePool<char>(c.second, POOL_OOM_CONTINUE));
    pPool->init(1, 1);
    for (int i = 0; i < c.first; ++i) pPool->alloc();
    EXPECT_EQ(pPool->getNumBlocks(), c.first);
    EXPECT_EQ(captureStdout([&] { pPool.reset(); }),
              c.first % 2 == 0 ? "" : "SimplePool::~SimplePool: Number of containers to release: " + std::to_string(c.first) + "\n");
  }
}

// A block a dead pool left to the thread serves requests down to half its size and comes back
// whole: a pool or a vector that reused a larger block leaves it to a request as large as the
// block again.
TEST(BlockCache, ALargerBlockServesASmallerPoolAndComesBackWhole) {
  if (DT2TEST_SANITIZED) GTEST_SKIP() << "sanitized builds keep no blocks";
  releaseCachedBlocks();
  const int32_t n(1 << 20);
  Record* pBlock(nullptr);
  for (const int32_t size : {n, n * 3 / 4, n, n / 3}) {
    SimplePool<Record> pool;
    pool.init(size, n);
    if (pBlock == nullptr) pBlock = pool.getBlock(0);
    EXPECT_EQ(pool.getBlock(0) == pBlock, size > n / 2) << size;
    EXPECT_EQ(pool.getBlockSizes()[0], size);
  }
  {
    ScratchVector<Record> vSmaller(n * 3 / 4);  // a vector gives back only the size it asked for
    EXPECT_EQ(vSmaller.data(), pBlock);
  }
  SimplePool<Record> pool;
  pool.init(n, n);
  EXPECT_EQ(pool.getBlock(0), pBlock);
  releaseCachedBlocks();
}

TEST(SimplePoolOutOfMemory, TriangulationPoolReportsAndHandsOutNull) {
  if (DT2TEST_SANITIZED) GTEST_SKIP() << "the address sanitizer aborts on oversized allocations";
  SimplePool<Gigantic> pool;
  testing::internal::CaptureStdout();
  pool.init(1 << 20, 1 << 20);
  Gigantic* pNothing(pool.alloc());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "SimplePool::alloc(..), ERROR: Out of memory\nSimplePool::alloc(..), ERROR: Out of memory\n");
  EXPECT_TRUE(pNothing == nullptr && pool.getNumBlocks() == 0);
}

TEST(SimplePoolOutOfMemoryDeathTest, RTreePoolReportsAndExitsWithStatusOne) {
  if (DT2TEST_SANITIZED) GTEST_SKIP() << "the address sanitizer aborts on oversized allocations";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        std::cout.rdbuf(std::cerr.rdbuf());  // let the death test see the message
        SimplePool<Gigantic> pool(kRTreePoolMessageThreshold, POOL_OOM_EXIT);
        pool.init(1 << 20, 1 << 20);
      },
      testing::ExitedWithCode(1), "^SimplePool::alloc\\(\\.\\.\\), ERROR: Out of memory, sorry\n$");
}

// ----- Hilbert keys and the R-tree ----------------------------------------------------------------

// The curve defined one level per step, straight from the state table (digit and next state per
// 4 * state + quadrant), independent of the library's derived table.
uint32_t referenceKey(double minX, double minY, double maxX, double maxY, unsigned bitLength, double x, double y) {
  static const unsigned digit[16] = {0, 1, 3, 2, 0, 3, 1, 2, 2, 1, 3, 0, 2, 3, 1, 0};
  static const unsigned next[16] = {1, 0, 2, 0, 0, 3, 1, 1, 2, 2, 0, 3, 3, 1, 3, 2};
  const unsigned side(1u << (bitLength / 2));
  const double scaleX(side / (maxX - minX)), scaleY(side / (maxY - minY));
  const uint32_t qx(static_cast<uint32_t>(static_cast<int32_t>((x - minX) * scaleX)));
  const uint32_t qy(static_cast<uint32_t>(static_cast<int32_t>((y - minY) * scaleY)));
  uint32_t key(0), state(0);
  for (uint32_t shift = bitLength - 2, mask = side / 2; mask != 0; shift -= 2, mask /= 2) {
    const unsigned quadrant(((qx & mask) != 0 ? 2u : 0u) + ((qy & mask) != 0 ? 1u : 0u));
    key += digit[4 * state + quadrant] << shift;
    state = next[4 * state + quadrant];
  }
  return key;
}

// For every requested bit length the key equals the level-by-level curve's, also for points
// outside the box; odd, zero or too long lengths are reported and replaced by the next valid one
// below (2 for zero and one).
TEST(HC2, KeysEqualTheLevelByLevelCurveAndInvalidBitLengthsAreReplaced) {
  std::mt19937_64 rng(20240611);
  std::uniform_real_distribution<double> corner(-1e6, 1e6), extent(1e-3, 1e6), unit(-0.25, 1.25);
  for (unsigned requested = 0; requested <= 34; ++requested) {
    const unsigned bitLength(std::min(32u, std::max(2u, requested & ~1u)));
    for (int box = 0; box < 20; ++box) {
      const double minX(corner(rng)), minY(corner(rng));
      const double maxX(minX + extent(rng)), maxY(minY + extent(rng));
      std::unique_ptr<HC2> pHC;
      ASSERT_EQ(captureStdout([&] { pHC.reset(new HC2(minX, minY, maxX, maxY, requested)); }),
                requested == bitLength ? "" : zarn_test::reported("HC2::HC2(..)", "ERROR", "invalid bitlength"));
      ASSERT_EQ(pHC->getBitLength(), bitLength);
      for (int i = 0; i < 500; ++i) {  // the box's corners first
        const double x(i < 2 ? (i == 0 ? minX : maxX) : minX + unit(rng) * (maxX - minX));
        const double y(i < 2 ? (i == 0 ? minY : maxY) : minY + unit(rng) * (maxY - minY));
        ASSERT_EQ(pHC->getKey(x, y), referenceKey(minX, minY, maxX, maxY, bitLength, x, y)) << "bits " << requested << " point " << x << " " << y;
      }
    }
  }
}

// (Queries: the segment checker's differential test against a pairwise exact reference finds the
// faults of the R-tree, such as touching boxes missed or a parent box left too small.)

// Inverted boxes fail their assertions; a built tree takes no more items.
TEST(RTree, InvertedBoxesAndAddingToABuiltTreeAreRejected) {
  const RTreeBox item{0, 0, 1, 1};
  RTree<const RTreeBox> tree;
  EXPECT_NE(zarn_test::expectFailedCondition("xmin<=xmax", [&] { tree.add(&item, 1, 0, 0, 1); }).find("kora_locate2/RTree"), std::string::npos);
  zarn_test::expectFailedCondition("ymin<=ymax", [&] { tree.add(&item, 0, 1, 1, 0); });
  EXPECT_EQ(tree.size(), 0u);
  tree.add(&item, 0, 0, 1, 1);
  tree.build();
  zarn_test::outputOfFailedAssertion([&] { tree.add(&item, 0, 0, 1, 1); });
}

// ----- The facade: thread count, timing helper, messages -------------------------------------------

// Zero asks for the hardware's threads, below zero for one; there is no upper clamp.
TEST(Facade, SetNumCPU) {
  Zarn_2D dt;
  const int hw(std::max(1, static_cast<int>(std::thread::hardware_concurrency())));
  for (const auto& [request, expected] : std::vector<std::pair<int, int>>{{-5, 1}, {7, 7}, {0, hw}, {1000, 1000}, {1, 1}}) {
    EXPECT_TRUE(dt.setNumCPU(request) == expected && dt.getImpl()->getNumCPU() == expected) << request;
  }
  dt.enableMultithreading();
  EXPECT_EQ(dt.getImpl()->getNumCPU(), hw);
}

// The quiet timing helper triangulates other points and leaves this triangulation and its timer alone.
TEST(Facade, MeasureTriangulationTimeLeavesThisTriangulationAlone) {
  for (int numCPU : {1, 2}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    const std::vector<Point2> v(dt2test::randomPoints(100, 505));
    dt.insert(v);
    const std::vector<dt2test::TriangleKey> before(dt2test::triangleSignature(dt));
    std::vector<Point2> vOther(dt2test::randomPoints(5000, 506, 10.0, 20.0));
    EXPECT_EQ(captureStdout([&] { EXPECT_GE(dt.measureTriangulationTime(vOther), 0.0); }), "");
    EXPECT_TRUE(dt2test::triangleSignature(dt) == before && vOther.size() == 5000u && dt.getImpl()->getNumCPU() == numCPU);
    EXPECT_DELAUNAY_OF(dt, v);
    // The timer was stopped: a timer of the same name starts anew.
    EXPECT_TRUE(timer("[quiet] Delaunay point insertion") == -1.0 && timer("[quiet] Delaunay point insertion") >= 0.0);
  }
}

// An empty bulk reports its progress complete, under its step's name; unsubscribing stops the
// reports. (One callback per subscribed pair, per message type: the segment checker's progress test
// covers the publisher both share.)
TEST(FacadeMessages, BulkInsertionReportsItsProgressToSubscribers) {
  Zarn_2D dt;
  dt2test::ProgressRecorder recorder("insertVector"), warnings("none");
  dt.subscribe(MSG_PROGRESS, &recorder);
  dt.subscribe(MSG_WARNING, &warnings);
  dt.insert(std::vector<Point2>());
  ASSERT_FALSE(recorder.vProgress.empty());
  EXPECT_EQ(recorder.vProgress.back(), 1.0);
  dt.unsubscribe(MSG_PROGRESS, &recorder);
  const size_t numBefore(recorder.vProgress.size());
  dt.insert(dt2test::randomPoints(500, 510));
  EXPECT_TRUE(recorder.vProgress.size() == numBefore && warnings.vProgress.empty());
}

}  // namespace
