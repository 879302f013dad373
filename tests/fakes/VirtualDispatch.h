#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "platform/Dispatch.h"

namespace murvel::testing {

// A Dispatch whose time stands still until the test moves it. Main-queue and global-queue work
// waits in queues until the test drains them; delayed work and timers fire only as `advance`
// passes their moment. Work may be enqueued from any thread (real network completions do), but
// it only ever runs on the thread that drains.
class VirtualDispatch final : public Dispatch {
 public:
  VirtualDispatch();

  void async(std::function<void()> work) override;
  void asyncAfter(double seconds, std::shared_ptr<WorkItem> item) override;
  using Dispatch::asyncAfter;
  void global(QualityOfService qos, std::function<void()> work) override;
  std::shared_ptr<Timer> scheduledRepeatingTimer(double interval,
                                                 std::function<void()> tick) override;
  Date now() const override;

  // Runs main-queue and global work, oldest first, until none is left. Time does not move.
  void runUntilIdle();
  // Moves the clock forward, firing delayed work and timers at their moments, and drains the
  // queues after each.
  void advance(double seconds);

  // The global work waiting, taken out of the queue so a test can run it in any order.
  std::vector<std::function<void()>> takeGlobalWork();

  // Drops every queued, delayed and timed block unrun, with whatever they hold.
  void discardAll();

  std::size_t validTimerCount() const;
  // Seconds since the clock's start.
  double elapsed() const;

 private:
  struct Delayed {
    double due;
    std::uint64_t order;
    std::shared_ptr<WorkItem> item;
  };
  class VirtualTimer;

  bool runOne();
  bool fireNextDueBy(double limit);

  mutable std::mutex mutex_;
  std::deque<std::function<void()>> main_;
  std::deque<std::function<void()>> global_;  // of every quality of service alike
  std::vector<Delayed> delayed_;
  std::vector<std::shared_ptr<VirtualTimer>> timers_;
  double elapsed_ = 0;
  std::uint64_t order_ = 0;
  const Date start_;
};

}  // namespace murvel::testing
