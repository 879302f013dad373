#include <gtest/gtest.h>

#include "TestDisplay.h"

#include <X11/XKBlib.h>
#include <X11/keysym.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "hotkey/KeyEvent.h"
#include "platform/linux/x11/X11EventMonitors.h"
#include "platform/linux/x11/X11KeyEventPoster.h"

namespace murvel::linux_platform {
namespace {

using testing::TestDisplay;
using testing::waitUntil;

class KeyEventPosterTest : public ::testing::Test {
 protected:
  // Posts Command+V the way the paste does, and waits until the focused test window has
  // received the whole chord, up to the release of Control.
  void postPaste() {
    auto source = poster.eventSourceCreate(eventSourceStateHIDSystemState);
    ASSERT_TRUE(source);
    for (bool down : {true, false}) {
      auto event = poster.keyboardEventCreate(source.get(), KeyCode::v, down);
      ASSERT_TRUE(event);
      event->flags = ModifierFlag::command;
      poster.eventPost(hidEventTap, *event);
    }
    ASSERT_TRUE(waitUntil([&] {
      user.pump();
      return std::any_of(user.keyEvents.begin(), user.keyEvents.end(), [](const XKeyEvent& e) {
        return e.type == KeyRelease && e.keycode == 37;
      });
    }));
  }

  unsigned vKeycode() const { return XKeysymToKeycode(user.display(), XK_v); }

  TestDisplay user;
  std::shared_ptr<SyntheticKeyLedger> ownKeys = std::make_shared<SyntheticKeyLedger>();
  X11KeyEventPoster poster{ownKeys};
};

TEST_F(KeyEventPosterTest, EventsNeedASource) {
  EXPECT_FALSE(poster.keyboardEventCreate(nullptr, KeyCode::v, true));
  auto source = poster.eventSourceCreate(eventSourceStateHIDSystemState);
  ASSERT_TRUE(source);
  EXPECT_EQ(poster.keyboardEventCreate(source.get(), KeyCode::v, false),
            (KeyboardEvent{KeyCode::v, false, 0}));
}

TEST_F(KeyEventPosterTest, PasteArrivesAsControlV) {
  user.focus(user.createWindow("editor", "TextEditor"));
  postPaste();
  const XKeyEvent* v = user.pressOf(vKeycode());
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->state & (ControlMask | ShiftMask | Mod1Mask | Mod4Mask), ControlMask);
}

TEST_F(KeyEventPosterTest, TerminalsGetControlShiftV) {
  user.focus(user.createWindow("xterm", "XTerm"));
  postPaste();
  const XKeyEvent* v = user.pressOf(vKeycode());
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->state & (ControlMask | ShiftMask | Mod1Mask | Mod4Mask), ControlMask | ShiftMask);
}

TEST_F(KeyEventPosterTest, VIsLookedUpInTheCurrentLayout) {
  // A layout with V where Z is, and Z where V is.
  KeySym v[] = {XK_v, XK_V};
  KeySym z[] = {XK_z, XK_Z};
  XChangeKeyboardMapping(user.display(), 52, 2, v, 1);
  XChangeKeyboardMapping(user.display(), 55, 2, z, 1);
  XSync(user.display(), False);
  ASSERT_EQ(vKeycode(), 52u);
  user.focus(user.createWindow("editor", "TextEditor"));
  postPaste();
  EXPECT_NE(user.pressOf(52), nullptr);
  EXPECT_EQ(user.pressOf(55), nullptr);
  XChangeKeyboardMapping(user.display(), 52, 2, z, 1);
  XChangeKeyboardMapping(user.display(), 55, 2, v, 1);
  XSync(user.display(), False);
}

TEST_F(KeyEventPosterTest, ModifierHeldByTheUserIsLetGoForTheChordAndPressedAgain) {
  constexpr unsigned leftAlt = 64;
  user.focus(user.createWindow("editor", "TextEditor"));
  user.key(leftAlt, true);
  postPaste();
  const XKeyEvent* v = user.pressOf(vKeycode());
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->state & (ControlMask | ShiftMask | Mod1Mask | Mod4Mask), ControlMask);
  char keys[32] = {};
  XQueryKeymap(user.display(), keys);
  EXPECT_TRUE(keys[leftAlt / 8] & (1 << (leftAlt % 8)));
  user.key(leftAlt, false);
}

TEST_F(KeyEventPosterTest, OwnChordIsNotHeardWhileOtherClientsKeysAre) {
  // One set of monitors shares the poster's ledger, as in the application; the other does not,
  // and shows that the chord does come back from the server.
  X11EventMonitors monitors{ownKeys};
  X11EventMonitors unaware{std::make_shared<SyntheticKeyLedger>()};
  std::vector<KeyEvent> heard;
  std::vector<KeyEvent> heardUnaware;
  constexpr auto mask = KeyEventMask::flagsChanged | KeyEventMask::keyDown;
  ASSERT_TRUE(monitors.addGlobalMonitor(mask, [&](const KeyEvent& e) { heard.push_back(e); }));
  ASSERT_TRUE(
      unaware.addGlobalMonitor(mask, [&](const KeyEvent& e) { heardUnaware.push_back(e); }));
  user.focus(user.createWindow("editor", "TextEditor"));

  postPaste();
  user.tap(105);  // Right Control, from another client's XTest
  auto control = KeyEvent{KeyEventType::flagsChanged, KeyCode::rightControl, ModifierFlag::control};
  auto released = KeyEvent{KeyEventType::flagsChanged, KeyCode::rightControl, 0};
  ASSERT_TRUE(waitUntil([&] { return heard.size() >= 2 && heardUnaware.size() >= 5; }));
  EXPECT_EQ(heard, (std::vector{control, released}));
  EXPECT_EQ(heardUnaware,
            (std::vector{
                KeyEvent{KeyEventType::flagsChanged, KeyCode::leftControl, ModifierFlag::control},
                KeyEvent{KeyEventType::keyDown, KeyCode::v, ModifierFlag::control},
                KeyEvent{KeyEventType::flagsChanged, KeyCode::leftControl, 0}, control, released}));
}

}  // namespace
}  // namespace murvel::linux_platform
