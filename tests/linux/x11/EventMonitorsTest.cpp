#include <QGuiApplication>
#include <QKeyEvent>
#include <QWindow>

#include "TestDisplay.h"

#include <X11/XKBlib.h>

#include <tuple>

#include "platform/linux/x11/X11EventMonitors.h"

namespace murvel::linux_platform {
namespace {

using testing::Changes;
using testing::changes;
using testing::waitUntil;
namespace vk = KeyCode;
namespace flag = ModifierFlag;

constexpr std::uint64_t flagsChanged = KeyEventMask::flagsChanged, keyDown = KeyEventMask::keyDown;
// X keycodes of a standard keyboard.
constexpr unsigned leftControl = 37, rightControl = 105, leftShift = 50, capsLock = 66;
constexpr unsigned escape = 9, letterA = 38, f12 = 96;
constexpr std::uint16_t f12Key = 111;

KeyEvent press(std::uint16_t code, std::uint64_t flags = 0) {
  return {KeyEventType::keyDown, code, flags};
}

class EventMonitorsTest : public ::testing::Test {
 protected:
  // F12 marks the end of what a test sends: once the sentinel has heard it, every key sent
  // before it has been delivered too, so that what was not heard was indeed not delivered.
  void SetUp() override {
    ASSERT_TRUE(monitors.addGlobalMonitor(
        keyDown, [this](const KeyEvent& event) { marks_ += event.keyCode == f12Key ? 1 : 0; }));
  }

  void settle() {
    user.tap(f12);
    ASSERT_TRUE(waitUntil([this, expected = marks_ + 1] { return marks_ == expected; }));
  }

  std::optional<MonitorToken> record(std::uint64_t mask, std::vector<KeyEvent>& into) {
    return monitors.addGlobalMonitor(mask, [&into](const KeyEvent& event) {
      if (event.keyCode != f12Key)
        into.push_back(event);
    });
  }

  testing::TestDisplay user;
  X11EventMonitors monitors{std::make_shared<SyntheticKeyLedger>()};
  std::vector<KeyEvent> heard;

 private:
  int marks_ = 0;
};

TEST_F(EventMonitorsTest, ModifierKeysReportTheirCodeAndTheFlagsAfterTheChange) {
  const std::tuple<unsigned, std::uint16_t, std::uint64_t> keys[] = {
      {105, vk::rightControl, flag::control}, {108, vk::rightOption, flag::option},
      {134, vk::rightCommand, flag::command}, {37, vk::leftControl, flag::control},
      {64, vk::leftOption, flag::option},     {133, vk::leftCommand, flag::command},
      {50, vk::leftShift, flag::shift},       {62, vk::rightShift, flag::shift},
      {250, vk::function, flag::function}};
  // A keymap that gives a key the Fn keysym makes it the function key.
  EXPECT_FALSE(monitors.hasFunctionKey());
  KeySym fn = 0x10081000 + 0x1d0;  // XF86XK_Fn
  XChangeKeyboardMapping(user.display(), 250, 1, &fn, 1);
  XSync(user.display(), False);
  ASSERT_TRUE(waitUntil([this] { return monitors.hasFunctionKey(); }));
  ASSERT_TRUE(record(flagsChanged, heard));
  Changes expected;
  for (auto [keycode, code, down] : keys) {
    user.tap(keycode);
    expected.insert(expected.end(), {{code, down}, {code, 0}});
  }
  settle();
  EXPECT_EQ(heard, changes(expected));
}

TEST_F(EventMonitorsTest, TwinKeysKeepTheirSharedFlagWhileEitherIsDown) {
  user.key(leftControl, true);
  // Monitors made while a key is held count it from the start.
  X11EventMonitors late{std::make_shared<SyntheticKeyLedger>()};
  ASSERT_TRUE(late.addGlobalMonitor(flagsChanged, [&](auto& event) { heard.push_back(event); }));
  user.key(rightControl, true);
  user.key(rightControl, false);
  user.key(leftControl, false);
  ASSERT_TRUE(waitUntil([&] { return heard.size() == 3; }));
  EXPECT_EQ(heard, changes({{vk::rightControl, flag::control},
                            {vk::rightControl, flag::control},
                            {vk::leftControl, 0}}));
}

TEST_F(EventMonitorsTest, CapsLockKeyReportsEachChangeOfTheLockOnce) {
  ASSERT_TRUE(record(flagsChanged, heard));
  user.tap(capsLock);   // on at the press; the release changes nothing
  user.tap(leftShift);  // other keys carry the lock too
  user.tap(capsLock);   // off at the release; the press changes nothing
  XkbLockModifiers(user.display(), XkbUseCoreKbd, LockMask, LockMask);  // another client's lock
  user.tap(leftShift);
  user.tap(capsLock);  // a tap with the lock on turns it off, and that is its one event
  user.tap(leftShift);
  settle();
  constexpr auto lock = flag::capsLock, shift = flag::shift;
  const Changes expected = {
      {vk::capsLock, lock}, {vk::leftShift, shift | lock}, {vk::leftShift, lock},
      {vk::capsLock, 0},    {vk::leftShift, shift | lock}, {vk::leftShift, lock},
      {vk::capsLock, 0},    {vk::leftShift, shift},        {vk::leftShift, 0}};
  EXPECT_EQ(heard, changes(expected));
}

TEST_F(EventMonitorsTest, OrdinaryKeyPressesReachOnlyMonitorsThatAskForThem) {
  std::vector<KeyEvent> everything;
  ASSERT_TRUE(record(flagsChanged, heard));
  ASSERT_TRUE(record(flagsChanged | keyDown, everything));
  user.key(leftControl, true);
  user.tap(escape);
  user.tap(letterA);
  user.key(leftControl, false);
  settle();
  ASSERT_EQ(heard, changes({{vk::leftControl, flag::control}, {vk::leftControl, 0}}));
  EXPECT_EQ(everything, (std::vector{heard[0], press(vk::escape, flag::control),
                                     press(0 /* A */, flag::control), heard[1]}));
}

TEST_F(EventMonitorsTest, RemovedMonitorsStopAtOnceEvenFromInsideAHandler) {
  int firstCalls = 0;
  std::optional<MonitorToken> firstToken, secondToken;
  // The first removes itself and the second at its first event: the second never hears it.
  firstToken = monitors.addGlobalMonitor(flagsChanged, [&](const KeyEvent&) {
    ++firstCalls;
    monitors.removeMonitor(*firstToken);
    monitors.removeMonitor(*secondToken);
  });
  secondToken = record(flagsChanged, heard);
  ASSERT_TRUE(firstToken && secondToken);
  user.tap(rightControl);
  user.tap(rightControl);
  settle();
  EXPECT_EQ(firstCalls, 1);
  EXPECT_TRUE(heard.empty());
}

// A window of this process, remembering the keys Qt delivers to it.
class OwnWindow : public QWindow {
 public:
  std::vector<unsigned> pressed;

 protected:
  void keyPressEvent(QKeyEvent* event) override { pressed.push_back(event->nativeScanCode()); }
};

TEST_F(EventMonitorsTest, LocalMonitorsHearTheKeysOfOurWindowsAndMaySwallowThem) {
  OwnWindow window;
  window.resize(100, 100);
  window.show();
  ASSERT_TRUE(waitUntil([&] { return window.isExposed(); }));
  user.focus(static_cast<Window>(window.winId()));
  ASSERT_TRUE(waitUntil([&] { return QGuiApplication::focusWindow() == &window; }));
  std::vector<KeyEvent> local;
  ASSERT_TRUE(monitors.addLocalMonitor(keyDown | flagsChanged, [&](const KeyEvent& event) {
    local.push_back(event);
    return event.keyCode == vk::escape ? std::nullopt : std::optional(event);
  }));
  ASSERT_TRUE(record(keyDown | flagsChanged, heard));

  // With the monitors' connection left unread, Qt's key events come first; the decision is
  // fetched all the same before they go on.
  user.tap(escape);
  user.tap(letterA);
  ASSERT_TRUE(
      waitUntil([&] { return !window.pressed.empty(); }, QEventLoop::ExcludeSocketNotifiers));
  EXPECT_EQ(window.pressed, std::vector<unsigned>{letterA});
  EXPECT_EQ(local, (std::vector{press(vk::escape), press(0)}));
  EXPECT_TRUE(heard.empty());

  // Another application's window in front: only global monitors hear.
  local.clear();
  user.focus(user.createWindow("other", "Other"));
  user.tap(rightControl);
  settle();
  EXPECT_TRUE(local.empty());
  EXPECT_EQ(heard, changes({{vk::rightControl, flag::control}, {vk::rightControl, 0}}));
}

}  // namespace
}  // namespace murvel::linux_platform
