#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "NetTestSupport.h"
#include "RawHttpServer.h"
#include "platform/linux/net/CurlUrlSessions.h"

namespace murvel::test {
namespace {

using linux_platform::CurlUrlSessions;

UrlSessionConfiguration dictationConfiguration() {
  UrlSessionConfiguration configuration;
  configuration.httpMaximumConnectionsPerHost = 2;
  configuration.timeoutIntervalForRequest = 30.0;
  configuration.waitsForConnectivity = false;
  return configuration;
}

TEST(ConnectionTest, WarmUpLeavesTheConnectionThatTheUploadUses) {
  CompletionLog log;
  RawHttpServer server({.body = R"({"text":"warm"})"});
  CurlUrlSessions sessions;
  const std::shared_ptr<UrlSession> session =
      sessions.sessionWithConfiguration(dictationConfiguration());
  TemporaryDirectory directory;
  const auto [file, bytes] = directory.writeFile("recording.wav", 64 * 1024);

  UrlRequest health = makeRequest(server.url("/api/health"), "HEAD");
  health.timeoutInterval = 5.0;
  session->dataTask(health, log.record())->resume();
  ASSERT_EQ(log.waitFor(1).size(), 1u);
  session
      ->uploadTask(makeRequest(server.url("/api/transcribe"), "POST",
                               {{"Content-Type", "audio/wav"},
                                {"Content-Length", std::to_string(bytes.size())}}),
                   file, log.record())
      ->resume();
  const std::vector<Outcome> outcomes = log.waitFor(2);

  ASSERT_EQ(outcomes.size(), 2u);
  EXPECT_FALSE(outcomes[0].error);
  // A HEAD reply has no body, and the completion still gets data: an empty one.
  EXPECT_EQ(outcomes[0].data, "");
  EXPECT_FALSE(outcomes[1].error);
  EXPECT_EQ(outcomes[1].data, R"({"text":"warm"})");
  const std::vector<RawHttpServer::Request> requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].requestLine, "HEAD /api/health HTTP/1.1");
  EXPECT_EQ(requests[1].requestLine, "POST /api/transcribe HTTP/1.1");
  EXPECT_EQ(server.acceptedConnections(), 1);
}

TEST(ConnectionTest, ManyRequestsFromManyThreadsShareTwoConnections) {
  CompletionLog log;
  // Each reply takes a while, so that requests pile up behind the two connections.
  RawHttpServer server({.delay = std::chrono::milliseconds(60)});
  CurlUrlSessions sessions;
  const std::shared_ptr<UrlSession> session =
      sessions.sessionWithConfiguration(dictationConfiguration());
  constexpr int kThreads = 3;
  constexpr int kRequestsEach = 4;

  std::vector<std::thread> callers;
  for (int t = 0; t < kThreads; ++t) {
    callers.emplace_back([&, t] {
      for (int i = 0; i < kRequestsEach; ++i) {
        UrlRequest request =
            makeRequest(server.url("/api/cleanup?n=" + std::to_string(t * kRequestsEach + i)),
                        "POST", {{"Content-Type", "application/json"}});
        request.httpBody = "{}";
        session->dataTask(request, log.record())->resume();
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  const std::vector<Outcome> outcomes = log.waitFor(kThreads * kRequestsEach);

  ASSERT_EQ(outcomes.size(), static_cast<size_t>(kThreads * kRequestsEach));
  for (const Outcome& outcome : outcomes) {
    EXPECT_FALSE(outcome.error) << outcome.error->localizedDescription;
    EXPECT_EQ(outcome.data, "{}");
  }
  EXPECT_EQ(server.mostOpenAtOnce(), 2);
  EXPECT_EQ(server.acceptedConnections(), 2);
}

}  // namespace
}  // namespace murvel::test
