#pragma once

#include <X11/Xlib.h>

#include <optional>
#include <string>
#include <vector>

namespace murvel::linux_platform::x11 {

// Plain readers of window properties. A window that has vanished reads as having none.

struct WindowClass {
  std::string instance;   // res_name
  std::string className;  // res_class
};

std::optional<WindowClass> windowClass(Display* display, Window window);

// A text property in UTF8_STRING or STRING.
std::optional<std::string> textProperty(Display* display, Window window, const char* name);

// The 32-bit items of a property of the given type (CARDINAL, WINDOW, ATOM).
std::vector<unsigned long> longsProperty(Display* display, Window window, const char* name,
                                         Atom type);

// The window from `start` upwards that carries WM_CLASS, or 0.
Window windowWithClass(Display* display, Window start);

// The window that the window manager reports as active, or 0.
Window activeWindow(Display* display);

// The window that has the keyboard focus, from there up to the one with WM_CLASS, or 0.
Window focusedClientWindow(Display* display);

}  // namespace murvel::linux_platform::x11
