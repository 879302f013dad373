#include "ScriptedService.h"
#include "shell/OnboardingWindow.h"
#include "stores/Keychain.h"

namespace murvel::testing {
namespace {

class SignInTest : public ::testing::Test {
 protected:
  SignInTest() {
    s.h.fake.keychain.items.clear();
    s.h.app->applicationWillFinishLaunching();
    s.h.app->settings.setSignedInEmail("typed@example.com");
  }
  // The link from the browser, and everything up to the exchange's outcome.
  void openLink(const std::string& token = "tok-1") {
    s.h.fake.urlEvents.deliver("murvel://auth?login_token=" + token);
    ASSERT_TRUE(s.h.fake.dispatch.runUntil([&] { return s.h.app->onboardingWindow != nullptr; }));
  }
  std::optional<std::string> storedKey() {
    return Keychain::load(s.h.fake.keychain, Keychain::accessKeyAccount);
  }
  ServiceHarness s;
};

TEST_F(SignInTest, ExchangeStoresTheKeyAndBringsTheHotkeyAlive) {
  s.h.app->showOnboarding();
  s.service.script("/api/auth/exchange", R"({"access_key":"ak-9","email":"Real@Example.com"})",
                   201);
  s.h.fake.urlEvents.deliver("murvel://auth?login_token=tok-1");
  ASSERT_TRUE(s.h.fake.dispatch.runUntil([&] { return storedKey().has_value(); }));
  s.h.fake.dispatch.runUntilIdle();

  const auto exchanges = s.service.requests("/api/auth/exchange");
  ASSERT_EQ(exchanges.size(), 1u);
  EXPECT_EQ(nlohmann::json::parse(exchanges[0].body), (nlohmann::json{{"login_token", "tok-1"}}));
  EXPECT_EQ(ScriptedService::field(exchanges[0], "Content-Type"), "application/json");
  EXPECT_EQ(ScriptedService::field(exchanges[0], "Authorization"), std::nullopt);

  EXPECT_EQ(storedKey(), "ak-9");
  EXPECT_EQ(s.h.app->settings.signedInEmail(), "Real@Example.com");
  EXPECT_EQ(s.h.app->onboardingWindow->statusLabel.text(), "Signed in. Murvel is ready to use.");
  EXPECT_EQ(s.h.app->onboardingWindow->statusLabel.textColor(), Color::systemGreenColor);
  EXPECT_EQ(s.h.app->onboardingWindow->emailField.stringValue(), "Real@Example.com");
  EXPECT_EQ(s.h.app->localMonitors.size(), 1u);
  EXPECT_EQ(s.h.shown.back(), DictationState::idle());
  EXPECT_TRUE(s.h.app->onboardingWindow->isVisible());
  s.h.fake.dispatch.advance(0.6);
  EXPECT_FALSE(s.h.app->onboardingWindow->isVisible());
}

TEST_F(SignInTest, ReplyWithoutAnAddressKeepsTheTypedOne) {
  s.service.script("/api/auth/exchange", R"({"access_key":"ak-2","email":""})");
  s.h.fake.urlEvents.deliver("murvel://auth?login_token=tok-2");
  ASSERT_TRUE(s.h.fake.dispatch.runUntil([&] { return storedKey().has_value(); }));
  EXPECT_EQ(storedKey(), "ak-2");
  EXPECT_EQ(s.h.app->settings.signedInEmail(), "typed@example.com");
  // The Settings window was never made, and none is made for a success.
  s.h.fake.dispatch.advance(1.0);
  EXPECT_EQ(s.h.app->onboardingWindow, nullptr);
}

TEST_F(SignInTest, AnyReplyWithoutAUsableKeyFailsAndKeepsTheOldKey) {
  for (const auto& [status, body] :
       std::vector<std::pair<int, std::string>>{{200, R"({"email":"a@b.c"})"},
                                                {200, R"({"access_key":""})"},
                                                {200, R"({"access_key":42})"},
                                                {200, R"(["ak"])"},
                                                {500, "Internal Server Error"}}) {
    ServiceHarness one;
    one.h.app->applicationWillFinishLaunching();
    one.h.fake.keychain.storeAccessKey("old-key");
    one.service.script("/api/auth/exchange", body, status);
    one.h.fake.urlEvents.deliver("murvel://auth?login_token=t");
    ASSERT_TRUE(one.h.fake.dispatch.runUntil([&] {
      return one.h.app->onboardingWindow != nullptr;
    })) << body;
    EXPECT_TRUE(one.h.app->onboardingWindow->isVisible());
    EXPECT_EQ(one.h.app->onboardingWindow->statusLabel.text(),
              "Browser sign-in failed. Please try again.");
    EXPECT_EQ(one.h.app->onboardingWindow->statusLabel.textColor(), Color::systemOrangeColor);
    EXPECT_EQ(Keychain::load(one.h.fake.keychain, Keychain::accessKeyAccount), "old-key");
  }
}

TEST_F(SignInTest, UnreachableServiceFailsTheSame) {
  linux_platform::CurlUrlSessions sessions;
  AppHarness offline("http://127.0.0.1:9/api", RealFamilies{&sessions});
  offline.prepareSession();
  offline.app->completeBrowserSignIn("t");
  ASSERT_TRUE(
      offline.fake.dispatch.runUntil([&] { return offline.app->onboardingWindow != nullptr; }));
  EXPECT_EQ(offline.app->onboardingWindow->statusLabel.text(),
            "Browser sign-in failed. Please try again.");
}

}  // namespace
}  // namespace murvel::testing
