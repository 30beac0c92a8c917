// The Zarn_2D facade: thread count rule, capacity hint, the warnings and console texts of its
// own checks, the timing helper, message subscription and the version text.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Dt2.h"
#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

using zarn_test::captureStdout;
using zarn_test::captureStderr;

// Records every progress message.
class Recorder : public MsgBase {
 public:
  void update(MsgType msgType, const std::string& text, double progress) override {
    vMessages.push_back(Message{msgType, text, progress});
  }
  struct Message {
    MsgType type;
    std::string text;
    double progress;
  };
  std::vector<Message> vMessages;
};

}  // namespace

// ----- Thread count and capacity -----------------------------------------------------------

TEST(Facade, SetNumCPU) {
  Zarn_2D dt;
  EXPECT_EQ(dt.setNumCPU(-5), 1);
  EXPECT_EQ(dt.setNumCPU(7), 7);
  const int hw(static_cast<int>(std::thread::hardware_concurrency()));
  EXPECT_EQ(dt.setNumCPU(0), hw >= 1 ? hw : 1);
  EXPECT_EQ(dt.setNumCPU(1), 1);
  dt.enableMultithreading();
  EXPECT_EQ(dt.getImpl()->getNumCPU(), hw >= 1 ? hw : 1);
  EXPECT_EQ(dt.setNumCPU(1000), 1000);  // no upper clamp
  EXPECT_EQ(dt.getImpl()->getNumCPU(), 1000);
}

// ----- Own checks and their texts ----------------------------------------------------------

// ----- Timing helper -----------------------------------------------------------------------

TEST(Facade, MeasureTriangulationTimeLeavesThisTriangulationAlone) {
  for (int numCPU : {1, 2}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    const std::vector<Point2> v(randomPoints(100, 505));
    dt.insert(v);
    const std::vector<TriangleKey> before(triangleSignature(dt));
    std::vector<Point2> vOther(randomPoints(5000, 506, 10.0, 20.0));
    double seconds(-1.0);
    const std::string out(captureStdout([&] { seconds = dt.measureTriangulationTime(vOther); }));
    EXPECT_GE(seconds, 0.0);
    EXPECT_EQ(out, "");  // the timer is a quiet one
    EXPECT_EQ(dt.numberOfPoints(), 100u);
    EXPECT_EQ(triangleSignature(dt), before);
    EXPECT_EQ(vOther.size(), 5000u);
    EXPECT_DELAUNAY_OF(dt, v);
    // The timer was stopped: a timer of the same name starts anew.
    EXPECT_EQ(timer("[quiet] Delaunay point insertion"), -1.0);
    EXPECT_GE(timer("[quiet] Delaunay point insertion"), 0.0);
  }
}

// ----- Messages ----------------------------------------------------------------------------

TEST(FacadeMessages, EmptyBulkReportsItsProgressComplete) {
  Zarn_2D dt;
  Recorder rec;
  dt.subscribe(MSG_PROGRESS, &rec);
  dt.insert(std::vector<Point2>());
  ASSERT_FALSE(rec.vMessages.empty());
  for (const Recorder::Message& m : rec.vMessages) {
    EXPECT_EQ(m.type, MSG_PROGRESS);
    EXPECT_EQ(m.text, "insertVector");
  }
  EXPECT_EQ(rec.vMessages.back().progress, 1.0);
}

TEST(FacadeMessages, SubscribingTwiceGivesOneCallbackPerMessage) {
  Zarn_2D dt;
  Recorder twice, once;
  dt.subscribe(MSG_PROGRESS, &twice);
  dt.subscribe(MSG_PROGRESS, &twice);
  dt.subscribe(MSG_PROGRESS, &once);
  dt.insert(std::vector<Point2>());
  dt.insert(randomPoints(500, 510));
  ASSERT_FALSE(once.vMessages.empty());
  EXPECT_EQ(twice.vMessages.size(), once.vMessages.size());
  // One unsubscribe removes the single registration.
  dt.unsubscribe(MSG_PROGRESS, &twice);
  Recorder stranger, warnings;
  dt.unsubscribe(MSG_PROGRESS, &stranger);  // changes nothing
  dt.unsubscribe(MSG_WARNING, &once);       // subscribed for another type only
  dt.subscribe(MSG_WARNING, &warnings);     // subscription is per type
  const size_t numBefore(twice.vMessages.size()), numOnceBefore(once.vMessages.size());
  dt.insert(std::vector<Point2>());
  EXPECT_EQ(twice.vMessages.size(), numBefore);
  EXPECT_GT(once.vMessages.size(), numOnceBefore);
  EXPECT_TRUE(stranger.vMessages.empty() && warnings.vMessages.empty());
}
