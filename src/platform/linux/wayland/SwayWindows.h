#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Workspace.h"
#include "platform/linux/x11/DesktopApps.h"

namespace murvel::linux_platform {

// A window as sway's tree describes it: native Wayland windows have an app id, XWayland ones an
// X11 class.
struct SwayWindow {
  std::int64_t id = 0;  // sway's container id
  std::int64_t pid = 0;
  std::string appId;
  std::string windowClass;
  std::string instance;
};

// The focused window of a sway tree (the JSON of GET_TREE), or nothing when the focus is on an
// empty workspace or the text is not a tree.
std::optional<SwayWindow> focusedSwayWindow(const std::string& tree);

// The window in front and its activation, asked of sway over its IPC socket. Each request is a
// short exchange on a local socket, bounded by a timeout, like a round trip to an X server.
// Main thread only.
class SwayWindows {
 public:
  explicit SwayWindows(std::string socketPath);

  std::optional<SwayWindow> focusedWindow();
  std::optional<RunningApplication> frontmostApplication();
  void activate(const RunningApplication& application);

 private:
  std::optional<std::string> request(std::uint32_t type, const std::string& payload);

  std::string socketPath_;
  x11::DesktopApps desktopApps_;
};

}  // namespace murvel::linux_platform
