#include "fakes/AppHarness.h"
#include "shell/OnboardingWindow.h"
#include "shell/controls/StatusItem.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;

TEST(LifecycleTest, LaunchWithAnAccessKeyInstallsTheHotkeyAndShowsTheHintOncePerVersion) {
  for (const std::string key : {"key-1", ""}) {  // an empty key still counts as a key here
    AppHarness h;
    h.fake.keychain.storeAccessKey(key);
    h.fake.captureDevice.status = 0;  // a permission to ask for, once per version
    h.launch();
    // Another copy is looked for before anything else, and the history is in before the service
    // is first asked.
    EXPECT_THAT(h.fake.journal, ElementsAre("runningApplications", "applicationSupportDirectory",
                                            "HEAD https://murvel.test/api/health"));
    ASSERT_TRUE(h.app->statusItem);
    ASSERT_TRUE(h.app->popoverVC);
    EXPECT_EQ(h.app->recordingURL, h.recordingFile());
    EXPECT_EQ(h.app->settings.lastLaunchHintVersion(), "2.3");  // stored before the delay
    EXPECT_FALSE(h.app->popover->isShown());
    h.fake.dispatch.advance(0.4);
    EXPECT_TRUE(h.app->popover->isShown());
    EXPECT_THAT(h.shown, ElementsAre(DictationState::idle()));
    EXPECT_EQ(h.app->onboardingWindow, nullptr);
  }

  // A second launch of the same version keeps the panel closed.
  AppHarness again;
  again.fake.keychain.storeAccessKey("key-1");
  again.fake.userDefaults.stored["lastLaunchHintVersion"] = "2.3";
  again.launch();
  again.fake.dispatch.advance(1.0);
  EXPECT_FALSE(again.app->popover->isShown());
}

TEST(LifecycleTest, FirstRunWithoutAKeyOpensSettingsAfterAMoment) {
  AppHarness h;
  h.launch();
  EXPECT_TRUE(h.app->localMonitors.empty());
  EXPECT_TRUE(h.app->globalMonitors.empty());
  EXPECT_EQ(h.app->onboardingWindow, nullptr);
  h.fake.dispatch.advance(0.29);
  EXPECT_EQ(h.app->onboardingWindow, nullptr);
  h.fake.dispatch.advance(0.01);
  ASSERT_TRUE(h.app->onboardingWindow);
  EXPECT_TRUE(h.app->onboardingWindow->isVisible());
  EXPECT_EQ(h.fake.application.activations, 1);
  EXPECT_FALSE(h.app->popover->isShown());
  EXPECT_EQ(h.app->settings.lastLaunchHintVersion(), "");
}

TEST(LifecycleTest, SecondCopyEndsBeforeDoingAnything) {
  AppHarness h;
  h.fake.keychain.storeAccessKey("key");
  h.fake.workspace.running = {{"com.murvel.mac", "Murvel", 100, 0}};
  h.launch();
  EXPECT_EQ(h.fake.application.terminations, 1);
  EXPECT_THAT(h.fake.journal, ElementsAre("runningApplications"));
  EXPECT_EQ(h.app->statusItem, nullptr);
  EXPECT_EQ(h.app->settings.cleanupMode(), "off");  // no defaults were registered

  // Neither this process itself nor another application counts as a copy.
  AppHarness alone;
  alone.fake.workspace.running = {{"com.murvel.mac", "Murvel", alone.fake.application.pid, 0},
                                  {"com.example.other", "Other", 100, 0},
                                  {std::nullopt, std::nullopt, 101, 0}};
  alone.launch();
  EXPECT_EQ(alone.fake.application.terminations, 0);
  EXPECT_TRUE(alone.app->statusItem);
}

TEST(LifecycleTest, BecomingActiveReinstallsMonitorsOnlyWithAKey) {
  AppHarness h;
  h.fake.keychain.storeAccessKey("key");
  h.launch();
  const auto firstLocal = h.app->localMonitors;
  h.app->applicationDidBecomeActive();
  EXPECT_NE(h.app->localMonitors, firstLocal);  // one of each kind is MonitoringTest's

  AppHarness signedOut;
  signedOut.launch();
  signedOut.app->applicationDidBecomeActive();
  EXPECT_EQ(signedOut.fake.eventMonitors.localCount(), 0u);
}

TEST(LifecycleTest, QuitAbandonsARecordingAndTerminatesOnALaterTurn) {
  AppHarness h;
  h.fake.keychain.storeAccessKey("key");
  h.launch();
  h.press();
  h.app->openSettings();
  ASSERT_TRUE(h.app->isRecording);
  h.app->quitMurvel();
  EXPECT_FALSE(h.app->isRecording);
  EXPECT_FALSE(h.app->hotkeyPressed);
  EXPECT_THAT(h.fake.audioRecorders.log, ElementsAre("make", "record", "stop", "drop"));
  EXPECT_EQ(h.fake.eventMonitors.localCount() + h.fake.eventMonitors.globalCount(), 0u);
  EXPECT_EQ(h.fake.dispatch.validTimerCount(), 0u);
  EXPECT_FALSE(h.app->onboardingWindow->isVisible());
  EXPECT_FALSE(!h.app->statusItem->isRemoved());
  EXPECT_EQ(h.fake.application.terminations, 0);
  h.fake.dispatch.runUntilIdle();
  EXPECT_EQ(h.fake.application.terminations, 1);
  EXPECT_THAT(h.fake.sounds.played, ElementsAre("Tink"));  // no "Pop"
  EXPECT_TRUE(h.fake.urlSessions.tasksFor("/transcribe").empty());
}

}  // namespace
}  // namespace murvel::testing
