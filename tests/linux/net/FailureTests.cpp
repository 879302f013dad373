#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "NetTestSupport.h"
#include "RawHttpServer.h"
#include "platform/linux/net/CurlUrlSessions.h"
#include "platform/linux/net/UrlErrors.h"

namespace murvel::test {
namespace {

using linux_platform::CurlUrlSessions;
using linux_platform::UrlErrorCode;
using linux_platform::urlErrorDomain;

void expectError(const Outcome& outcome, UrlErrorCode code, const std::string& sentence) {
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->domain, urlErrorDomain);
  EXPECT_EQ(outcome.error->code, static_cast<long>(code));
  EXPECT_EQ(outcome.error->localizedDescription, sentence);
  EXPECT_FALSE(outcome.data);
  EXPECT_FALSE(outcome.response);
}

UrlSessionConfiguration configuration(double requestTimeout, double resourceTimeout = 7 * 86400.0,
                                      int connectionsPerHost = 2) {
  UrlSessionConfiguration result;
  result.httpMaximumConnectionsPerHost = connectionsPerHost;
  result.timeoutIntervalForRequest = requestTimeout;
  result.timeoutIntervalForResource = resourceTimeout;
  return result;
}

TEST(FailureTest, AClosedPortFailsWithAReadableError) {
  CompletionLog log;
  // A port that is bound but not listening: nothing else can take it, and it refuses.
  const int holder = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(holder, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(getsockname(holder, reinterpret_cast<sockaddr*>(&address), &length), 0);
  CurlUrlSessions sessions;
  const auto session = sessions.sessionWithConfiguration(configuration(30.0));

  session
      ->dataTask(
          makeRequest("http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/api/health",
                      "HEAD"),
          log.record())
      ->resume();
  const std::vector<Outcome> outcomes = log.waitFor(1);
  close(holder);

  ASSERT_EQ(outcomes.size(), 1u);
  expectError(outcomes[0], UrlErrorCode::cannotConnectToHost, "Could not connect to the server.");
}

struct SilenceCase {
  double sessionTimeout;
  double requestTimeout;
};

class SilentServerTest : public ::testing::TestWithParam<SilenceCase> {};

TEST_P(SilentServerTest, EndsInTheTimeoutError) {
  CompletionLog log;
  RawHttpServer server({.reply = RawHttpServer::Reply::never});
  CurlUrlSessions sessions;
  const auto session = sessions.sessionWithConfiguration(configuration(GetParam().sessionTimeout));
  UrlRequest request = makeRequest(server.url("/api/transcribe"), "POST");
  request.httpBody = "{}";
  request.timeoutInterval = GetParam().requestTimeout;

  session->dataTask(request, log.record())->resume();
  const std::vector<Outcome> outcomes = log.waitFor(1);

  ASSERT_EQ(outcomes.size(), 1u);
  expectError(outcomes[0], UrlErrorCode::timedOut, "The request timed out.");
  EXPECT_EQ(server.requests().size(), 1u);
}

// Whichever of the session's and the request's limits is smaller applies.
INSTANTIATE_TEST_SUITE_P(SmallerLimitWins, SilentServerTest,
                         ::testing::Values(SilenceCase{30.0, 0.3}, SilenceCase{0.3, 60.0}));

TEST(FailureTest, ARequestTimeoutIsAboutSilenceNotTotalTime) {
  CompletionLog log;
  // 15 bytes, one every 100 ms: 1.5 s in all, never more than 0.1 s without data.
  RawHttpServer server({.reply = RawHttpServer::Reply::trickle,
                        .body = R"({"text":"ok!"})",
                        .trickleInterval = std::chrono::milliseconds(100)});
  CurlUrlSessions sessions;
  const auto session = sessions.sessionWithConfiguration(configuration(1.0));

  session->dataTask(makeRequest(server.url("/api/account/info"), "GET"), log.record())->resume();
  const std::vector<Outcome> outcomes = log.waitFor(1);

  ASSERT_EQ(outcomes.size(), 1u);
  EXPECT_FALSE(outcomes[0].error) << outcomes[0].error->localizedDescription;
  EXPECT_EQ(outcomes[0].data, R"({"text":"ok!"})");
}

TEST(FailureTest, TheResourceLimitEndsATaskThatKeepsMoving) {
  CompletionLog log;
  RawHttpServer server({.reply = RawHttpServer::Reply::trickle,
                        .body = std::string(40, 'x'),
                        .trickleInterval = std::chrono::milliseconds(100)});
  CurlUrlSessions sessions;
  const auto session = sessions.sessionWithConfiguration(configuration(30.0, 0.5));

  session->dataTask(makeRequest(server.url("/api/account/info"), "GET"), log.record())->resume();
  const std::vector<Outcome> outcomes = log.waitFor(1);

  ASSERT_EQ(outcomes.size(), 1u);
  expectError(outcomes[0], UrlErrorCode::timedOut, "The request timed out.");
}

TEST(FailureTest, RequestsWaitingForAConnectionTimeOutToo) {
  CompletionLog log;
  RawHttpServer server({.reply = RawHttpServer::Reply::never});
  CurlUrlSessions sessions;
  const auto session = sessions.sessionWithConfiguration(configuration(0.4));

  std::vector<std::thread> callers;
  for (int t = 0; t < 3; ++t) {
    callers.emplace_back([&] {
      for (int i = 0; i < 2; ++i)
        session->dataTask(makeRequest(server.url("/api/health"), "HEAD"), log.record())->resume();
    });
  }
  for (std::thread& caller : callers) caller.join();
  const std::vector<Outcome> outcomes = log.waitFor(6);

  ASSERT_EQ(outcomes.size(), 6u);
  // Four of them never got a connection: their time ran out while they waited for one.
  for (const Outcome& outcome : outcomes)
    expectError(outcome, UrlErrorCode::timedOut, "The request timed out.");
}

TEST(FailureTest, ErrorStatusesStillDeliverTheBodyAndTheStatus) {
  CompletionLog log;
  LibraryServer server;
  server.server().Post("/api/transcribe", [](const httplib::Request&, httplib::Response& response) {
    response.status = 401;
    response.set_header("X-Reason", "key refused");
    response.set_content(R"({"error":"Sign in again."})", "application/json");
  });
  server.server().Get("/api/account/info",
                      [](const httplib::Request&, httplib::Response& response) {
                        response.status = 500;
                        response.set_content(R"({"text":"still here"})", "application/json");
                      });
  server.server().Get("/api/empty", [](const httplib::Request&, httplib::Response& response) {
    response.status = 503;
  });
  server.start();
  CurlUrlSessions sessions;
  const auto session = sessions.sessionWithConfiguration(configuration(30.0));

  UrlRequest post = makeRequest(server.url("/api/transcribe"), "POST");
  post.httpBody = "{}";
  session->dataTask(post, log.record())->resume();
  ASSERT_EQ(log.waitFor(1).size(), 1u);
  session->dataTask(makeRequest(server.url("/api/account/info"), "GET"), log.record())->resume();
  ASSERT_EQ(log.waitFor(2).size(), 2u);
  session->dataTask(makeRequest(server.url("/api/empty"), "GET"), log.record())->resume();
  const std::vector<Outcome> outcomes = log.waitFor(3);

  ASSERT_EQ(outcomes.size(), 3u);
  for (const Outcome& outcome : outcomes) {
    EXPECT_FALSE(outcome.error);
    ASSERT_TRUE(outcome.response);
    ASSERT_TRUE(outcome.data);
  }
  EXPECT_EQ(outcomes[0].response->statusCode, 401);
  EXPECT_EQ(*outcomes[0].data, R"({"error":"Sign in again."})");
  EXPECT_NE(std::find(outcomes[0].response->headers.begin(), outcomes[0].response->headers.end(),
                      std::pair<std::string, std::string>{"X-Reason", "key refused"}),
            outcomes[0].response->headers.end());
  EXPECT_EQ(outcomes[1].response->statusCode, 500);
  EXPECT_EQ(*outcomes[1].data, R"({"text":"still here"})");
  EXPECT_EQ(outcomes[2].response->statusCode, 503);
  EXPECT_EQ(*outcomes[2].data, "");
}

}  // namespace
}  // namespace murvel::test
