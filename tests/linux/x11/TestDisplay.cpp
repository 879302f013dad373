#include "TestDisplay.h"

#include <QTimer>

#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

#include <stdexcept>

namespace murvel::linux_platform::testing {

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds deadline,
               QEventLoop::ProcessEventsFlags flags) {
  auto end = std::chrono::steady_clock::now() + deadline;
  QTimer tick;  // wakes the wait below, so that `done` is asked again
  tick.start(10);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end)
      return false;
    QCoreApplication::processEvents(flags | QEventLoop::WaitForMoreEvents);
  }
  return true;
}

TestDisplay::TestDisplay() : display_(XOpenDisplay(nullptr)) {
  if (display_ == nullptr)
    throw std::runtime_error("no X display: run under tests/linux/session.sh --x11");
}

TestDisplay::~TestDisplay() {
  XCloseDisplay(display_);
}

void TestDisplay::key(unsigned keycode, bool press) {
  XTestFakeKeyEvent(display_, keycode, press ? True : False, CurrentTime);
  XSync(display_, False);
}

void TestDisplay::tap(unsigned keycode) {
  key(keycode, true);
  key(keycode, false);
}

Window TestDisplay::createWindow(const std::string& instance, const std::string& className) {
  Window window = XCreateSimpleWindow(display_, root(), 0, 0, 100, 100, 0, 0, 0);
  XClassHint hint{const_cast<char*>(instance.c_str()), const_cast<char*>(className.c_str())};
  XSetClassHint(display_, window, &hint);
  XSelectInput(display_, window, KeyPressMask | KeyReleaseMask);
  XMapWindow(display_, window);
  XSync(display_, False);
  return window;
}

void TestDisplay::focus(Window window) {
  XSetInputFocus(display_, window, RevertToParent, CurrentTime);
  XSync(display_, False);
}

Window TestDisplay::focused() const {
  Window window = None;
  int revert = 0;
  XGetInputFocus(display_, &window, &revert);
  return window;
}

Atom TestDisplay::atom(const char* name) const {
  return XInternAtom(display_, name, False);
}

void TestDisplay::setTextProperty(Window window, const char* name, const std::string& value) {
  XChangeProperty(display_, window, atom(name), atom("UTF8_STRING"), 8, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(value.data()),
                  static_cast<int>(value.size()));
  XSync(display_, False);
}

void TestDisplay::setLongsProperty(Window window, const char* name, Atom type,
                                   const std::vector<long>& values) {
  XChangeProperty(display_, window, atom(name), type, 32, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(values.data()),
                  static_cast<int>(values.size()));
  XSync(display_, False);
}

void TestDisplay::pump() {
  while (XPending(display_) > 0) {
    XEvent event;
    XNextEvent(display_, &event);
    if (event.type == KeyPress || event.type == KeyRelease)
      keyEvents.push_back(event.xkey);
    else if (event.type == ClientMessage)
      clientMessages.push_back(event.xclient);
  }
}

const XKeyEvent* TestDisplay::pressOf(unsigned keycode) const {
  for (const auto& event : keyEvents) {
    if (event.type == KeyPress && event.keycode == keycode)
      return &event;
  }
  return nullptr;
}

}  // namespace murvel::linux_platform::testing
