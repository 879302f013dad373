#include "fakes/AppHarness.h"
#include "shell/OnboardingWindow.h"
#include "shell/controls/Popover.h"
#include "stores/Keychain.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;
using State = DictationState;

// A first run from the records alone: sign in, dictate, look at the history, paste again, sign
// out, the way a person goes through it.
TEST(WalkthroughTest, FirstRunFromSignInToSignOut) {
  AppHarness h;
  h.fake.workspace.frontmost = RunningApplication{"com.example.editor", "Editor", 501, 7};
  h.launch();
  ASSERT_EQ(h.fake.statusBar.items.size(), 1u);
  EXPECT_EQ(h.app->statusItem->button()->image()->name, "mic.circle.fill");

  // Without a key the Settings window opens by itself 0.3 s later, on Setup.
  h.fake.dispatch.advance(0.3);
  ASSERT_TRUE(h.app->onboardingWindow);
  OnboardingWindow& settings = *h.app->onboardingWindow;
  EXPECT_TRUE(settings.isVisible());
  EXPECT_EQ(settings.tabView.indexOfSelectedItem(), 0);
  settings.emailField.userEdited("Ada@Example.com");
  settings.continueButton.performClick();
  ASSERT_EQ(h.fake.workspace.opened.size(), 1u);

  // The browser comes back through a link; the exchange answers with the key.
  h.fake.urlEvents.deliver("murvel://auth?login_token=one-time");
  h.fake.dispatch.runUntilIdle();
  h.fake.urlSessions.reply("/auth/exchange", R"({"access_key":"k-1","email":"ada@example.com"})");
  h.fake.dispatch.runUntilIdle();
  EXPECT_EQ(settings.statusLabel.text(), "Signed in. Murvel is ready to use.");
  EXPECT_EQ(settings.statusLabel.textColor(), Color::systemGreenColor);
  EXPECT_EQ(h.fake.eventMonitors.globalCount(), 1u);
  h.fake.dispatch.advance(0.6);
  EXPECT_FALSE(settings.isVisible());

  // A dictation with the panel open.
  h.fake.application.currentEvent = 2;
  h.app->statusItem->button()->action();
  ASSERT_TRUE(h.app->popover->isShown());
  PopoverViewController& panel = *h.app->popoverVC;
  h.shown.clear();
  h.press();
  h.fake.dispatch.advance(1.0);
  h.release();
  h.fake.dispatch.runUntilIdle();
  h.fake.urlSessions.reply(
      "/transcribe",
      R"({"text":"Hello from the walkthrough","cleanup_attempted":true,"cleanup_applied":true})");
  h.fake.dispatch.advance(0.1);
  ASSERT_EQ(h.shown.size(), 3u);
  EXPECT_THAT(std::vector(h.shown.begin(), h.shown.begin() + 2),
              ElementsAre(State::recording(), State::transcribing()));
  EXPECT_EQ(h.shown[2].text, "Hello from the walkthrough");
  EXPECT_EQ(h.shown[2].words, 4);
  EXPECT_EQ(panel.titleLabel.text(), "Pasted!");
  EXPECT_EQ(h.fake.pasteboard.content, "Hello from the walkthrough");
  EXPECT_EQ(h.fake.keyEventPoster.posted.size(), 2u);

  // The History tab holds it; a double click pastes it again and goes back to Dictate.
  panel.segControl.choose(1);
  ASSERT_EQ(panel.historyTable.numberOfRows(), 1);
  panel.historyTable.doubleClick(0);
  h.fake.dispatch.advance(0.1);
  EXPECT_EQ(h.fake.keyEventPoster.posted.size(), 4u);
  EXPECT_EQ(panel.segControl.selectedSegment(), 0);
  EXPECT_EQ(panel.statsLabel.text(), "4 words  \u00B7  ~0 WPM");

  // Sign out from the Account tab.
  panel.segControl.choose(2);
  h.fake.urlSessions.reply("/account/info", R"({"email":"ada@example.com"})");
  h.fake.dispatch.runUntilIdle();
  EXPECT_EQ(panel.accountEmailLabel.text(), "ada@example.com");
  h.fake.alerts.answers = {1000};
  panel.signOutButton.performClick();
  EXPECT_FALSE(Keychain::load(h.fake.keychain, Keychain::accessKeyAccount));
  EXPECT_TRUE(settings.isVisible());
  EXPECT_EQ(h.fake.eventMonitors.globalCount(), 0u);
  EXPECT_EQ(h.app->history.size(), 1u);  // the history stays
}

}  // namespace
}  // namespace murvel::testing
