#include "platform/linux/x11/TerminalClasses.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>

namespace murvel::linux_platform::x11 {

namespace {

constexpr std::array<std::string_view, 40> terminals{
    "alacritty",
    "blackbox",
    "com.gexperts.tilix",
    "com.raggesilver.blackbox",
    "cool-retro-term",
    "deepin-terminal",
    "eterm",
    "foot",
    "footclient",
    "gnome-terminal",
    "gnome-terminal-server",
    "guake",
    "io.elementary.terminal",
    "kgx",
    "kitty",
    "konsole",
    "lxterminal",
    "mate-terminal",
    "org.gnome.console",
    "org.gnome.ptyxis",
    "org.gnome.terminal",
    "org.kde.konsole",
    "org.wezfurlong.wezterm",
    "ptyxis",
    "qterminal",
    "roxterm",
    "rxvt",
    "sakura",
    "st",
    "st-256color",
    "terminator",
    "terminology",
    "termite",
    "tilda",
    "tilix",
    "urxvt",
    "uxterm",
    "wezterm",
    "xfce4-terminal",
    "xterm",
};

}  // namespace

bool isTerminalClass(std::string_view instanceOrClass) {
  std::string lower(instanceOrClass);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return std::find(terminals.begin(), terminals.end(), lower) != terminals.end();
}

}  // namespace murvel::linux_platform::x11
