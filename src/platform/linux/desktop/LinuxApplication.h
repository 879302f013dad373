#pragma once

#include "platform/Application.h"

namespace murvel::linux_platform {

// The Qt application as a whole. Needs a QApplication on the main thread.
class LinuxApplication final : public Application {
 public:
  // Leaves the event loop on its next turn, also when called before the loop has started.
  void terminate() override;
  // Raises this application's visible windows and asks the window manager to activate them.
  void activateIgnoringOtherApps(bool flag) override;
  std::int64_t processIdentifier() override;
  std::optional<std::uint64_t> currentEventType() override { return currentEvent_; }

  // The toolkit names the input event it is dispatching, for the length of that dispatch.
  void setCurrentEventType(std::optional<std::uint64_t> type) { currentEvent_ = type; }

 private:
  std::optional<std::uint64_t> currentEvent_;
};

}  // namespace murvel::linux_platform
