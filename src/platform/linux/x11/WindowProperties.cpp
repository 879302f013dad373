#include "platform/linux/x11/WindowProperties.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>

namespace murvel::linux_platform::x11 {

namespace {

// Deep enough for any toolkit's nesting of windows below a client window.
constexpr int maxWalk = 16;

struct Property {
  Atom type = None;
  int format = 0;
  unsigned long count = 0;
  unsigned char* data = nullptr;

  Property() = default;
  Property(const Property&) = delete;
  Property& operator=(const Property&) = delete;
  ~Property() {
    if (data != nullptr)
      XFree(data);
  }
};

bool readProperty(Display* display, Window window, const char* name, Atom wantedType,
                  Property& out) {
  if (window == None)
    return false;
  Atom atom = XInternAtom(display, name, True);
  if (atom == None)
    return false;  // never interned, so no window carries it
  unsigned long after = 0;
  int status = XGetWindowProperty(display, window, atom, 0, 1 << 16, False, wantedType, &out.type,
                                  &out.format, &out.count, &after, &out.data);
  return status == Success && out.data != nullptr && out.type != None;
}

}  // namespace

std::optional<WindowClass> windowClass(Display* display, Window window) {
  if (window == None)
    return std::nullopt;
  XClassHint hint{};
  if (XGetClassHint(display, window, &hint) == 0)
    return std::nullopt;
  WindowClass result{hint.res_name != nullptr ? hint.res_name : "",
                     hint.res_class != nullptr ? hint.res_class : ""};
  if (hint.res_name != nullptr)
    XFree(hint.res_name);
  if (hint.res_class != nullptr)
    XFree(hint.res_class);
  return result;
}

std::optional<std::string> textProperty(Display* display, Window window, const char* name) {
  Property property;
  if (!readProperty(display, window, name, AnyPropertyType, property) || property.format != 8)
    return std::nullopt;
  Atom utf8 = XInternAtom(display, "UTF8_STRING", False);
  if (property.type != utf8 && property.type != XA_STRING)
    return std::nullopt;
  std::string text(reinterpret_cast<const char*>(property.data), property.count);
  // Some clients store a terminating NUL with the text.
  while (!text.empty() && text.back() == '\0') text.pop_back();
  return text;
}

std::vector<unsigned long> longsProperty(Display* display, Window window, const char* name,
                                         Atom type) {
  Property property;
  if (!readProperty(display, window, name, type, property) || property.format != 32 ||
      property.type != type)
    return {};
  // Xlib hands format-32 items back as longs, whatever the size of a long.
  const auto* items = reinterpret_cast<const unsigned long*>(property.data);
  return std::vector<unsigned long>(items, items + property.count);
}

Window windowWithClass(Display* display, Window start) {
  Window window = start;
  Window root = DefaultRootWindow(display);
  for (int depth = 0; depth < maxWalk && window != None && window != root; ++depth) {
    if (windowClass(display, window))
      return window;
    Window rootReturn = None;
    Window parent = None;
    Window* children = nullptr;
    unsigned int count = 0;
    if (XQueryTree(display, window, &rootReturn, &parent, &children, &count) == 0)
      return None;
    if (children != nullptr)
      XFree(children);
    window = parent;
  }
  return None;
}

Window activeWindow(Display* display) {
  auto items = longsProperty(display, DefaultRootWindow(display), "_NET_ACTIVE_WINDOW", XA_WINDOW);
  return items.empty() ? None : static_cast<Window>(items.front());
}

Window focusedClientWindow(Display* display) {
  Window focus = None;
  int revert = 0;
  XGetInputFocus(display, &focus, &revert);
  if (focus == None || focus == PointerRoot)
    return None;
  return windowWithClass(display, focus);
}

}  // namespace murvel::linux_platform::x11
