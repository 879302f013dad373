#include "fakes/AppHarness.h"
#include "service/ServiceURL.h"
#include "shell/OnboardingWindow.h"
#include "stores/Keychain.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;

class SignInLinkTest : public ::testing::Test {
 protected:
  // Only the first step of launch: a link that starts the application must not be lost.
  SignInLinkTest() { h.app->applicationWillFinishLaunching(); }
  std::vector<std::string> exchangedTokens() {
    h.fake.dispatch.runUntilIdle();
    std::vector<std::string> tokens;
    for (const auto& task : h.fake.urlSessions.tasksFor("/auth/exchange")) {
      tokens.push_back(nlohmann::json::parse(*task->request.httpBody)["login_token"]);
    }
    return tokens;
  }
  AppHarness h;
};

TEST_F(SignInLinkTest, StartOpensTheServicePageWithTheAddressEncoded) {
  h.app->startBrowserSignIn("  Ada.Lovelace+Murvel@Example.COM \n");
  EXPECT_EQ(h.app->settings.signedInEmail(), "ada.lovelace+murvel@example.com");
  EXPECT_THAT(
      h.fake.workspace.opened,
      ElementsAre("https://murvel.test/api/auth/start?email=ada.lovelace%2Bmurvel%40example."
                  "com&redirect_uri=murvel%3A%2F%2Fauth"));
  h.app->startBrowserSignIn(" \t\n");
  EXPECT_EQ(h.fake.workspace.opened.size(), 1u);
}

TEST_F(SignInLinkTest, OnlyTheSchemeAndTheLoginTokenCount) {
  for (const char* url : {"murvel://auth?login_token=t1", "murvel://elsewhere/a/b?login_token=t2",
                          "murvel:?x=1&login_token=t3", "murvel://auth?login_token=a%20b%2Bc+d"}) {
    h.fake.urlEvents.deliver(url);
  }
  EXPECT_THAT(exchangedTokens(), ElementsAre("t1", "t2", "t3", "a b+c+d"));
}

TEST_F(SignInLinkTest, LinksThatFailATestAreIgnored) {
  for (const char* url :
       {"murvel://auth", "murvel://auth?login_token=", "murvel://auth?login_token",
        "murvel://auth?other=1", "MURVEL://auth?login_token=t",
        "https://murvel.test/?login_token=t", "not a url at all", "murvel://auth?login_token=t#%zz",
        "murvel://auth?login_token=a&login_token=b", ""}) {
    h.fake.urlEvents.deliver(url);
  }
  h.app->handleGetURLEvent(UrlEvent{std::nullopt});
  EXPECT_TRUE(exchangedTokens().empty());
  h.fake.urlEvents.deliver("murvel://auth?login_token=good");
  EXPECT_THAT(exchangedTokens(), ElementsAre("good"));
}

TEST(SignInExchangeTest, OnlyAReplyWithAKeySignsInAndAnyOtherKeepsTheOldKey) {
  struct Row {
    std::optional<std::string> reply;  // none: the service cannot be reached
    long status;
    std::optional<std::string> key;  // none: the sign-in failed
    std::string email;
  };
  const std::string typed = "typed@example.com";
  for (const Row& r :
       {Row{R"({"access_key":"ak-9","email":"Real@Example.com"})", 201, "ak-9", "Real@Example.com"},
        Row{R"({"access_key":"ak-2","email":""})", 200, "ak-2", typed},
        Row{R"({"access_key":""})", 200, std::nullopt, typed},
        Row{R"({"access_key":42})", 200, std::nullopt, typed},
        Row{R"(["ak"])", 200, std::nullopt, typed},
        Row{"Internal Server Error", 500, std::nullopt, typed},
        Row{std::nullopt, 0, std::nullopt, typed}}) {
    SCOPED_TRACE(r.reply.value_or("unreachable"));
    AppHarness h;
    h.app->applicationWillFinishLaunching();
    h.prepareSession();
    h.fake.keychain.storeAccessKey("old-key");
    h.app->settings.setSignedInEmail(typed);
    h.app->showOnboarding();
    h.fake.urlEvents.deliver("murvel://auth?login_token=tok-1");
    h.fake.dispatch.runUntilIdle();
    const auto exchanges = h.fake.urlSessions.tasksFor("/auth/exchange");
    ASSERT_EQ(exchanges.size(), 1u);
    EXPECT_EQ(exchanges[0]->request.headers, (HttpHeaders{{"Content-Type", "application/json"}}));
    if (r.reply)
      h.fake.urlSessions.reply("/auth/exchange", r.reply, r.status);
    else
      h.fake.urlSessions.fail("/auth/exchange", {"net", -1004, "Could not connect."});
    h.fake.dispatch.runUntilIdle();

    EXPECT_EQ(Keychain::load(h.fake.keychain, Keychain::accessKeyAccount),
              r.key.value_or("old-key"));
    EXPECT_EQ(h.app->settings.signedInEmail(), r.email);
    const OnboardingWindow& window = *h.app->onboardingWindow;
    EXPECT_EQ(window.statusLabel.text(), r.key ? "Signed in. Murvel is ready to use."
                                               : "Browser sign-in failed. Please try again.");
    EXPECT_EQ(window.statusLabel.textColor(),
              r.key ? Color::systemGreenColor : Color::systemOrangeColor);
    EXPECT_EQ(h.app->localMonitors.size(), r.key ? 1u : 0u);
    h.fake.dispatch.advance(0.6);  // a success closes the window a moment later
    EXPECT_EQ(window.isVisible(), !r.key);
  }
}

}  // namespace
}  // namespace murvel::testing
