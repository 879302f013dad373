#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTest>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "platform/linux/qt/QtDispatch.h"

namespace murvel::linux_platform {
namespace {

class QtDispatchTest : public ::testing::Test {
 protected:
  int argc_ = 1;
  char name_[6] = "tests";
  char* argv_[1] = {name_};
  QCoreApplication application_{argc_, argv_};
  QtDispatch dispatch_;
};

TEST_F(QtDispatchTest, MainQueueRunsWorkFromAnyThreadOnTheMainThreadInOrder) {
  const auto mainThread = std::this_thread::get_id();
  std::vector<int> order;
  bool allOnMain = true;
  std::thread other([&] {
    for (int i = 0; i < 100; ++i) {
      dispatch_.async([&, i] {
        allOnMain = allOnMain && std::this_thread::get_id() == mainThread;
        order.push_back(i);
      });
    }
  });
  other.join();
  ASSERT_TRUE(QTest::qWaitFor([&] { return order.size() == 100; }));
  EXPECT_TRUE(allOnMain);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_F(QtDispatchTest, DelayedWorkCountsFromTheCallAndRunsUnlessCancelled) {
  std::vector<std::string> ran;
  auto cancelled = std::make_shared<WorkItem>([&] { ran.push_back("cancelled"); });
  dispatch_.asyncAfter(0.02, [&] { ran.push_back("delayed"); });
  dispatch_.asyncAfter(0.01, cancelled);
  QTimer::singleShot(40, [&] { ran.push_back("timer due later"); });
  dispatch_.async([&] { ran.push_back("now"); });
  cancelled->cancel();
  // The rest of this turn outlasts both delays; the dispatched one still counts from its call.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  ASSERT_TRUE(QTest::qWaitFor([&] { return ran.size() == 3; }));
  QTest::qWait(60);
  // Whether posted work or due timers come first on a turn is the event loop's affair.
  EXPECT_EQ(std::erase(ran, "now"), 1u);
  EXPECT_EQ(ran, (std::vector<std::string>{"delayed", "timer due later"}));
}

TEST_F(QtDispatchTest, RepeatingTimerTicksUntilInvalidatedAndGlobalWorkRunsElsewhere) {
  int ticks = 0;
  auto timer = dispatch_.scheduledRepeatingTimer(0.01, [&] { ++ticks; });
  ASSERT_TRUE(QTest::qWaitFor([&] { return ticks >= 3; }));
  timer->invalidate();
  EXPECT_FALSE(timer->isValid());
  const int stoppedAt = ticks;
  QTest::qWait(50);
  EXPECT_EQ(ticks, stoppedAt);

  std::atomic<bool> offMain{false};
  const auto mainThread = std::this_thread::get_id();
  std::atomic<bool> done{false};
  dispatch_.global(QualityOfService::utility, [&] {
    offMain = std::this_thread::get_id() != mainThread;
    done = true;
  });
  ASSERT_TRUE(QTest::qWaitFor([&] { return done.load(); }));
  EXPECT_TRUE(offMain);
}

}  // namespace
}  // namespace murvel::linux_platform
