#include "platform/linux/x11/XConnection.h"

#include <map>
#include <mutex>
#include <utility>

namespace murvel::linux_platform::x11 {

namespace {

struct ErrorRegistry {
  std::mutex mutex;
  std::map<Display*, int> firstError;  // connections of ours, with their pending error
  XErrorHandler previous = nullptr;
};

ErrorRegistry& registry() {
  static ErrorRegistry instance;
  return instance;
}

int recordError(Display* display, XErrorEvent* error) {
  XErrorHandler previous = nullptr;
  {
    auto& errors = registry();
    std::lock_guard lock(errors.mutex);
    auto found = errors.firstError.find(display);
    if (found != errors.firstError.end()) {
      if (found->second == 0)
        found->second = error->error_code;
      return 0;
    }
    previous = errors.previous;
  }
  // Connections of other code keep the handler they had.
  return previous != nullptr ? previous(display, error) : 0;
}

void installHandlerOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    auto previous = XSetErrorHandler(recordError);
    std::lock_guard lock(registry().mutex);
    registry().previous = previous;
  });
}

}  // namespace

std::unique_ptr<XConnection> XConnection::open() {
  installHandlerOnce();
  Display* display = XOpenDisplay(nullptr);
  if (display == nullptr)
    return nullptr;
  return std::unique_ptr<XConnection>(new XConnection(display));
}

XConnection::XConnection(Display* display) : display_(display) {
  std::lock_guard lock(registry().mutex);
  registry().firstError[display_] = 0;
}

XConnection::~XConnection() {
  XCloseDisplay(display_);
  std::lock_guard lock(registry().mutex);
  registry().firstError.erase(display_);
}

int XConnection::takeError() {
  std::lock_guard lock(registry().mutex);
  int& error = registry().firstError[display_];
  return std::exchange(error, 0);
}

void XConnection::discardEvents() {
  while (XPending(display_) > 0) {
    XEvent event;
    XNextEvent(display_, &event);
  }
}

std::set<unsigned> XConnection::keysDown() const {
  char keys[32] = {};
  XQueryKeymap(display_, keys);
  std::set<unsigned> down;
  for (unsigned keycode = 0; keycode < 256; ++keycode) {
    if ((keys[keycode / 8] & (1 << (keycode % 8))) != 0)
      down.insert(keycode);
  }
  return down;
}

}  // namespace murvel::linux_platform::x11
