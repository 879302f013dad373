#include "fakes/VirtualDispatch.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <tuple>

namespace murvel::testing {

class VirtualDispatch::VirtualTimer final : public Timer {
 public:
  VirtualTimer(double interval, double firstFire, std::function<void()> tick)
      : interval(interval), nextFire(firstFire), tick(std::move(tick)) {}
  void invalidate() override { valid = false; }
  bool isValid() const override { return valid; }

  double interval;
  double nextFire;
  std::function<void()> tick;
  bool valid = true;
};

VirtualDispatch::VirtualDispatch()
    // A fixed, ordinary moment: 2026-03-01 12:00:00 UTC.
    : start_(std::chrono::system_clock::time_point(std::chrono::seconds(1772366400))) {}

void VirtualDispatch::async(std::function<void()> work) {
  std::lock_guard lock(mutex_);
  main_.push_back(std::move(work));
}

void VirtualDispatch::asyncAfter(double seconds, std::shared_ptr<WorkItem> item) {
  std::lock_guard lock(mutex_);
  delayed_.push_back({elapsed_ + std::max(0.0, seconds), order_++, std::move(item)});
}

void VirtualDispatch::global(QualityOfService, std::function<void()> work) {
  std::lock_guard lock(mutex_);
  global_.push_back(std::move(work));
}

std::shared_ptr<Timer> VirtualDispatch::scheduledRepeatingTimer(double interval,
                                                                std::function<void()> tick) {
  std::lock_guard lock(mutex_);
  auto timer = std::make_shared<VirtualTimer>(interval, elapsed_ + interval, std::move(tick));
  timers_.push_back(timer);
  return timer;
}

Date VirtualDispatch::now() const {
  std::lock_guard lock(mutex_);
  return start_ +
         std::chrono::duration_cast<Date::duration>(std::chrono::duration<double>(elapsed_));
}

double VirtualDispatch::elapsed() const {
  std::lock_guard lock(mutex_);
  return elapsed_;
}

bool VirtualDispatch::runOne() {
  std::function<void()> work;
  {
    std::lock_guard lock(mutex_);
    // The main queue first: its work never waits behind background work.
    auto& queue = main_.empty() ? global_ : main_;
    if (queue.empty())
      return false;
    work = std::move(queue.front());
    queue.pop_front();
  }
  work();
  return true;
}

void VirtualDispatch::runUntilIdle() {
  while (runOne()) {
  }
}

bool VirtualDispatch::fireNextDueBy(double limit) {
  std::function<void()> fire;
  {
    std::lock_guard lock(mutex_);
    timers_.erase(std::remove_if(timers_.begin(), timers_.end(),
                                 [](const auto& timer) { return !timer->valid; }),
                  timers_.end());
    // Delayed work due at the same moment runs in the order it was queued.
    const auto delayed = std::min_element(delayed_.begin(), delayed_.end(), [](auto& a, auto& b) {
      return std::tie(a.due, a.order) < std::tie(b.due, b.order);
    });
    double soonest =
        delayed == delayed_.end() ? std::numeric_limits<double>::infinity() : delayed->due;
    std::shared_ptr<VirtualTimer> timer;
    for (const auto& candidate : timers_) {
      if (candidate->nextFire < soonest) {
        soonest = candidate->nextFire;
        timer = candidate;
      }
    }
    if (soonest > limit)
      return false;
    elapsed_ = std::max(elapsed_, soonest);
    if (timer) {
      timer->nextFire += timer->interval;
      fire = [timer] {
        if (timer->valid)
          timer->tick();
      };
    } else {
      fire = [item = delayed->item] {
        item->perform();
      };
      delayed_.erase(delayed);
    }
  }
  fire();
  runUntilIdle();
  return true;
}

void VirtualDispatch::advance(double seconds) {
  runUntilIdle();
  const double target = elapsed() + seconds;
  while (fireNextDueBy(target)) {
  }
  {
    std::lock_guard lock(mutex_);
    elapsed_ = std::max(elapsed_, target);
  }
  runUntilIdle();
}

std::vector<std::function<void()>> VirtualDispatch::takeGlobalWork() {
  std::lock_guard lock(mutex_);
  std::vector<std::function<void()>> taken(std::make_move_iterator(global_.begin()),
                                           std::make_move_iterator(global_.end()));
  global_.clear();
  return taken;
}

void VirtualDispatch::discardAll() {
  std::deque<std::function<void()>> main;
  std::deque<std::function<void()>> global;
  std::vector<Delayed> delayed;
  std::vector<std::shared_ptr<VirtualTimer>> timers;
  {
    std::lock_guard lock(mutex_);
    main.swap(main_);
    global.swap(global_);
    delayed.swap(delayed_);
    timers.swap(timers_);
  }
  // Destroyed here, outside the lock: a block may own an object whose destructor dispatches.
}

std::size_t VirtualDispatch::validTimerCount() const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count_if(timers_.begin(), timers_.end(),
                                                [](const auto& timer) { return timer->valid; }));
}

}  // namespace murvel::testing
