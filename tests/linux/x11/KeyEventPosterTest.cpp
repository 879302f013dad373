#include "TestDisplay.h"

#include <X11/keysym.h>

#include <algorithm>
#include <optional>

#include "platform/linux/x11/X11EventMonitors.h"
#include "platform/linux/x11/X11KeyEventPoster.h"

namespace murvel::linux_platform {
namespace {

using testing::waitUntil;

constexpr unsigned leftControl = 37, leftAlt = 64;

class KeyEventPosterTest : public ::testing::Test {
 protected:
  // Posts Command+V the way the paste does and waits until the focused test window has the
  // whole chord, up to the release of Control. Gives the modifiers of its V press, if any.
  std::optional<unsigned> paste() {
    auto source = poster.eventSourceCreate(eventSourceStateHIDSystemState);
    for (bool down : {true, false}) {
      auto event = poster.keyboardEventCreate(source.get(), KeyCode::v, down).value();
      event.flags = ModifierFlag::command;
      poster.eventPost(hidEventTap, event);
    }
    EXPECT_TRUE(waitUntil([&] {
      user.pump();
      return std::ranges::any_of(user.events, [](const XEvent& e) {
        return e.type == KeyRelease && e.xkey.keycode == leftControl;
      });
    }));
    for (const XEvent& e : user.events) {
      if (e.type == KeyPress && e.xkey.keycode == XKeysymToKeycode(user.display(), XK_v))
        return e.xkey.state & (ControlMask | ShiftMask | Mod1Mask | Mod4Mask);
    }
    return std::nullopt;
  }

  testing::TestDisplay user;
  std::shared_ptr<SyntheticKeyLedger> ownKeys = std::make_shared<SyntheticKeyLedger>();
  X11KeyEventPoster poster{ownKeys};
};

TEST_F(KeyEventPosterTest, PasteChordSuitsTheWindowAndIsNotTakenForTheUsersKeys) {
  // Monitors sharing the poster's ledger, as in the application.
  X11EventMonitors monitors{ownKeys};
  std::vector<KeyEvent> heard;
  ASSERT_TRUE(monitors.addGlobalMonitor(KeyEventMask::flagsChanged | KeyEventMask::keyDown,
                                        [&](const KeyEvent& event) { heard.push_back(event); }));
  user.focus(user.createWindow("editor", "TextEditor"));
  EXPECT_EQ(paste(), ControlMask + 0u);
  user.events.clear();
  user.focus(user.createWindow("xterm", "XTerm"));
  EXPECT_EQ(paste(), ControlMask + ShiftMask + 0u);
  user.tap(105);  // Right Control, from another client's XTest
  ASSERT_TRUE(waitUntil([&] { return heard.size() >= 2; }));
  EXPECT_EQ(heard, testing::changes({{KeyCode::rightControl, ModifierFlag::control},
                                     {KeyCode::rightControl, 0}}));
}

TEST_F(KeyEventPosterTest, VIsTheCurrentLayoutsAndAHeldModifierIsLetGoForTheChord) {
  // A layout with V where Z is, and Z where V is.
  KeySym v[] = {XK_v, XK_V}, z[] = {XK_z, XK_Z};
  XChangeKeyboardMapping(user.display(), 52, 2, v, 1);
  XChangeKeyboardMapping(user.display(), 55, 2, z, 1);
  XSync(user.display(), False);
  ASSERT_EQ(XKeysymToKeycode(user.display(), XK_v), 52);
  user.focus(user.createWindow("editor", "TextEditor"));
  user.key(leftAlt, true);
  EXPECT_EQ(paste(), ControlMask + 0u);
  char keys[32] = {};
  XQueryKeymap(user.display(), keys);
  EXPECT_TRUE(keys[leftAlt / 8] & (1 << (leftAlt % 8))) << "Alt is held again after the chord";
  user.key(leftAlt, false);
  XChangeKeyboardMapping(user.display(), 52, 2, z, 1);
  XChangeKeyboardMapping(user.display(), 55, 2, v, 1);
  XSync(user.display(), False);
}

}  // namespace
}  // namespace murvel::linux_platform
