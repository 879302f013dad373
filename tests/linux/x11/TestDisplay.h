#pragma once

#include <gtest/gtest.h>

// Qt before Xlib: Xlib's macros would break Qt's headers.
#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "hotkey/KeyEvent.h"

namespace murvel {
inline void PrintTo(const KeyEvent& event, std::ostream* out) {
  *out << "{type " << event.type << ", key " << event.keyCode << ", flags 0x" << std::hex
       << event.modifierFlags << std::dec << "}";
}
}  // namespace murvel

namespace murvel::linux_platform::testing {

// Modifier key events, each given as the key and the flags after its change.
using Changes = std::vector<std::pair<std::uint16_t, std::uint64_t>>;
inline std::vector<KeyEvent> changes(const Changes& keys) {
  std::vector<KeyEvent> events;
  for (auto [code, flags] : keys) events.push_back({KeyEventType::flagsChanged, code, flags});
  return events;
}

// Runs the Qt event loop until `done` holds; false when it does not within a generous deadline.
inline bool waitUntil(const std::function<bool()>& done,
                      QEventLoop::ProcessEventsFlags flags = QEventLoop::AllEvents) {
  auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  QTimer tick;  // wakes the wait below, so that `done` is asked again
  tick.start(10);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end)
      return false;
    QCoreApplication::processEvents(flags | QEventLoop::WaitForMoreEvents);
  }
  return true;
}

// A second X client beside the code under test: the user's keyboard (through XTest, as
// xdotool would), other applications' windows, and a window manager where one is needed.
class TestDisplay {
 public:
  TestDisplay() {
    if (!display_)
      throw std::runtime_error("no X display: run under tests/linux/session.sh --x11");
  }

  Display* display() const { return display_.get(); }
  Window root() const { return DefaultRootWindow(display()); }
  Atom atom(const char* name) const { return XInternAtom(display(), name, False); }

  void key(unsigned keycode, bool press) {
    XTestFakeKeyEvent(display(), keycode, press ? True : False, CurrentTime);
    XSync(display(), False);
  }
  void tap(unsigned keycode) {
    key(keycode, true);
    key(keycode, false);
  }

  // A mapped top-level window with the given WM_CLASS that records its key events.
  Window createWindow(const char* instance, const char* className) {
    Window window = XCreateSimpleWindow(display(), root(), 0, 0, 100, 100, 0, 0, 0);
    XClassHint hint{const_cast<char*>(instance), const_cast<char*>(className)};
    XSetClassHint(display(), window, &hint);
    XSelectInput(display(), window, KeyPressMask | KeyReleaseMask);
    XMapWindow(display(), window);
    XSync(display(), False);
    return window;
  }

  void focus(Window window) {
    XSetInputFocus(display(), window, RevertToParent, CurrentTime);
    XSync(display(), False);
  }

  // Reads what has arrived for this client's windows into `events`.
  void pump() {
    while (XPending(display()) > 0) {
      events.emplace_back();
      XNextEvent(display(), &events.back());
    }
  }
  std::vector<XEvent> events;

 private:
  std::unique_ptr<Display, int (*)(Display*)> display_{XOpenDisplay(nullptr), XCloseDisplay};
};

}  // namespace murvel::linux_platform::testing
