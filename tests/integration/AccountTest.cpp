#include "ScriptedService.h"
#include "shell/OnboardingWindow.h"
#include "stores/Keychain.h"

namespace murvel::testing {
namespace {

using Outcome = Result<AppDelegate::AccountInfo>;

class AccountTest : public ::testing::Test {
 protected:
  AccountTest() { s.h.app->settings.setSignedInEmail("stored@example.com"); }
  Outcome fetch() {
    std::optional<Outcome> outcome;
    s.h.app->fetchAccountInfo([&](Outcome result) { outcome = std::move(result); });
    EXPECT_TRUE(s.h.fake.dispatch.runUntil([&] { return outcome.has_value(); }));
    return outcome.value_or(Outcome::failure({"test", -1, "no answer"}));
  }
  ServiceHarness s;
};

TEST_F(AccountTest, AnyJSONObjectIsAnAnswer) {
  s.service.script("/api/account/info", R"({"email":"server@example.com","plan":"pro"})", 403);
  s.service.script("/api/account/info", R"({"plan":"pro"})");
  s.service.script("/api/account/info", "{}");
  EXPECT_EQ(fetch().value().email, "server@example.com");
  EXPECT_EQ(fetch().value().email, "stored@example.com");
  EXPECT_EQ(fetch().value().email, "stored@example.com");
  EXPECT_EQ(s.h.app->settings.signedInEmail(), "stored@example.com");  // not stored

  const auto requests = s.service.requests("/api/account/info");
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].requestLine, "GET /api/account/info HTTP/1.1");
  EXPECT_EQ(ScriptedService::fieldNames(requests[0]),
            (std::vector<std::string>{"Host", "Authorization"}));
  EXPECT_EQ(ScriptedService::field(requests[0], "Authorization"), "Bearer secret-key");
}

TEST_F(AccountTest, UnreadableRepliesAreInvalid) {
  for (const char* body : {"[1,2]", "not json", ""}) {
    s.service.script("/api/account/info", body);
    const Outcome outcome = fetch();
    ASSERT_FALSE(outcome.ok()) << body;
    EXPECT_EQ(outcome.error(), (PlatformError{"Murvel", 0, "Invalid response"})) << body;
  }
}

TEST_F(AccountTest, NoKeyAnswersAtOnceWithoutARequest) {
  s.h.fake.keychain.items.clear();
  std::optional<Outcome> outcome;
  s.h.app->fetchAccountInfo([&](Outcome result) { outcome = std::move(result); });
  ASSERT_TRUE(outcome);  // on the calling thread, before returning
  EXPECT_EQ(outcome->error(), (PlatformError{"Murvel", 401, "Not signed in"}));
  s.h.fake.keychain.storeAccessKey("");
  EXPECT_EQ(fetch().error().code, 401);
  EXPECT_TRUE(s.service.requests("/api/account/info").empty());
}

TEST_F(AccountTest, TransportFailurePassesThroughUnchanged) {
  linux_platform::CurlUrlSessions sessions;
  AppHarness offline("http://127.0.0.1:9/api", RealFamilies{&sessions});
  offline.fake.keychain.storeAccessKey("k");
  std::optional<Outcome> outcome;
  offline.app->fetchAccountInfo([&](Outcome result) { outcome = std::move(result); });
  ASSERT_TRUE(offline.fake.dispatch.runUntil([&] { return outcome.has_value(); }));
  ASSERT_FALSE(outcome->ok());
  EXPECT_EQ(outcome->error().localizedDescription, "Could not connect to the server.");
  EXPECT_NE(outcome->error().domain, "Murvel");
}

TEST_F(AccountTest, SignOutEndsTheLoginLocally) {
  s.h.app->setupHotkey();
  s.h.app->signOut();
  EXPECT_EQ(Keychain::load(s.h.fake.keychain, Keychain::accessKeyAccount), std::nullopt);
  EXPECT_EQ(s.h.app->settings.signedInEmail(), "");
  EXPECT_EQ(s.h.fake.eventMonitors.localCount() + s.h.fake.eventMonitors.globalCount(), 0u);
  ASSERT_TRUE(s.h.app->onboardingWindow);
  EXPECT_TRUE(s.h.app->onboardingWindow->isVisible());
  s.h.press();  // the hotkey is dead until the next sign-in
  EXPECT_FALSE(s.h.app->isRecording);
  EXPECT_EQ(fetch().error().code, 401);
  EXPECT_TRUE(s.service.requests("/api/account/info").empty());  // nothing told to the service
}

}  // namespace
}  // namespace murvel::testing
