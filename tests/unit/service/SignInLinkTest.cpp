#include "fakes/AppHarness.h"
#include "service/ServiceURL.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;

class SignInLinkTest : public ::testing::Test {
 protected:
  SignInLinkTest() {
    h.app->applicationWillFinishLaunching();
    h.prepareSession();
  }
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

}  // namespace
}  // namespace murvel::testing
