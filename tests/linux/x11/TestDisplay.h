#pragma once

// Qt before Xlib: Xlib's macros would break Qt's headers.
#include <QCoreApplication>
#include <QEventLoop>

#include <X11/Xlib.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <ostream>

#include "hotkey/KeyEvent.h"

namespace murvel {
inline void PrintTo(const KeyEvent& event, std::ostream* out) {
  *out << "{type " << event.type << ", key " << event.keyCode << ", flags 0x" << std::hex
       << event.modifierFlags << std::dec << "}";
}
}  // namespace murvel

namespace murvel::linux_platform::testing {

// Runs the Qt event loop until `done` holds; false when it does not within the deadline.
bool waitUntil(const std::function<bool()>& done,
               std::chrono::milliseconds deadline = std::chrono::seconds(5),
               QEventLoop::ProcessEventsFlags flags = QEventLoop::AllEvents);

// A second X client beside the code under test: the user's keyboard (through XTest, as
// xdotool would), other applications' windows, and a window manager where one is needed.
class TestDisplay {
 public:
  TestDisplay();
  ~TestDisplay();
  TestDisplay(const TestDisplay&) = delete;
  TestDisplay& operator=(const TestDisplay&) = delete;

  Display* display() const { return display_; }
  Window root() const { return DefaultRootWindow(display_); }

  void key(unsigned keycode, bool press);
  void tap(unsigned keycode);

  // A mapped top-level window with the given WM_CLASS that records its key events.
  Window createWindow(const std::string& instance, const std::string& className);
  void focus(Window window);
  Window focused() const;

  void setTextProperty(Window window, const char* name, const std::string& value);
  void setLongsProperty(Window window, const char* name, Atom type,
                        const std::vector<long>& values);
  Atom atom(const char* name) const;

  // Reads what has arrived for this client's windows.
  void pump();
  std::vector<XKeyEvent> keyEvents;
  std::vector<XClientMessageEvent> clientMessages;

  // The first key press of `keycode` received so far, or nullptr.
  const XKeyEvent* pressOf(unsigned keycode) const;

 private:
  Display* display_;
};

}  // namespace murvel::linux_platform::testing
