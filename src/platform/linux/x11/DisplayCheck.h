#pragma once

#include <optional>
#include <string>

namespace murvel::linux_platform::x11 {

// Why this process cannot reach an X11 display, as one sentence for the user, or nothing when it
// can. Looks at DISPLAY and WAYLAND_DISPLAY and tries the connection; touches no toolkit.
std::optional<std::string> missingDisplay();

}  // namespace murvel::linux_platform::x11
