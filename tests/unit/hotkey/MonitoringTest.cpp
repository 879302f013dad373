#include "fakes/AppHarness.h"
#include "platform/HotkeyCommands.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;

// Counts the session's starts and stops through what the fake recorder was asked to do.
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
    h.fake.eventMonitors.sendGlobal(AppHarness::flagsChanged(keyCode, flags));
  }
  int starts() const { return count("record"); }
  int stops() const { return static_cast<int>(h.fake.sounds.played.size()) - starts(); }
  int count(const std::string& what) const {
    return static_cast<int>(
        std::count(h.fake.audioRecorders.log.begin(), h.fake.audioRecorders.log.end(), what));
  }

  AppHarness h;
};

// Sequences of the chosen key's edges, and what they must start and stop. The key monitors and
// the compositor's bindings (the hotkey commands) both go through this one table.
struct EdgeRow {
  std::string name;
  std::string token;
  std::vector<bool> downs;  // true for a press, false for a release
  int starts, stops;
  bool pressedAfter;
};

enum class Source { keyMonitor, hotkeyCommand };

class EdgeFixture : public ::testing::Test {
 protected:
  EdgeFixture() {
    h.fake.keychain.storeAccessKey("key");
    h.prepareSession();
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

class EdgeSequenceTest : public EdgeFixture,
                         public ::testing::WithParamInterface<std::tuple<EdgeRow, Source>> {};
class HotkeyCommandTest : public EdgeFixture {};

TEST_P(EdgeSequenceTest, OnlyEdgesStartAndStop) {
  const auto& [row, source] = GetParam();
  const auto& key = AppHarness::option(row.token);
  h.app->settings.setHotkey(row.token);
  h.app->setupHotkey();
  for (const bool down : row.downs) {
    if (source == Source::hotkeyCommand) {
      commands.perform(down ? HotkeyCommand::press : HotkeyCommand::release);
    } else {
      // Other modifiers held play no part.
      keys.sendGlobal(AppHarness::flagsChanged(
          key.keyCode, (down ? key.modifierFlag : 0) | ModifierFlag::shift));
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
            EdgeRow{"PressRelease", "fn", {true, false}, 1, 1, false},
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

TEST_F(HotkeyCommandTest, ToggleAlternatesAndFollowsAPress) {
  h.app->settings.setHotkey("right_ctrl");
  h.app->setupHotkey();
  commands.perform(HotkeyCommand::toggle);
  commands.perform(HotkeyCommand::toggle);
  commands.perform(HotkeyCommand::press);
  commands.perform(HotkeyCommand::toggle);  // the press is undone
  EXPECT_EQ(starts(), 2);
  EXPECT_EQ(stops(), 2);
  EXPECT_EQ(hotkeyCommandNamed("toggle"), HotkeyCommand::toggle);
  EXPECT_EQ(hotkeyCommandNamed("Press"), std::nullopt);
}

class EveryHotkeyTest : public MonitoringTest, public ::testing::WithParamInterface<std::string> {};

// Another key with the same flag is not this key.
TEST_P(EveryHotkeyTest, AnotherKeyWithTheSameFlagIsNotThisKey) {
  const auto& key = AppHarness::option(GetParam());
  choose(GetParam());
  const std::uint16_t other =
      key.keyCode == KeyCode::function ? KeyCode::rightCommand : KeyCode::function;
  send(other, key.modifierFlag);
  EXPECT_EQ(starts(), 0);
  send(key.keyCode, key.modifierFlag);
  EXPECT_EQ(starts(), 1);
}

INSTANTIATE_TEST_SUITE_P(Keys, EveryHotkeyTest,
                         ::testing::Values("fn", "right_cmd", "right_option", "right_ctrl",
                                           "capslock"));

struct Twin {
  std::string token;
  std::uint16_t left;
  friend void PrintTo(const Twin& t, std::ostream* out) { *out << t.token; }
};

class LeftTwinTest : public MonitoringTest, public ::testing::WithParamInterface<Twin> {};

TEST_P(LeftTwinTest, SharedFlagOfTheLeftKeyShapesTheRightKeysEvents) {
  const auto& right = AppHarness::option(GetParam().token);
  const std::uint16_t left = GetParam().left;
  const std::uint64_t flag = right.modifierFlag;
  choose(GetParam().token);

  send(left, flag);  // left down, left up, right never touched
  send(left, 0);
  EXPECT_EQ(starts(), 0);

  send(right.keyCode, flag);  // right down, left down, left up, right up
  send(left, flag);
  send(left, flag);
  send(right.keyCode, 0);
  EXPECT_EQ(starts(), 1);
  EXPECT_EQ(stops(), 1);

  send(left, flag);  // left down, right down: a start
  send(right.keyCode, flag);
  EXPECT_EQ(starts(), 2);
  send(right.keyCode, flag);  // right up while left held: the flag stays, so no stop
  EXPECT_EQ(stops(), 1);
  send(left, 0);  // left up: dropped, recording goes on with no key held
  EXPECT_TRUE(h.app->isRecording);
  send(right.keyCode, flag);  // right down: already pressed
  EXPECT_EQ(starts(), 2);
  send(right.keyCode, 0);  // right up: the stop at last
  EXPECT_EQ(stops(), 2);
}

INSTANTIATE_TEST_SUITE_P(Twins, LeftTwinTest,
                         ::testing::Values(Twin{"right_cmd", KeyCode::leftCommand},
                                           Twin{"right_option", KeyCode::leftOption},
                                           Twin{"right_ctrl", KeyCode::leftControl}));

// Caps Lock events carry the lock, one event per change of it. Each row leaves the lock on with
// nothing pressed; then the next tap turns the lock off and does nothing, the one after starts.
// A reinstall forgets the press of a running dictation, and a pick's own tap starts nothing.
enum class LockLeftOn { atLaunch, byReinstallDuringADictation, byThePick };

class CapsLockLeftOnTest : public MonitoringTest, public ::testing::WithParamInterface<LockLeftOn> {
 protected:
  void tap(bool lockAfter) { send(KeyCode::capsLock, lockAfter ? ModifierFlag::capsLock : 0); }
};

TEST_P(CapsLockLeftOnTest, NextTapDoesNothingAndTheOneAfterStarts) {
  const bool dictating = GetParam() == LockLeftOn::byReinstallDuringADictation;
  if (GetParam() == LockLeftOn::byThePick) {
    h.app->setHotkeyCaptureActive(true);
    tap(true);
    h.app->setHotkeyCaptureActive(false);
  }
  choose("capslock");
  if (dictating) {
    tap(true);
    h.app->setupHotkey();
  }
  EXPECT_EQ(starts(), dictating ? 1 : 0);
  tap(false);
  EXPECT_EQ(starts(), dictating ? 1 : 0);
  EXPECT_EQ(stops(), 0);
  EXPECT_EQ(h.app->isRecording, dictating);
  tap(true);
  EXPECT_EQ(starts(), dictating ? 2 : 1);
}

INSTANTIATE_TEST_SUITE_P(Ways, CapsLockLeftOnTest,
                         ::testing::Values(LockLeftOn::atLaunch,
                                           LockLeftOn::byReinstallDuringADictation,
                                           LockLeftOn::byThePick));

TEST_F(MonitoringTest, CaptureModeIgnoresEventsAndForgetsThePress) {
  choose("fn");
  h.press();
  h.app->setHotkeyCaptureActive(true);
  EXPECT_FALSE(h.app->hotkeyPressed);
  h.release();
  h.press();
  EXPECT_EQ(starts(), 1);
  EXPECT_EQ(stops(), 0);
  h.app->setHotkeyCaptureActive(false);
  EXPECT_FALSE(h.app->hotkeyPressed);
  h.release();  // nothing pressed as far as the monitor knows
  EXPECT_EQ(stops(), 0);
}

TEST_F(MonitoringTest, ChangingTheSettingWithoutReinstallTakesEffectAtTheNextEvent) {
  choose("fn");
  h.press("fn");
  h.app->settings.setHotkey("right_option");
  h.release("fn");  // the old key's release is dropped
  EXPECT_TRUE(h.app->hotkeyPressed);
  h.release("right_option");  // the new key's first event decides: up while pressed
  EXPECT_EQ(stops(), 1);
}

TEST_F(MonitoringTest, InstallsKeepOneTokenOfEachKind) {
  h.app->setupHotkey();
  h.app->setupHotkey();
  EXPECT_EQ(h.app->localMonitors.size(), 1u);
  EXPECT_EQ(h.app->globalMonitors.size(), 1u);
  EXPECT_EQ(h.fake.eventMonitors.localCount(), 1u);
  EXPECT_EQ(h.fake.eventMonitors.globalCount(), 1u);
  EXPECT_THAT(h.fake.eventMonitors.localMasks(), ElementsAre(KeyEventMask::flagsChanged));

  // The local monitor only listens: the event goes on unchanged.
  const KeyEvent event = AppHarness::flagsChanged(KeyCode::function, ModifierFlag::function);
  EXPECT_EQ(h.fake.eventMonitors.sendLocal(event), event);
  EXPECT_EQ(starts(), 1);

  h.app->removeEventMonitors();
  EXPECT_TRUE(h.app->localMonitors.empty());
  EXPECT_TRUE(h.app->globalMonitors.empty());
  EXPECT_EQ(h.fake.eventMonitors.localCount() + h.fake.eventMonitors.globalCount(), 0u);
}

TEST_F(MonitoringTest, WithoutAccessibilityOnlyTheLocalMonitorExists) {
  h.fake.accessibility.trusted = false;
  h.app->setupHotkey();
  EXPECT_EQ(h.app->localMonitors.size(), 1u);
  EXPECT_TRUE(h.app->globalMonitors.empty());
  EXPECT_TRUE(h.fake.alerts.shown.empty());

  h.app->setupHotkey(true);  // asked to prompt: the permission alert comes up
  ASSERT_EQ(h.fake.alerts.shown.size(), 1u);
  EXPECT_EQ(h.fake.alerts.shown[0].messageText, "Murvel needs 1 permission");
}

}  // namespace
}  // namespace murvel::testing
