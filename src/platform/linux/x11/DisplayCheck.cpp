#include "platform/linux/x11/DisplayCheck.h"

#include <X11/Xlib.h>

#include <cstdlib>

namespace murvel::linux_platform::x11 {

std::optional<std::string> missingDisplay() {
  const char* display = std::getenv("DISPLAY");
  const char* wayland = std::getenv("WAYLAND_DISPLAY");
  if (display == nullptr || *display == '\0') {
    if (wayland != nullptr && *wayland != '\0') {
      return "Murvel needs an X11 display, and this Wayland session offers none: enable "
             "XWayland or log in to an X11 session (DISPLAY is not set).";
    }
    return "Murvel needs an X11 display, and none is set: start it from a desktop session or "
           "set DISPLAY.";
  }
  Display* connection = XOpenDisplay(nullptr);
  if (connection == nullptr) {
    return std::string("Murvel cannot open the X11 display \"") + display +
           "\": check that the X server runs and that this user may connect to it.";
  }
  XCloseDisplay(connection);
  return std::nullopt;
}

}  // namespace murvel::linux_platform::x11
