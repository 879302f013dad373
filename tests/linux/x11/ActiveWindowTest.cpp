#include "TestDisplay.h"

#include <X11/Xatom.h>

#include <algorithm>

#include "platform/linux/x11/X11ActiveWindow.h"

namespace murvel::linux_platform {
namespace {

class ActiveWindowTest : public ::testing::Test {
 protected:
  void setLong(Window window, const char* name, Atom type, long value) {
    XChangeProperty(user.display(), window, user.atom(name), type, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&value), 1);
    XSync(user.display(), False);
  }
  // As a window manager does.
  void makeActive(Window window) {
    setLong(user.root(), "_NET_ACTIVE_WINDOW", XA_WINDOW, static_cast<long>(window));
  }

  testing::TestDisplay user;
  X11ActiveWindow activeWindow;
};

TEST_F(ActiveWindowTest, FrontmostIsTheActiveWindowsApplicationElseTheFocusedOnes) {
  Window window = user.createWindow("scratch-pad", "ScratchPad");
  setLong(window, "_NET_WM_PID", XA_CARDINAL, 4242);
  RunningApplication scratchPad{"ScratchPad", "ScratchPad", 4242, window};
  activeWindow.activate(scratchPad);  // without a window manager, by taking the focus
  EXPECT_EQ(activeWindow.frontmostApplication(), scratchPad);
  user.focus(user.createWindow("other", "Other"));
  makeActive(window);
  EXPECT_EQ(activeWindow.frontmostApplication(), scratchPad);

  // Once that window has gone there is none.
  XDestroyWindow(user.display(), window);
  XSync(user.display(), False);
  EXPECT_FALSE(activeWindow.frontmostApplication());
  activeWindow.activate(scratchPad);  // no crash either
  XDeleteProperty(user.display(), user.root(), user.atom("_NET_ACTIVE_WINDOW"));
}

TEST_F(ActiveWindowTest, ActivationAsksTheWindowManager) {
  // The test display plays the window manager.
  Window window = user.createWindow("target", "Target");
  setLong(user.root(), "_NET_SUPPORTED", XA_ATOM,
          static_cast<long>(user.atom("_NET_ACTIVE_WINDOW")));
  XSelectInput(user.display(), user.root(), SubstructureNotifyMask);
  XSync(user.display(), False);

  activeWindow.activate(RunningApplication{"Target", "Target", 0, window});
  const XClientMessageEvent* message = nullptr;
  ASSERT_TRUE(testing::waitUntil([&] {
    user.pump();
    auto found = std::ranges::find(user.events, ClientMessage, &XEvent::type);
    return found != user.events.end() && (message = &found->xclient) != nullptr;
  }));
  EXPECT_EQ(message->message_type, user.atom("_NET_ACTIVE_WINDOW"));
  EXPECT_EQ(message->window, window);
  EXPECT_EQ(message->data.l[0], 2);
  Window focus = None;
  int revert = 0;
  XGetInputFocus(user.display(), &focus, &revert);
  EXPECT_NE(focus, window);  // left to the window manager
  XDeleteProperty(user.display(), user.root(), user.atom("_NET_SUPPORTED"));
}

}  // namespace
}  // namespace murvel::linux_platform
