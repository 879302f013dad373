#pragma once

#include "platform/Dispatch.h"

namespace murvel::linux_platform {

// The main queue is the Qt event loop of the main thread; global queues are Qt's thread pool.
// A QCoreApplication must exist before any call. Main-queue work that arrives once the event loop
// has ended (a completion at shutdown) is dropped unrun.
class QtDispatch final : public Dispatch {
 public:
  void async(std::function<void()> work) override;
  void asyncAfter(double seconds, std::shared_ptr<WorkItem> item) override;
  using Dispatch::asyncAfter;
  void global(QualityOfService qos, std::function<void()> work) override;
  std::shared_ptr<Timer> scheduledRepeatingTimer(double interval,
                                                 std::function<void()> tick) override;
  Date now() const override;

  // Waits until the work handed to the global queues has run. For the end of the program,
  // before what that work uses goes away.
  void waitForGlobalWork();
};

}  // namespace murvel::linux_platform
