#pragma once

#include <optional>
#include <string>

namespace murvel::linux_platform {

// What a Wayland session offers Murvel. Murvel itself stays an X11 client (of XWayland there),
// so its own windows, sounds and stores work as on X11; what changes is everything that
// reaches other applications: the compositor keeps their keys to itself, and their clipboard is
// Wayland's, not X11's.
struct WaylandSession {
  enum class Compositor { sway, hyprland, kde, gnome, other };

  Compositor compositor = Compositor::other;
  // sway's IPC socket, which tells which window is in front.
  std::optional<std::string> swaySocket;
  // The helpers that speak the clipboard and virtual-keyboard protocols, found on the PATH.
  bool hasWlCopy = false;
  bool hasWtype = false;

  // Whether the paste keystroke can reach Wayland windows: wtype needs the virtual-keyboard
  // protocol, which GNOME does not offer and KDE keeps for its input method.
  bool canPostKeys() const;

  // One line for standard error: what works on this desktop and what does not.
  std::string abilities() const;
};

// The session of this process's environment, when it is a Wayland one (WAYLAND_DISPLAY or
// XDG_SESSION_TYPE say so).
std::optional<WaylandSession> waylandSession();

}  // namespace murvel::linux_platform
