#include "fakes/AppHarness.h"

namespace murvel::testing {
namespace {

TEST(ConnectionTest, WarmUpIsABareHeadOnHealthThroughTheTunedSession) {
  AppHarness h("http://127.0.0.1:8787/api");
  h.launch();
  // A dead service fails a request within half a minute; the warm-up and an upload share the
  // connections.
  ASSERT_EQ(h.fake.urlSessions.configurations.size(), 1u);
  EXPECT_EQ(h.fake.urlSessions.configurations[0].timeoutIntervalForRequest, 30.0);
  EXPECT_EQ(h.fake.urlSessions.configurations[0].httpMaximumConnectionsPerHost, 2);
  const auto warmUps = h.fake.urlSessions.tasksFor("/health");
  ASSERT_EQ(warmUps.size(), 1u);
  const auto& request = warmUps[0]->request;
  EXPECT_EQ(request.url, "http://127.0.0.1:8787/api/health");
  EXPECT_EQ(request.httpMethod, "HEAD");
  EXPECT_TRUE(request.headers.empty());  // no Authorization: it works signed out
  EXPECT_NE(warmUps[0]->session, nullptr);

  // Each authorised press warms again; a failed warm-up leaves no trace.
  h.fake.keychain.storeAccessKey("key");
  h.app->setupHotkey();
  h.dictate(0);
  h.press();
  EXPECT_EQ(h.fake.urlSessions.tasksFor("/health").size(), 3u);
  h.fake.urlSessions.fail("/health",
                          {"NSURLErrorDomain", -1004, "Could not connect to the server."});
  h.fake.dispatch.runUntilIdle();
  ASSERT_EQ(h.trace().size(), 1u);  // the first dictation's own record, nothing of the warm-up
  EXPECT_THAT(h.trace()[0], ::testing::HasSubstr("[client_start]"));
  EXPECT_EQ(h.fake.urlSessions.configurations.size(), 1u);  // one session, kept
}

}  // namespace
}  // namespace murvel::testing
