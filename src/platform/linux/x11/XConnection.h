#pragma once

#include <X11/Xlib.h>

#include <memory>
#include <set>

namespace murvel::linux_platform::x11 {

// One Xlib connection of this component's own. Protocol errors on it (a window that vanished
// between two calls, typically) are recorded instead of ending the process, as Xlib's default
// handler would.
class XConnection {
 public:
  // The display named by DISPLAY, or null when none can be opened.
  static std::unique_ptr<XConnection> open();
  ~XConnection();

  XConnection(const XConnection&) = delete;
  XConnection& operator=(const XConnection&) = delete;

  Display* display() const { return display_; }

  // The code of the first protocol error since the previous call, or 0. Call after a round
  // trip: errors of requests without a reply arrive only then.
  int takeError();

  // Reads and drops the events that every client is sent (keymap changes and the like), for a
  // connection that selects none of its own.
  void discardEvents();

  // The keycodes held down now, on any keyboard.
  std::set<unsigned> keysDown() const;

 private:
  explicit XConnection(Display* display);
  Display* display_;
};

}  // namespace murvel::linux_platform::x11
