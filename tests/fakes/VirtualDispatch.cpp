#include "fakes/VirtualDispatch.h"

#include <algorithm>
#include <chrono>
#include <limits>

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

void VirtualDispatch::global(QualityOfService qos, std::function<void()> work) {
  std::lock_guard lock(mutex_);
  global_.emplace_back(qos, std::move(work));
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
    if (!main_.empty()) {
      work = std::move(main_.front());
      main_.pop_front();
    } else if (!global_.empty()) {
      work = std::move(global_.front().second);
      global_.pop_front();
    } else {
      return false;
    }
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
    double soonest = std::numeric_limits<double>::infinity();
    std::uint64_t soonestOrder = std::numeric_limits<std::uint64_t>::max();
    std::size_t delayedIndex = delayed_.size();
    for (std::size_t i = 0; i < delayed_.size(); ++i) {
      const auto& candidate = delayed_[i];
      if (candidate.due < soonest || (candidate.due == soonest && candidate.order < soonestOrder)) {
        soonest = candidate.due;
        soonestOrder = candidate.order;
        delayedIndex = i;
      }
    }
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
      auto item = delayed_[delayedIndex].item;
      delayed_.erase(delayed_.begin() + static_cast<std::ptrdiff_t>(delayedIndex));
      fire = [item] {
        item->perform();
      };
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
  std::vector<std::function<void()>> taken;
  for (auto& [qos, work] : global_) taken.push_back(std::move(work));
  global_.clear();
  return taken;
}

void VirtualDispatch::discardAll() {
  std::deque<std::function<void()>> main;
  std::deque<std::pair<QualityOfService, std::function<void()>>> global;
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
