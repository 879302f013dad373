#include "platform/linux/x11/X11ActiveWindow.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <algorithm>
#include <cctype>

#include "platform/linux/x11/DesktopApps.h"
#include "platform/linux/x11/WindowProperties.h"
#include "platform/linux/x11/XConnection.h"

namespace murvel::linux_platform {

namespace {

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

}  // namespace

class X11ActiveWindow::Impl {
 public:
  Impl() : connection_(x11::XConnection::open()) {}

  std::optional<RunningApplication> frontmost();
  void activate(Window window);

 private:
  bool windowManagerActivates();
  std::optional<x11::DesktopApp> desktopApp(Window window, const x11::WindowClass& windowClass);

  std::unique_ptr<x11::XConnection> connection_;
  x11::DesktopApps desktopApps_;
};

std::optional<RunningApplication> X11ActiveWindow::Impl::frontmost() {
  if (!connection_)
    return std::nullopt;
  Display* display = connection_->display();
  connection_->takeError();
  Window window = x11::activeWindow(display);
  if (window == None)
    window = x11::focusedClientWindow(display);
  if (window == None)
    return std::nullopt;
  auto windowClass = x11::windowClass(display, window);
  auto pid = x11::longsProperty(display, window, "_NET_WM_PID", XA_CARDINAL);
  std::optional<x11::DesktopApp> app;
  if (windowClass)
    app = desktopApp(window, *windowClass);
  // Gone between the look-ups, or never there: nothing is in front that can be named.
  connection_->discardEvents();
  if (connection_->takeError() != 0 || (!windowClass && pid.empty()))
    return std::nullopt;

  RunningApplication result;
  result.platformHandle = window;
  if (!pid.empty())
    result.processIdentifier = static_cast<std::int64_t>(pid.front());
  if (app) {
    result.bundleIdentifier = app->id;
    result.localizedName = app->name.empty() ? windowClass->className : app->name;
  } else if (windowClass) {
    result.bundleIdentifier = windowClass->className;
    result.localizedName = windowClass->className;
  }
  return result;
}

// The id the application gives itself, else the desktop entry that claims its window class,
// else the entry named after the class.
std::optional<x11::DesktopApp> X11ActiveWindow::Impl::desktopApp(
    Window window, const x11::WindowClass& windowClass) {
  Display* display = connection_->display();
  for (const char* property : {"_GTK_APPLICATION_ID", "_KDE_NET_WM_DESKTOP_FILE"}) {
    if (auto id = x11::textProperty(display, window, property); id && !id->empty()) {
      if (auto app = desktopApps_.byId(*id))
        return app;
      return x11::DesktopApp{*id, {}};
    }
  }
  for (const auto& name : {windowClass.className, windowClass.instance}) {
    if (auto app = desktopApps_.byStartupWMClass(name))
      return app;
  }
  for (const auto& name : {windowClass.className, windowClass.instance}) {
    if (auto app = desktopApps_.byId(lowerCase(name)))
      return app;
  }
  return std::nullopt;
}

bool X11ActiveWindow::Impl::windowManagerActivates() {
  Display* display = connection_->display();
  Atom activeWindow = XInternAtom(display, "_NET_ACTIVE_WINDOW", False);
  auto supported =
      x11::longsProperty(display, DefaultRootWindow(display), "_NET_SUPPORTED", XA_ATOM);
  return std::find(supported.begin(), supported.end(), activeWindow) != supported.end();
}

void X11ActiveWindow::Impl::activate(Window window) {
  if (!connection_ || window == None)
    return;
  Display* display = connection_->display();
  Window root = DefaultRootWindow(display);
  if (windowManagerActivates()) {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display, "_NET_ACTIVE_WINDOW", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = 2;  // from a pager: the user asked for it
    event.xclient.data.l[1] = CurrentTime;
    event.xclient.data.l[2] = None;
    XSendEvent(display, root, False, SubstructureRedirectMask | SubstructureNotifyMask, &event);
  } else {
    XRaiseWindow(display, window);
    XSetInputFocus(display, window, RevertToParent, CurrentTime);
  }
  XSync(display, False);
  connection_->discardEvents();
  connection_->takeError();
}

X11ActiveWindow::X11ActiveWindow() : impl_(std::make_unique<Impl>()) {}

X11ActiveWindow::~X11ActiveWindow() = default;

std::optional<RunningApplication> X11ActiveWindow::frontmostApplication() {
  return impl_->frontmost();
}

void X11ActiveWindow::activate(const RunningApplication& application) {
  impl_->activate(static_cast<Window>(application.platformHandle));
}

}  // namespace murvel::linux_platform
