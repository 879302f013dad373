#pragma once

#include <memory>
#include <optional>

#include "platform/Workspace.h"

namespace murvel::linux_platform {

// The application in front and bringing one forward, through the window manager's EWMH
// properties. `platformHandle` is the X window. Main thread only.
class X11ActiveWindow {
 public:
  X11ActiveWindow();
  ~X11ActiveWindow();

  // The application of the active window (of the focused window when no window manager names
  // one), or nothing.
  std::optional<RunningApplication> frontmostApplication();

  // Asks the window manager to activate the application's window; without one, raises it and
  // gives it the keyboard focus. A window that has gone is ignored.
  void activate(const RunningApplication& application);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace murvel::linux_platform
