#include <gtest/gtest.h>

#include "TestDisplay.h"

#include <X11/Xatom.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "platform/linux/x11/X11Accessibility.h"
#include "platform/linux/x11/X11ActiveWindow.h"

namespace murvel::linux_platform {
namespace {

using testing::TestDisplay;

class ActiveWindowTest : public ::testing::Test {
 protected:
  // No window manager left behind by an earlier test in the same server.
  ActiveWindowTest() {
    XDeleteProperty(user.display(), user.root(), user.atom("_NET_ACTIVE_WINDOW"));
    XDeleteProperty(user.display(), user.root(), user.atom("_NET_SUPPORTED"));
    XSync(user.display(), False);
  }

  // As a window manager does.
  void makeActive(Window window) {
    user.setLongsProperty(user.root(), "_NET_ACTIVE_WINDOW", XA_WINDOW,
                          {static_cast<long>(window)});
  }

  static void writeDesktopEntry(const std::string& id, const std::string& body) {
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    ASSERT_NE(dataHome, nullptr);
    auto directory = std::filesystem::path(dataHome) / "applications";
    std::filesystem::create_directories(directory);
    std::ofstream(directory / (id + ".desktop")) << "[Desktop Entry]\nType=Application\nExec=true\n"
                                                 << body;
  }

  TestDisplay user;
};

TEST_F(ActiveWindowTest, FrontmostIsTheActiveWindowsApplication) {
  Window window = user.createWindow("scratch-pad", "ScratchPad");
  user.setLongsProperty(window, "_NET_WM_PID", XA_CARDINAL, {4242});
  makeActive(window);
  X11ActiveWindow activeWindow;
  auto app = activeWindow.frontmostApplication();
  ASSERT_TRUE(app);
  EXPECT_EQ(app->bundleIdentifier, "ScratchPad");
  EXPECT_EQ(app->localizedName, "ScratchPad");
  EXPECT_EQ(app->processIdentifier, 4242);
  EXPECT_EQ(app->platformHandle, window);
}

TEST_F(ActiveWindowTest, DesktopEntriesNameTheApplication) {
  writeDesktopEntry("org.example.Notes", "Name=Example Notes\nStartupWMClass=NotesWindow\n");
  writeDesktopEntry("org.example.Sketch", "Name=Sketch Book\n");
  writeDesktopEntry("viewer", "Name=Picture Viewer\n");
  Window byStartupClass = user.createWindow("notes", "NotesWindow");
  Window byApplicationId = user.createWindow("sketch", "Sketch");
  user.setTextProperty(byApplicationId, "_GTK_APPLICATION_ID", "org.example.Sketch");
  Window byClassName = user.createWindow("viewer", "Viewer");
  Window unknownId = user.createWindow("tool", "Tool");
  user.setTextProperty(unknownId, "_KDE_NET_WM_DESKTOP_FILE", "org.example.Tool");

  using Named = std::pair<std::string, std::string>;  // identifier, name
  X11ActiveWindow activeWindow;
  auto frontmost = [&](Window window) {
    makeActive(window);
    auto app = activeWindow.frontmostApplication();
    return app ? Named(app->bundleIdentifier.value_or(""), app->localizedName.value_or(""))
               : Named();
  };
  EXPECT_EQ(frontmost(byStartupClass), Named("org.example.Notes", "Example Notes"));
  EXPECT_EQ(frontmost(byApplicationId), Named("org.example.Sketch", "Sketch Book"));
  EXPECT_EQ(frontmost(byClassName), Named("viewer", "Picture Viewer"));
  EXPECT_EQ(frontmost(unknownId), Named("org.example.Tool", "Tool"));
}

TEST_F(ActiveWindowTest, ActiveWindowThatHasGoneIsNoApplication) {
  Window window = user.createWindow("brief", "Brief");
  makeActive(window);
  XDestroyWindow(user.display(), window);
  XSync(user.display(), False);
  X11ActiveWindow activeWindow;
  EXPECT_FALSE(activeWindow.frontmostApplication());
  activeWindow.activate(RunningApplication{{}, {}, 0, window});  // no crash either
}

TEST_F(ActiveWindowTest, WithoutAWindowManagerTheFocusDecides) {
  Window first = user.createWindow("first", "First");
  Window second = user.createWindow("second", "Second");
  user.focus(first);
  X11ActiveWindow activeWindow;
  auto app = activeWindow.frontmostApplication();
  ASSERT_TRUE(app);
  EXPECT_EQ(app->platformHandle, first);

  activeWindow.activate(RunningApplication{"Second", "Second", 0, second});
  EXPECT_EQ(user.focused(), second);
  EXPECT_EQ(activeWindow.frontmostApplication()->bundleIdentifier, "Second");
}

TEST_F(ActiveWindowTest, ActivationAsksTheWindowManager) {
  // The test display plays the window manager.
  Window window = user.createWindow("target", "Target");
  user.setLongsProperty(user.root(), "_NET_SUPPORTED", XA_ATOM,
                        {static_cast<long>(user.atom("_NET_ACTIVE_WINDOW"))});
  XSelectInput(user.display(), user.root(), SubstructureNotifyMask);
  XSync(user.display(), False);

  X11ActiveWindow activeWindow;
  activeWindow.activate(RunningApplication{"Target", "Target", 0, window});
  ASSERT_TRUE(testing::waitUntil([&] {
    user.pump();
    return !user.clientMessages.empty();
  }));
  const auto& message = user.clientMessages.front();
  EXPECT_EQ(message.message_type, user.atom("_NET_ACTIVE_WINDOW"));
  EXPECT_EQ(message.window, window);
  EXPECT_EQ(message.data.l[0], 2);
  EXPECT_NE(user.focused(), window);  // left to the window manager
}

TEST(X11Accessibility, TrustedOnlyWhereTheDisplayCanBeListenedToAndTypedOn) {
  X11Accessibility accessibility;
  EXPECT_TRUE(accessibility.isProcessTrusted());
  std::string display = std::getenv("DISPLAY");
  setenv("DISPLAY", ":4077", 1);  // no server there
  EXPECT_FALSE(accessibility.isProcessTrusted());
  setenv("DISPLAY", display.c_str(), 1);
}

}  // namespace
}  // namespace murvel::linux_platform
