#include "fakes/AppHarness.h"
#include "shell/OnboardingWindow.h"
#include "stores/Keychain.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;

const std::string askToContinue = "Enter your email, then continue in your browser to sign in.";

class SettingsWindowTest : public ::testing::Test {
 protected:
  SettingsWindowTest() {
    h.fake.userDefaults.stored["lastLaunchHintVersion"] = "2.3";
    h.fake.userDefaults.stored["lastPermissionsPromptVersion"] = "2.3";
    h.launch();
  }
  OnboardingWindow& open() {
    h.app->openSettings();
    return *h.app->onboardingWindow;
  }
  AppHarness h;
};

struct SignInCase {
  const char* name;
  std::string typed;
  std::optional<std::string> sent;  // nothing: refused
};

class SignInCheckTest : public SettingsWindowTest,
                        public ::testing::WithParamInterface<SignInCase> {};

TEST_P(SignInCheckTest, ContinueTrimsLowersAndNeedsAnAtSign) {
  const SignInCase& c = GetParam();
  OnboardingWindow& w = open();
  w.emailField.userEdited(c.typed);
  w.emailField.pressReturn();
  EXPECT_EQ(w.emailField.stringValue(), c.typed);  // the field keeps what was typed
  if (!c.sent) {
    EXPECT_EQ(w.statusLabel.text(), "Please enter the email you want to use for Murvel.");
    EXPECT_EQ(w.statusLabel.textColor(), Color::systemOrangeColor);
    EXPECT_TRUE(h.fake.workspace.opened.empty());
    EXPECT_EQ(h.app->settings.signedInEmail(), "");
    return;
  }
  EXPECT_EQ(h.app->settings.signedInEmail(), *c.sent);
  EXPECT_EQ(w.statusLabel.textColor(), Color::systemBlueColor);
  ASSERT_EQ(h.fake.workspace.opened.size(), 1u);
  EXPECT_NE(h.fake.workspace.opened[0].find("auth/start?email="), std::string::npos);
  // Reopening resets the status line.
  h.app->closeSettingsWindow();
  open();
  EXPECT_EQ(w.statusLabel.text(), askToContinue);
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, SignInCheckTest,
    ::testing::Values(SignInCase{"trimmed_and_lowered", "  Me@Example.COM \n", "me@example.com"},
                      SignInCase{"at_sign_alone_passes", "@", "@"},
                      SignInCase{"no_at_sign", "me.example.com", std::nullopt}),
    [](const auto& info) { return std::string(info.param.name); });

struct AuthCase {
  const char* name;
  std::optional<std::string> key;
  std::string email;
  std::string status;
  Color color;
};

class AuthStateTest : public SettingsWindowTest, public ::testing::WithParamInterface<AuthCase> {};

TEST_P(AuthStateTest, StatusLineSaysWhetherSomeoneIsSignedIn) {
  const AuthCase& c = GetParam();
  if (c.key)
    h.fake.keychain.storeAccessKey(*c.key);
  h.app->settings.setSignedInEmail(c.email);
  OnboardingWindow& w = open();
  EXPECT_EQ(w.emailField.stringValue(), c.email);
  EXPECT_EQ(w.statusLabel.text(), c.status);
  EXPECT_EQ(w.statusLabel.textColor(), c.color);
  w.setStatus("a warning", Color::systemOrangeColor);
  w.refreshAuthState(false);  // leaves the status line alone
  EXPECT_EQ(w.statusLabel.text(), "a warning");
}

INSTANTIATE_TEST_SUITE_P(
    States, AuthStateTest,
    ::testing::Values(
        AuthCase{"signed_in", "key", "me@example.com", "Signed in as me@example.com",
                 Color::systemGreenColor},
        AuthCase{"key_without_address", "key", "", askToContinue, Color::secondaryLabelColor},
        AuthCase{"address_without_key", std::nullopt, "me@example.com", askToContinue,
                 Color::secondaryLabelColor},
        AuthCase{"empty_key", "", "me@example.com", askToContinue, Color::secondaryLabelColor}),
    [](const auto& info) { return std::string(info.param.name); });

struct PermissionCase {
  const char* name;
  int microphone;
  bool trusted;
  std::string summary;
  Color summaryColor;
  std::string microphoneTitle, accessibilityTitle, reviewTitle;
};

class PermissionRowsTest : public SettingsWindowTest,
                           public ::testing::WithParamInterface<PermissionCase> {};

TEST_P(PermissionRowsTest, RowsFollowEachGrant) {
  const PermissionCase& c = GetParam();
  h.fake.captureDevice.status = c.microphone;
  h.fake.accessibility.trusted = c.trusted;
  OnboardingWindow& w = open();
  EXPECT_EQ(w.permissionSummaryLabel.text(), c.summary);
  EXPECT_EQ(w.permissionSummaryLabel.textColor(), c.summaryColor);
  EXPECT_EQ(w.microphoneButton.title(), c.microphoneTitle);
  EXPECT_EQ(w.accessibilityButton.title(), c.accessibilityTitle);
  EXPECT_EQ(w.permissionsPopupButton.title(), c.reviewTitle);
  EXPECT_TRUE(w.permissionsPopupButton.isEnabled());
  const auto states = h.app->permissionStates();
  for (const auto& [state, label, button] :
       {std::tuple{states[0], &w.microphoneStatusLabel, &w.microphoneButton},
        std::tuple{states[1], &w.accessibilityStatusLabel, &w.accessibilityButton}}) {
    EXPECT_EQ(label->text(), state.detail);
    EXPECT_EQ(label->textColor(),
              state.isGranted ? Color::systemGreenColor : Color::secondaryLabelColor);
    EXPECT_EQ(button->isEnabled(), !state.isGranted);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Grants, PermissionRowsTest,
    ::testing::Values(
        PermissionCase{"all_granted", 3, true, "All required permissions are enabled.",
                       Color::systemGreenColor, "Enabled", "Enabled", "Review Permissions"},
        PermissionCase{"microphone_undetermined", 0, true, "1 permission still needs attention.",
                       Color::systemOrangeColor, "Allow", "Enabled", "Review Missing Permissions"},
        PermissionCase{"both_missing", 2, false, "2 permissions still need attention.",
                       Color::systemOrangeColor, "Open Settings", "Open Settings",
                       "Review Missing Permissions"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(SettingsWindowTest, PermissionButtonsActAndRedraw) {
  h.fake.captureDevice.status = 2;
  h.fake.accessibility.trusted = false;
  OnboardingWindow& w = open();
  w.microphoneButton.performClick();
  w.accessibilityButton.performClick();
  EXPECT_EQ(h.fake.workspace.opened.size(), 2u);
  h.fake.accessibility.trusted = true;
  h.fake.captureDevice.status = 3;
  w.permissionsRefreshButton.performClick();
  EXPECT_EQ(w.permissionSummaryLabel.text(), "All required permissions are enabled.");
  EXPECT_EQ(h.fake.eventMonitors.localCount(), 1u);  // the hotkey reinstalled
  w.permissionsPopupButton.performClick();           // its words are PermissionsTest's
  EXPECT_EQ(h.fake.alerts.shown.size(), 1u);
}

TEST_F(SettingsWindowTest, PreferencePopupsStoreTheirChoice) {
  OnboardingWindow& w = open();
  h.app->togglePopover();
  h.shown.clear();
  w.cleanupModePop.choose(2);
  w.tonePop.choose(3);
  h.fake.dispatch.runUntilIdle();
  EXPECT_EQ(h.app->settings.cleanupMode(), "smart");
  EXPECT_EQ(h.app->settings.defaultTone(), "bullets");
  EXPECT_THAT(h.shown, ElementsAre(DictationState::idle()));  // only the mode tells the panel
  // A change made elsewhere does not reach the built popups.
  h.app->settings.setCleanupMode("off");
  open();
  EXPECT_EQ(w.cleanupModePop.indexOfSelectedItem(), 2);
}

TEST_F(SettingsWindowTest, CloseButtonOnlyHides) {
  OnboardingWindow& w = open();
  w.window.performClose();
  EXPECT_FALSE(w.isVisible());
  EXPECT_FALSE(w.windowShouldClose());
  open();
  EXPECT_TRUE(w.isVisible());
  EXPECT_EQ(&w, h.app->onboardingWindow.get());  // never replaced
}

}  // namespace
}  // namespace murvel::testing
