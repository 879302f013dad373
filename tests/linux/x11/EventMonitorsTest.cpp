#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QKeyEvent>
#include <QWindow>

#include "TestDisplay.h"

#include <X11/XKBlib.h>

#include <memory>
#include <string>
#include <vector>

#include "hotkey/KeyEvent.h"
#include "platform/linux/x11/X11EventMonitors.h"

namespace murvel::linux_platform {
namespace {

using testing::TestDisplay;
using testing::waitUntil;

constexpr std::uint64_t flagsChanged = KeyEventMask::flagsChanged;
constexpr std::uint64_t keyDown = KeyEventMask::keyDown;

// X keycodes of a standard keyboard.
constexpr unsigned leftControl = 37, rightControl = 105, leftShift = 50, capsLock = 66;
constexpr unsigned escape = 9, letterA = 38, f12 = 96;
constexpr std::uint16_t f12VirtualKey = 111;

KeyEvent modifierEvent(std::uint16_t code, std::uint64_t flags) {
  return {KeyEventType::flagsChanged, code, flags};
}

class EventMonitorsTest : public ::testing::Test {
 protected:
  // F12 marks the end of what a test sends: once the sentinel has heard it, every key sent
  // before it has been delivered too, so that what was not heard was indeed not delivered.
  void SetUp() override {
    sentinel_ = monitors.addGlobalMonitor(keyDown, [this](const KeyEvent& event) {
      if (event.keyCode == f12VirtualKey)
        ++marks_;
    });
    ASSERT_TRUE(sentinel_);
  }

  void settle() {
    int expected = marks_ + 1;
    user.tap(f12);
    ASSERT_TRUE(waitUntil([&] { return marks_ == expected; }));
  }

  std::optional<MonitorToken> record(std::uint64_t mask, std::vector<KeyEvent>& into) {
    return monitors.addGlobalMonitor(mask, [&into](const KeyEvent& event) {
      if (event.keyCode != f12VirtualKey)
        into.push_back(event);
    });
  }

  TestDisplay user;
  X11EventMonitors monitors{std::make_shared<SyntheticKeyLedger>()};

 private:
  std::optional<MonitorToken> sentinel_;
  int marks_ = 0;
};

struct ModifierCase {
  const char* name;
  unsigned keycode;
  std::uint16_t virtualKey;
  std::uint64_t flag;

  friend void PrintTo(const ModifierCase& key, std::ostream* out) { *out << key.name; }
};

class ModifierKeyTest : public EventMonitorsTest,
                        public ::testing::WithParamInterface<ModifierCase> {};

TEST_P(ModifierKeyTest, PressAndReleaseReportTheKeyWithTheFlagsAfterTheChange) {
  std::vector<KeyEvent> heard;
  ASSERT_TRUE(record(flagsChanged, heard));
  user.tap(GetParam().keycode);
  settle();
  EXPECT_EQ(heard, (std::vector{modifierEvent(GetParam().virtualKey, GetParam().flag),
                                modifierEvent(GetParam().virtualKey, 0)}));
}

INSTANTIATE_TEST_SUITE_P(
    Keys, ModifierKeyTest,
    ::testing::Values(
        ModifierCase{"RightControl", 105, KeyCode::rightControl, ModifierFlag::control},
        ModifierCase{"RightOption", 108, KeyCode::rightOption, ModifierFlag::option},
        ModifierCase{"RightCommand", 134, KeyCode::rightCommand, ModifierFlag::command},
        ModifierCase{"LeftControl", 37, KeyCode::leftControl, ModifierFlag::control},
        ModifierCase{"LeftOption", 64, KeyCode::leftOption, ModifierFlag::option},
        ModifierCase{"LeftCommand", 133, KeyCode::leftCommand, ModifierFlag::command},
        ModifierCase{"LeftShift", 50, KeyCode::leftShift, ModifierFlag::shift},
        ModifierCase{"RightShift", 62, KeyCode::rightShift, ModifierFlag::shift}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(EventMonitorsTest, TwinKeysKeepTheirSharedFlagWhileEitherIsDown) {
  std::vector<KeyEvent> heard;
  ASSERT_TRUE(record(flagsChanged, heard));
  user.key(leftControl, true);
  // Monitors made while a key is held count it from the start.
  X11EventMonitors late{std::make_shared<SyntheticKeyLedger>()};
  std::vector<KeyEvent> heardLate;
  ASSERT_TRUE(
      late.addGlobalMonitor(flagsChanged, [&](const KeyEvent& e) { heardLate.push_back(e); }));
  user.key(rightControl, true);
  user.key(rightControl, false);
  user.key(leftControl, false);
  settle();
  auto rightDown = modifierEvent(KeyCode::rightControl, ModifierFlag::control);
  auto rightUpLeftHeld = modifierEvent(KeyCode::rightControl, ModifierFlag::control);
  auto leftUp = modifierEvent(KeyCode::leftControl, 0);
  EXPECT_EQ(heard, (std::vector{modifierEvent(KeyCode::leftControl, ModifierFlag::control),
                                rightDown, rightUpLeftHeld, leftUp}));
  ASSERT_TRUE(waitUntil([&] { return heardLate.size() == 3; }));
  EXPECT_EQ(heardLate, (std::vector{rightDown, rightUpLeftHeld, leftUp}));
}

TEST_F(EventMonitorsTest, CapsLockFlagIsTheLockState) {
  std::vector<KeyEvent> heard;
  ASSERT_TRUE(record(flagsChanged, heard));
  constexpr auto lock = ModifierFlag::capsLock;
  user.tap(capsLock);   // on at the press
  user.tap(leftShift);  // other keys carry the lock too
  user.tap(capsLock);   // off at the release
  settle();
  EXPECT_EQ(
      heard,
      (std::vector{modifierEvent(KeyCode::capsLock, lock), modifierEvent(KeyCode::capsLock, lock),
                   modifierEvent(KeyCode::leftShift, ModifierFlag::shift | lock),
                   modifierEvent(KeyCode::leftShift, lock), modifierEvent(KeyCode::capsLock, lock),
                   modifierEvent(KeyCode::capsLock, 0)}));

  // Another client locking it is followed as well.
  heard.clear();
  XkbLockModifiers(user.display(), XkbUseCoreKbd, LockMask, LockMask);
  XSync(user.display(), False);
  user.tap(leftShift);
  settle();
  EXPECT_EQ(heard, (std::vector{modifierEvent(KeyCode::leftShift, ModifierFlag::shift | lock),
                                modifierEvent(KeyCode::leftShift, lock)}));
  XkbLockModifiers(user.display(), XkbUseCoreKbd, LockMask, 0);
  XSync(user.display(), False);
}

TEST_F(EventMonitorsTest, OrdinaryKeyPressesReachOnlyMonitorsThatAskForThem) {
  std::vector<KeyEvent> modifiersOnly;
  std::vector<KeyEvent> everything;
  ASSERT_TRUE(record(flagsChanged, modifiersOnly));
  ASSERT_TRUE(record(flagsChanged | keyDown, everything));
  user.key(leftControl, true);
  user.tap(escape);
  user.tap(letterA);
  user.tap(200);  // a key outside the table
  user.key(leftControl, false);
  settle();

  auto control = modifierEvent(KeyCode::leftControl, ModifierFlag::control);
  auto released = modifierEvent(KeyCode::leftControl, 0);
  EXPECT_EQ(modifiersOnly, (std::vector{control, released}));
  ASSERT_EQ(everything.size(), 5u);
  EXPECT_EQ(everything[0], control);
  EXPECT_EQ(everything[1],
            (KeyEvent{KeyEventType::keyDown, KeyCode::escape, ModifierFlag::control}));
  EXPECT_EQ(everything[2], (KeyEvent{KeyEventType::keyDown, 0, ModifierFlag::control}));
  EXPECT_EQ(everything[3].type, KeyEventType::keyDown);
  EXPECT_NE(everything[3].keyCode, KeyCode::escape);
  EXPECT_TRUE(everything[3].keyCode < KeyCode::rightCommand ||
              everything[3].keyCode > KeyCode::function);
  EXPECT_EQ(everything[4], released);
}

TEST_F(EventMonitorsTest, RemovedMonitorsStopAtOnceEvenFromInsideAHandler) {
  std::vector<KeyEvent> second;
  std::vector<KeyEvent> third;
  std::optional<MonitorToken> secondToken;
  std::optional<MonitorToken> firstToken;
  int firstCalls = 0;
  // The first removes itself and the second at its first event: the second never hears it.
  firstToken = monitors.addGlobalMonitor(flagsChanged, [&](const KeyEvent&) {
    ++firstCalls;
    monitors.removeMonitor(*firstToken);
    monitors.removeMonitor(*secondToken);
  });
  secondToken = record(flagsChanged, second);
  auto thirdToken = record(flagsChanged, third);
  ASSERT_TRUE(firstToken && secondToken && thirdToken);

  user.tap(rightControl);
  settle();
  monitors.removeMonitor(*thirdToken);
  user.tap(rightControl);
  settle();

  EXPECT_EQ(firstCalls, 1);
  EXPECT_TRUE(second.empty());
  EXPECT_EQ(third, (std::vector{modifierEvent(KeyCode::rightControl, ModifierFlag::control),
                                modifierEvent(KeyCode::rightControl, 0)}));
}

TEST_F(EventMonitorsTest, KeyWithTheFnKeysymIsTheFunctionKey) {
  std::vector<KeyEvent> heard;
  ASSERT_TRUE(record(flagsChanged, heard));
  KeySym fn = 0x10081000 + 0x1d0;  // XF86XK_Fn
  XChangeKeyboardMapping(user.display(), 250, 1, &fn, 1);
  XSync(user.display(), False);
  user.tap(250);
  settle();
  KeySym nothing = NoSymbol;
  XChangeKeyboardMapping(user.display(), 250, 1, &nothing, 1);
  XSync(user.display(), False);
  EXPECT_EQ(heard, (std::vector{modifierEvent(KeyCode::function, ModifierFlag::function),
                                modifierEvent(KeyCode::function, 0)}));
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
  std::vector<KeyEvent> global;
  ASSERT_TRUE(monitors.addLocalMonitor(keyDown | flagsChanged,
                                       [&](const KeyEvent& event) -> std::optional<KeyEvent> {
                                         local.push_back(event);
                                         if (event.keyCode == KeyCode::escape)
                                           return std::nullopt;
                                         return event;
                                       }));
  ASSERT_TRUE(record(keyDown | flagsChanged, global));

  // With the monitors' connection left unread, Qt's key events come first; the decision is
  // fetched all the same before they go on.
  user.tap(escape);
  user.tap(letterA);
  ASSERT_TRUE(waitUntil([&] { return !window.pressed.empty(); }, std::chrono::seconds(5),
                        QEventLoop::ExcludeSocketNotifiers));
  EXPECT_EQ(window.pressed, std::vector<unsigned>{letterA});
  EXPECT_EQ(local, (std::vector{KeyEvent{KeyEventType::keyDown, KeyCode::escape, 0},
                                KeyEvent{KeyEventType::keyDown, 0, 0}}));
  EXPECT_TRUE(global.empty());

  // Another application's window in front: only global monitors hear.
  local.clear();
  user.focus(user.createWindow("other", "Other"));
  user.tap(rightControl);
  settle();
  EXPECT_TRUE(local.empty());
  EXPECT_EQ(global, (std::vector{modifierEvent(KeyCode::rightControl, ModifierFlag::control),
                                 modifierEvent(KeyCode::rightControl, 0)}));
}

}  // namespace
}  // namespace murvel::linux_platform
