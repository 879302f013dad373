#include "fakes/AppHarness.h"
#include "shell/OnboardingWindow.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;

const std::string accessibilityPane =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility";

class PermissionsTest : public ::testing::Test {
 protected:
  PermissionsTest() { h.prepareSession(); }
  void given(int microphone, bool trusted) {
    h.fake.captureDevice.status = microphone;
    h.fake.accessibility.trusted = trusted;
  }
  AppHarness h;
};

struct PopupCase {
  int microphone;
  bool trusted;
  std::string message;
  std::string lines;
  std::vector<std::string> buttons;
  // What the first button leads to: the settings link opened, or a microphone prompt.
  std::vector<std::string> openedByFirst;
  int promptsByFirst;
  friend void PrintTo(const PopupCase& c, std::ostream* out) {
    *out << "microphone " << c.microphone << (c.trusted ? ", trusted" : ", not trusted");
  }
};

class PermissionsPopupTest : public PermissionsTest,
                             public ::testing::WithParamInterface<PopupCase> {};

TEST_P(PermissionsPopupTest, AlertListsWhatIsMissingAndActsOnTheChosenButton) {
  const auto& c = GetParam();
  given(c.microphone, c.trusted);
  h.app->settings.setHotkey("right_option");
  h.fake.alerts.answers = {alertFirstButtonReturn};
  h.app->showPermissionsPopup(true, false);
  ASSERT_EQ(h.fake.alerts.shown.size(), 1u);
  EXPECT_EQ(h.fake.alerts.shown[0], (Alert{c.message, c.lines, c.buttons}));
  EXPECT_EQ(h.fake.workspace.opened, c.openedByFirst);
  EXPECT_EQ(h.fake.captureDevice.requests, c.promptsByFirst);
  EXPECT_EQ(h.fake.application.activations, 1 + c.promptsByFirst);

  // "Later" requests nothing.
  h.fake.alerts.answers = {alertFirstButtonReturn + static_cast<long>(c.buttons.size()) - 1};
  h.app->showPermissionsPopup(true, false);
  EXPECT_EQ(h.fake.workspace.opened, c.openedByFirst);
  EXPECT_EQ(h.fake.captureDevice.requests, c.promptsByFirst);
}

const std::string micAllow =
    "\u2022 Microphone: Not granted yet. Allow this so Murvel can record your voice.";
const std::string micOff =
    "\u2022 Microphone: Off. Enable this in System Settings > Privacy & Security > Microphone.";
const std::string axOff =
    "\u2022 Accessibility: Off. Enable this so Right Option works while you stay in other apps.";

INSTANTIATE_TEST_SUITE_P(
    Rows, PermissionsPopupTest,
    ::testing::Values(
        PopupCase{
            0, true, "Murvel needs 1 permission", micAllow, {"Allow Microphone", "Later"}, {}, 1},
        PopupCase{9,
                  true,
                  "Murvel needs 1 permission",
                  "\u2022 Microphone: Unavailable on this Mac right now.",
                  {"Open Microphone", "Later"},
                  {microphonePane},
                  0},
        PopupCase{3,
                  false,
                  "Murvel needs 1 permission",
                  axOff,
                  {"Open Accessibility", "Later"},
                  {accessibilityPane},
                  0},
        PopupCase{1,
                  false,
                  "Murvel needs 2 permissions",
                  micOff + "\n" + axOff,
                  {"Open Accessibility", "Open Microphone", "Later"},
                  {accessibilityPane},
                  0}));

TEST_F(PermissionsTest, SecondButtonOfTwoMissingRequestsTheMicrophone) {
  given(0, false);
  h.fake.alerts.answers = {alertFirstButtonReturn + 1};
  h.app->showPermissionsPopup(true, false);
  EXPECT_EQ(h.fake.captureDevice.requests, 1);
  h.fake.captureDevice.answer(false);
  h.fake.dispatch.runUntilIdle();
  EXPECT_THAT(h.fake.workspace.opened, ElementsAre(microphonePane));  // the refusal sends there
}

TEST_F(PermissionsTest, NothingMissingShowsSuccessOnlyWhenAsked) {
  given(3, true);
  h.app->showPermissionsPopup(true, false);
  EXPECT_TRUE(h.fake.alerts.shown.empty());
  h.app->showPermissionsPopup(true, true);
  ASSERT_EQ(h.fake.alerts.shown.size(), 1u);
  EXPECT_EQ(h.fake.alerts.shown[0], (Alert{"All permissions are enabled",
                                           "Murvel already has the permissions it needs.",
                                           {"OK"}}));
}

TEST_F(PermissionsTest, AutomaticPromptComesOncePerVersion) {
  given(3, true);
  h.app->maybePromptPermissionsIfNeeded();  // nothing missing: the version is not noted
  EXPECT_EQ(h.app->settings.lastPermissionsPromptVersion(), "");

  given(3, false);
  h.app->maybePromptPermissionsIfNeeded();
  EXPECT_EQ(h.app->settings.lastPermissionsPromptVersion(), "2.3");  // before the delay
  h.fake.dispatch.advance(0.59);
  EXPECT_TRUE(h.fake.alerts.shown.empty());
  h.fake.dispatch.advance(0.01);
  EXPECT_EQ(h.fake.alerts.shown.size(), 1u);

  h.app->maybePromptPermissionsIfNeeded();  // same version: never again
  h.fake.dispatch.advance(1.0);
  EXPECT_EQ(h.fake.alerts.shown.size(), 1u);

  // A new version (or none, which reads as "1.0"), granted during the wait: no alert.
  h.fake.bundle.info.clear();
  h.app->maybePromptPermissionsIfNeeded();
  EXPECT_EQ(h.app->settings.lastPermissionsPromptVersion(), "1.0");
  given(3, true);
  h.fake.dispatch.advance(1.0);
  EXPECT_EQ(h.fake.alerts.shown.size(), 1u);
  EXPECT_EQ(h.app->settings.lastPermissionsPromptVersion(), "1.0");
}

TEST_F(PermissionsTest, MicrophoneAnswerReturnsOnTheMainQueueAfterARefresh) {
  given(0, true);
  h.app->showOnboarding();
  std::vector<std::string> order;
  Button& button = h.app->onboardingWindow->microphoneButton;
  const auto listener = button.addListener([&](ControlEvent) {
    if (order.empty() || order.back() != "refresh")
      order.push_back("refresh");
  });
  h.app->requestMicrophoneAccess([&](bool granted) { order.push_back(granted ? "yes" : "no"); });
  h.fake.captureDevice.status = 3;
  h.fake.captureDevice.answer(true);
  EXPECT_TRUE(order.empty());  // the platform's thread only hands over
  h.fake.dispatch.runUntilIdle();
  EXPECT_THAT(order, ElementsAre("refresh", "yes"));
  button.removeListener(listener);  // the window outlives `order`
}

TEST_F(PermissionsTest, RequestPermissionFollowsTheStatusOfTheMoment) {
  given(3, true);
  h.app->requestPermission(MurvelPermissionKind::microphone);
  EXPECT_TRUE(h.fake.workspace.opened.empty());
  given(1, true);
  h.app->requestPermission(MurvelPermissionKind::microphone);
  h.app->requestPermission(MurvelPermissionKind::accessibility);
  EXPECT_THAT(h.fake.workspace.opened, ElementsAre(microphonePane, accessibilityPane));
}

}  // namespace
}  // namespace murvel::testing
