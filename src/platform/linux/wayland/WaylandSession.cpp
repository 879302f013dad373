#include "platform/linux/wayland/WaylandSession.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string_view>

namespace murvel::linux_platform {

namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

bool onPath(std::string_view program) {
  std::istringstream path(environment("PATH"));
  for (std::string directory; std::getline(path, directory, ':');) {
    if (directory.empty())
      continue;
    const auto candidate = std::filesystem::path(directory) / program;
    if (::access(candidate.c_str(), X_OK) == 0)
      return true;
  }
  return false;
}

bool contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

bool WaylandSession::canPostKeys() const {
  return hasWtype && compositor != Compositor::gnome && compositor != Compositor::kde;
}

std::string WaylandSession::abilities() const {
  std::string compositorName;
  switch (compositor) {
    case Compositor::sway:
      compositorName = "sway";
      break;
    case Compositor::hyprland:
      compositorName = "Hyprland";
      break;
    case Compositor::kde:
      compositorName = "KDE";
      break;
    case Compositor::gnome:
      compositorName = "GNOME";
      break;
    case Compositor::other:
      compositorName = "an unknown compositor";
      break;
  }
  std::string line = "Murvel on Wayland (" + compositorName +
                     "): hotkey from the desktop's key bindings (murvel --hotkey "
                     "press|release|toggle); clipboard for Wayland applications: ";
  line += hasWlCopy ? "yes" : "no, install wl-clipboard";
  line += "; paste keystroke: ";
  if (canPostKeys())
    line += "yes";
  else if (!hasWtype && compositor != Compositor::gnome && compositor != Compositor::kde)
    line += "X11 windows only, install wtype";
  else
    line += "X11 windows only, paste with Ctrl+V";
  line += "; application in front: ";
  line += swaySocket ? "yes" : "X11 windows only";
  return line;
}

std::optional<WaylandSession> waylandSession() {
  if (environment("WAYLAND_DISPLAY").empty() && environment("XDG_SESSION_TYPE") != "wayland")
    return std::nullopt;
  WaylandSession session;
  const std::string desktop = environment("XDG_CURRENT_DESKTOP");
  if (const auto sway = environment("SWAYSOCK"); !sway.empty()) {
    session.compositor = WaylandSession::Compositor::sway;
    session.swaySocket = sway;
  } else if (!environment("HYPRLAND_INSTANCE_SIGNATURE").empty()) {
    session.compositor = WaylandSession::Compositor::hyprland;
  } else if (contains(desktop, "KDE")) {
    session.compositor = WaylandSession::Compositor::kde;
  } else if (contains(desktop, "GNOME")) {
    session.compositor = WaylandSession::Compositor::gnome;
  }
  session.hasWlCopy = onPath("wl-copy");
  session.hasWtype = onPath("wtype");
  return session;
}

}  // namespace murvel::linux_platform
