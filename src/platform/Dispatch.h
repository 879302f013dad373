#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "platform/Date.h"

namespace murvel {

enum class QualityOfService { userInteractive, userInitiated, utility, background };

// A block that can be cancelled before it runs. Cancelling after it ran does nothing.
class WorkItem {
 public:
  explicit WorkItem(std::function<void()> block) : block_(std::move(block)) {}

  void cancel() { cancelled_.store(true); }
  bool isCancelled() const { return cancelled_.load(); }
  void perform() {
    if (!isCancelled() && block_)
      block_();
  }

 private:
  std::function<void()> block_;
  std::atomic<bool> cancelled_{false};
};

// A timer on the main run loop. The run loop keeps it until it is invalidated.
class Timer {
 public:
  virtual ~Timer() = default;
  virtual void invalidate() = 0;
  virtual bool isValid() const = 0;
};

// The main queue, the global queues and the clock.
class Dispatch {
 public:
  virtual ~Dispatch() = default;

  // Runs `work` on the main queue on a later turn, in the order of the calls. Callable from
  // any thread.
  virtual void async(std::function<void()> work) = 0;

  // Runs `item` on the main queue once `seconds` have passed, unless it was cancelled.
  virtual void asyncAfter(double seconds, std::shared_ptr<WorkItem> item) = 0;

  void asyncAfter(double seconds, std::function<void()> work) {
    asyncAfter(seconds, std::make_shared<WorkItem>(std::move(work)));
  }

  // Runs `work` on a background thread of the given quality of service.
  virtual void global(QualityOfService qos, std::function<void()> work) = 0;

  // Fires `tick` on the main queue every `interval` seconds, the first time one interval from
  // now, until the timer is invalidated.
  virtual std::shared_ptr<Timer> scheduledRepeatingTimer(double interval,
                                                         std::function<void()> tick) = 0;

  // The current time.
  virtual Date now() const = 0;
};

}  // namespace murvel
