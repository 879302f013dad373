#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "hotkey/KeyEvent.h"

namespace murvel {

using MonitorToken = std::uint64_t;

// Listen-only keyboard monitors. Handlers run on the main thread.
class EventMonitors {
 public:
  virtual ~EventMonitors() = default;

  // Events directed at this application, of the types in `mask` (bit n for type n). The handler
  // returns the event to let it go on, or nothing to swallow it. Nothing when no monitor was made.
  virtual std::optional<MonitorToken> addLocalMonitor(
      std::uint64_t mask, std::function<std::optional<KeyEvent>(const KeyEvent&)> handler) = 0;

  // Events directed at other applications. Heard only while the process is trusted for
  // listening to the whole desktop.
  virtual std::optional<MonitorToken> addGlobalMonitor(
      std::uint64_t mask, std::function<void(const KeyEvent&)> handler) = 0;

  virtual void removeMonitor(MonitorToken token) = 0;
};

}  // namespace murvel
