#pragma once

#include <chrono>
#include <optional>
#include <string>

using Display = struct _XDisplay;

namespace murvel::bench {

// The private X server as a person at it would use it: keys through XTest, clicks through
// xdotool, windows closed the way a window manager's close button does.
class Desktop {
 public:
  using Clock = std::chrono::steady_clock;

  Desktop();
  ~Desktop();
  Desktop(const Desktop&) = delete;
  Desktop& operator=(const Desktop&) = delete;

  bool connected() const { return display_ != nullptr; }
  // Presses or releases Right Control; returns once the server has taken the event, with the
  // moment it was sent.
  Clock::time_point rightControl(bool down);
  // The centre of the app's tray icon once it is docked and shown.
  std::optional<std::pair<int, int>> trayIconCentre(const std::string& windowClass) const;
  static bool click(int x, int y, int button);
  static bool key(const std::string& name);
  // Asks the window with this exact title to close, as its close button would.
  bool closeWindow(const std::string& title);

 private:
  Display* display_ = nullptr;
  unsigned int rightControlCode_ = 0;
};

}  // namespace murvel::bench
