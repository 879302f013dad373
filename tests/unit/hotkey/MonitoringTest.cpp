#include "fakes/AppHarness.h"
#include "platform/HotkeyCommands.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;

// The chosen key's events, through key monitors that also hear the compositor's bindings (the
// hotkey commands). The session's starts and stops are counted through what the fake recorder
// was asked to do.
class MonitoringTest : public ::testing::Test {
 protected:
  MonitoringTest() {
    h.fake.keychain.storeAccessKey("key");
    h.prepareSession();
  }
  void choose(const std::string& token) {
    h.app->settings.setHotkey(token);
    h.app->setupHotkey();
  }
  void send(std::uint16_t keyCode, std::uint64_t flags) {
    keys.sendGlobal(AppHarness::flagsChanged(keyCode, flags));
  }
  // The key of `token` going down or up, with no other modifier held.
  void press(const std::string& token, bool down = true) {
    const auto& key = AppHarness::option(token);
    send(key.keyCode, down ? key.modifierFlag : 0);
  }
  int starts() const {
    return static_cast<int>(
        std::count(h.fake.audioRecorders.log.begin(), h.fake.audioRecorders.log.end(), "record"));
  }
  int stops() const { return static_cast<int>(h.fake.sounds.played.size()) - starts(); }

  FakeEventMonitors keys;
  HotkeyCommandMonitors commands{keys, [this](bool down) {
                                   return murvelHotkeyEvent(h.app->settings.hotkey(), down);
                                 }};
  AppHarness h{"https://murvel.test/api", RealFamilies{.eventMonitors = &commands}};
};

// Sequences of the chosen key's edges, and what they must start and stop, by the key monitors
// and by the hotkey commands alike.
struct EdgeRow {
  std::string name;
  std::string token;
  std::vector<bool> downs;  // true for a press, false for a release
  int starts, stops;
  bool pressedAfter;
};

enum class Source { keyMonitor, hotkeyCommand };

class EdgeSequenceTest : public MonitoringTest,
                         public ::testing::WithParamInterface<std::tuple<EdgeRow, Source>> {};

TEST_P(EdgeSequenceTest, OnlyEdgesStartAndStop) {
  const auto& [row, source] = GetParam();
  const auto& key = AppHarness::option(row.token);
  choose(row.token);
  for (const bool down : row.downs) {
    if (source == Source::hotkeyCommand) {
      commands.perform(down ? HotkeyCommand::press : HotkeyCommand::release);
    } else {
      // Other modifiers held play no part.
      send(key.keyCode, (down ? key.modifierFlag : 0) | ModifierFlag::shift);
    }
  }
  EXPECT_EQ(starts(), row.starts);
  EXPECT_EQ(stops(), row.stops);
  EXPECT_EQ(h.app->hotkeyPressed, row.pressedAfter);
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, EdgeSequenceTest,
    ::testing::Combine(
        ::testing::Values(
            EdgeRow{"PressTwice", "right_cmd", {true, true, false}, 1, 1, false},
            EdgeRow{"ReleaseTwice", "right_option", {true, false, false}, 1, 1, false},
            EdgeRow{"ReleaseAlone", "right_ctrl", {false}, 0, 0, false},
            EdgeRow{"PressAlone", "capslock", {true}, 1, 0, true},
            EdgeRow{"TwoHolds", "right_ctrl", {true, false, true, false}, 2, 2, false}),
        ::testing::Values(Source::keyMonitor, Source::hotkeyCommand)),
    [](const auto& info) {
      return std::get<0>(info.param).name +
             (std::get<1>(info.param) == Source::keyMonitor ? "ByKey" : "ByCommand");
    });

TEST_F(MonitoringTest, ToggleCommandAlternatesAndFollowsAPress) {
  choose("right_ctrl");
  commands.perform(HotkeyCommand::toggle);
  commands.perform(HotkeyCommand::toggle);
  commands.perform(HotkeyCommand::press);
  commands.perform(HotkeyCommand::toggle);  // the press is undone
  EXPECT_EQ(starts(), 2);
  EXPECT_EQ(stops(), 2);
  EXPECT_EQ(hotkeyCommandNamed("toggle"), HotkeyCommand::toggle);
  EXPECT_EQ(hotkeyCommandNamed("Press"), std::nullopt);
}

// The left twin shares the right key's flag: only the right key's own events count, and the flag
// stays up while either is held.
TEST_F(MonitoringTest, SharedFlagOfTheLeftKeyShapesTheRightKeysEvents) {
  const std::uint16_t left = KeyCode::leftControl, right = KeyCode::rightControl;
  const std::uint64_t flag = ModifierFlag::control;
  choose("right_ctrl");

  send(left, flag);  // left down, left up, right never touched
  send(left, 0);
  EXPECT_EQ(starts(), 0);

  send(right, flag);  // right down, left down, left up, right up
  send(left, flag);
  send(left, flag);
  send(right, 0);
  EXPECT_EQ(starts(), 1);
  EXPECT_EQ(stops(), 1);

  send(left, flag);  // left down, right down: a start
  send(right, flag);
  EXPECT_EQ(starts(), 2);
  send(right, flag);  // right up while left held: the flag stays, so no stop
  EXPECT_EQ(stops(), 1);
  send(left, 0);  // left up: dropped, recording goes on with no key held
  EXPECT_TRUE(h.app->isRecording);
  send(right, flag);  // right down: already pressed
  EXPECT_EQ(starts(), 2);
  send(right, 0);  // right up: the stop at last
  EXPECT_EQ(stops(), 2);
}

// Caps Lock events carry the lock, one event per change of it. A reinstall during a dictation
// forgets its press: the tap that turns the lock off then stops nothing, the next one starts anew.
TEST_F(MonitoringTest, ReinstallDuringACapsLockDictationForgetsThePress) {
  choose("capslock");
  send(KeyCode::capsLock, ModifierFlag::capsLock);
  h.app->setupHotkey();
  send(KeyCode::capsLock, 0);
  EXPECT_EQ(stops(), 0);
  EXPECT_TRUE(h.app->isRecording);
  send(KeyCode::capsLock, ModifierFlag::capsLock);
  EXPECT_EQ(starts(), 2);
}

TEST_F(MonitoringTest, CaptureModeIgnoresEventsAndForgetsThePress) {
  choose("fn");
  press("fn");
  h.app->setHotkeyCaptureActive(true);
  EXPECT_FALSE(h.app->hotkeyPressed);
  press("fn", false);
  press("fn");
  EXPECT_EQ(starts(), 1);
  EXPECT_EQ(stops(), 0);
  h.app->setHotkeyCaptureActive(false);
  EXPECT_FALSE(h.app->hotkeyPressed);
  press("fn", false);  // nothing pressed as far as the monitor knows
  EXPECT_EQ(stops(), 0);
}

TEST_F(MonitoringTest, ChangingTheSettingWithoutReinstallTakesEffectAtTheNextEvent) {
  choose("fn");
  press("fn");
  h.app->settings.setHotkey("right_option");
  press("fn", false);  // the old key's release is dropped
  EXPECT_TRUE(h.app->hotkeyPressed);
  press("right_option", false);  // the new key's first event decides: up while pressed
  EXPECT_EQ(stops(), 1);
}

TEST_F(MonitoringTest, InstallsKeepOneTokenOfEachKind) {
  h.app->setupHotkey();
  h.app->setupHotkey();
  EXPECT_EQ(h.app->localMonitors.size(), 1u);
  EXPECT_EQ(h.app->globalMonitors.size(), 1u);
  EXPECT_EQ(keys.localCount(), 1u);
  EXPECT_EQ(keys.globalCount(), 1u);
  EXPECT_THAT(keys.localMasks(), ElementsAre(KeyEventMask::flagsChanged));

  // The local monitor only listens: the event goes on unchanged.
  const KeyEvent event = AppHarness::flagsChanged(KeyCode::function, ModifierFlag::function);
  EXPECT_EQ(keys.sendLocal(event), event);
  EXPECT_EQ(starts(), 1);

  h.app->removeEventMonitors();
  EXPECT_TRUE(h.app->localMonitors.empty());
  EXPECT_TRUE(h.app->globalMonitors.empty());
  EXPECT_EQ(keys.localCount() + keys.globalCount(), 0u);
}

TEST_F(MonitoringTest, WithoutAccessibilityOnlyTheLocalMonitorExists) {
  h.fake.accessibility.trusted = false;
  h.app->setupHotkey();
  EXPECT_EQ(h.app->localMonitors.size(), 1u);
  EXPECT_TRUE(h.app->globalMonitors.empty());
  EXPECT_TRUE(h.fake.alerts.shown.empty());

  h.app->setupHotkey(true);  // asked to prompt: the permission alert comes up
  EXPECT_EQ(h.fake.alerts.shown.size(), 1u);
}

}  // namespace
}  // namespace murvel::testing
