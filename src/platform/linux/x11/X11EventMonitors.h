#pragma once

#include <memory>

#include "platform/EventMonitors.h"
#include "platform/linux/x11/SyntheticKeyLedger.h"

namespace murvel::linux_platform {

// Keyboard monitors on XInput2 raw key events of the X display: they only listen, and never
// grab or consume a key at the X level. Local monitors hear keys while a window of this process
// has the keyboard focus (and can keep those keys from its widgets); global monitors hear them
// otherwise. Keys that this process sends itself, as recorded in `ownKeys`, are not heard.
//
// Make and use it on the main thread, with the Qt application in place: handlers run from the
// Qt event loop. Without an X display with XInput 2 no monitor is made.
class X11EventMonitors final : public EventMonitors {
 public:
  explicit X11EventMonitors(std::shared_ptr<SyntheticKeyLedger> ownKeys);
  ~X11EventMonitors() override;

  std::optional<MonitorToken> addLocalMonitor(
      std::uint64_t mask, std::function<std::optional<KeyEvent>(const KeyEvent&)> handler) override;
  std::optional<MonitorToken> addGlobalMonitor(
      std::uint64_t mask, std::function<void(const KeyEvent&)> handler) override;
  void removeMonitor(MonitorToken token) override;

  // Whether the keyboard map gives some key the Fn keysym. Most keyboards handle Fn inside and
  // never report it to X; then Fn cannot serve as the hotkey here.
  bool hasFunctionKey() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace murvel::linux_platform
