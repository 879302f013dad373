#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/linux/x11/DisplayCheck.h"

namespace murvel::linux_platform {
namespace {

// Each way the display can be out of reach has its own sentence; the session's display has none.
TEST(DisplayCheckTest, SaysWhyNoX11DisplayCanBeReached) {
  const std::string display = std::getenv("DISPLAY");
  EXPECT_EQ(x11::missingDisplay(), std::nullopt);
  struct Row {
    const char* display;  // null: unset
    const char* wayland;  // null: unset
    const char* says;
  };
  for (const Row& row : {Row{nullptr, nullptr, "needs an X11 display, and none is set"},
                         Row{nullptr, "wayland-0", "this Wayland session offers none"},
                         Row{":97", nullptr, "cannot open the X11 display \":97\""}}) {
    row.display ? setenv("DISPLAY", row.display, 1) : unsetenv("DISPLAY");
    row.wayland ? setenv("WAYLAND_DISPLAY", row.wayland, 1) : unsetenv("WAYLAND_DISPLAY");
    EXPECT_NE(x11::missingDisplay().value_or("").find(row.says), std::string::npos) << row.says;
  }
  setenv("DISPLAY", display.c_str(), 1);
  unsetenv("WAYLAND_DISPLAY");
}

}  // namespace
}  // namespace murvel::linux_platform
