#include "fakes/AppHarness.h"

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

class EveryHotkeyTest : public MonitoringTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(EveryHotkeyTest, DecisionTableActsOnEdgesOnly) {
  const auto& key = AppHarness::option(GetParam());
  choose(GetParam());
  send(key.keyCode, key.modifierFlag | ModifierFlag::shift);  // other modifiers play no part
  send(key.keyCode, key.modifierFlag);                        // down again: nothing
  EXPECT_EQ(starts(), 1);
  EXPECT_TRUE(h.app->hotkeyPressed);
  send(key.keyCode, ModifierFlag::shift);
  send(key.keyCode, 0);  // up again: nothing
  EXPECT_EQ(stops(), 1);
  EXPECT_FALSE(h.app->hotkeyPressed);

  // Another key with the same flag is not this key.
  const std::uint16_t other =
      key.keyCode == KeyCode::function ? KeyCode::rightCommand : KeyCode::function;
  send(other, key.modifierFlag);
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
