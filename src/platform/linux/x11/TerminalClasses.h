#pragma once

#include <string_view>

namespace murvel::linux_platform::x11 {

// True when a window of this WM_CLASS (instance or class name) is a terminal emulator: those
// paste with Control+Shift+V, since Control+V types a control character there.
bool isTerminalClass(std::string_view instanceOrClass);

}  // namespace murvel::linux_platform::x11
