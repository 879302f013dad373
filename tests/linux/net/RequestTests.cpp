#include <gtest/gtest.h>

#include <string>

#include "NetTestSupport.h"
#include "RawHttpServer.h"
#include "platform/linux/net/CurlUrlSessions.h"
#include "platform/linux/net/UrlErrors.h"

namespace murvel::test {
namespace {

using linux_platform::CurlUrlSessions;
using linux_platform::UrlErrorCode;

class RequestTest : public ::testing::Test {
 protected:
  // Runs one task to its end and returns what its completion got.
  Outcome run(const std::shared_ptr<UrlSessionTask>& task) {
    const size_t before = log.outcomes().size();
    task->resume();
    const std::vector<Outcome> outcomes = log.waitFor(before + 1);
    EXPECT_EQ(outcomes.size(), before + 1);
    return outcomes.size() > before ? outcomes[before] : Outcome{};
  }

  CompletionLog log;
  CurlUrlSessions sessions;
  std::shared_ptr<UrlSession> session = sessions.sessionWithConfiguration({});
};

TEST_F(RequestTest, SendsExactlyTheCallersFieldsInTheirOrder) {
  RawHttpServer server;
  UrlRequest post = makeRequest(server.url("/api/cleanup"), "POST",
                                {{"Authorization", "Bearer key-1"},
                                 {"Content-Type", "application/json"},
                                 {"X-Zeta", "set before X-Alpha"},
                                 {"X-Alpha", "a, b"},
                                 {"X-Empty", ""}});
  post.httpBody = R"({"text":"hello there"})";
  UrlRequest get =
      makeRequest(server.url("/api/account/info"), "GET", {{"Authorization", "Bearer key-1"}});
  UrlRequest put = makeRequest(server.url("/api/thing"), "PUT", {{"X-One", "1"}});
  put.httpBody = "x";

  EXPECT_FALSE(run(session->dataTask(post, log.record())).error);
  EXPECT_FALSE(run(session->dataTask(get, log.record())).error);
  EXPECT_FALSE(run(session->dataTask(put, log.record())).error);

  const std::vector<RawHttpServer::Request> requests = server.requests();
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].requestLine, "POST /api/cleanup HTTP/1.1");
  // No Accept, no Expect, no form Content-Type of the library's own; the length comes last.
  EXPECT_EQ(requests[0].headers, (HttpHeaders{{"Host", server.authority()},
                                              {"Authorization", "Bearer key-1"},
                                              {"Content-Type", "application/json"},
                                              {"X-Zeta", "set before X-Alpha"},
                                              {"X-Alpha", "a, b"},
                                              {"X-Empty", ""},
                                              {"Content-Length", "22"}}));
  EXPECT_EQ(requests[0].body, R"({"text":"hello there"})");

  EXPECT_EQ(requests[1].requestLine, "GET /api/account/info HTTP/1.1");
  EXPECT_EQ(requests[1].headers,
            (HttpHeaders{{"Host", server.authority()}, {"Authorization", "Bearer key-1"}}));

  EXPECT_EQ(requests[2].requestLine, "PUT /api/thing HTTP/1.1");
  EXPECT_EQ(requests[2].headers,
            (HttpHeaders{{"Host", server.authority()}, {"X-One", "1"}, {"Content-Length", "1"}}));
  EXPECT_EQ(requests[2].body, "x");
}

TEST_F(RequestTest, UploadStreamsTheFileWithTheCallersLengthAndNoExpect) {
  // Larger than the size from which libcurl would otherwise ask for "100 Continue".
  TemporaryDirectory directory;
  const auto [file, bytes] = directory.writeFile("recording-7.wav", 3 * 1024 * 1024 + 17);
  RawHttpServer server({.body = R"({"text":"hi"})"});
  const UrlRequest request = makeRequest(server.url("/api/transcribe"), "POST",
                                         {{"Authorization", "Bearer key-2"},
                                          {"Content-Type", "audio/wav"},
                                          {"X-Murvel-Audio-Filename", "audio.wav"},
                                          {"X-Murvel-Trace-ID", "trace-9"},
                                          {"X-Murvel-Cleanup-Mode", "off"},
                                          {"Content-Length", std::to_string(bytes.size())},
                                          {"X-Murvel-Tone", "fast"}});

  const Outcome outcome = run(session->uploadTask(request, file, log.record()));

  EXPECT_FALSE(outcome.error);
  EXPECT_EQ(outcome.data, R"({"text":"hi"})");
  ASSERT_TRUE(outcome.response);
  EXPECT_EQ(outcome.response->statusCode, 200);
  const std::vector<RawHttpServer::Request> requests = server.requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].requestLine, "POST /api/transcribe HTTP/1.1");
  EXPECT_EQ(requests[0].headers, (HttpHeaders{{"Host", server.authority()},
                                              {"Authorization", "Bearer key-2"},
                                              {"Content-Type", "audio/wav"},
                                              {"X-Murvel-Audio-Filename", "audio.wav"},
                                              {"X-Murvel-Trace-ID", "trace-9"},
                                              {"X-Murvel-Cleanup-Mode", "off"},
                                              {"Content-Length", std::to_string(bytes.size())},
                                              {"X-Murvel-Tone", "fast"}}));
  EXPECT_TRUE(requests[0].body == bytes) << "the body differs from the file";
}

TEST_F(RequestTest, UploadWithoutALengthSendsTheFileSize) {
  TemporaryDirectory directory;
  const auto [file, bytes] = directory.writeFile("short.wav", 70000);
  RawHttpServer server;

  const Outcome outcome = run(session->uploadTask(
      makeRequest(server.url("/api/transcribe"), "POST", {{"Content-Type", "audio/wav"}}), file,
      log.record()));

  EXPECT_FALSE(outcome.error);
  const std::vector<RawHttpServer::Request> requests = server.requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].headers, (HttpHeaders{{"Host", server.authority()},
                                              {"Content-Type", "audio/wav"},
                                              {"Content-Length", "70000"}}));
  EXPECT_TRUE(requests[0].body == bytes) << "the body differs from the file";
}

TEST_F(RequestTest, UploadOfAMissingFileCompletesWithAnError) {
  RawHttpServer server;
  TemporaryDirectory directory;

  const Outcome outcome = run(session->uploadTask(
      makeRequest(server.url("/api/transcribe"), "POST", {{"Content-Length", "1000"}}),
      directory.path() / "gone.wav", log.record()));

  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->code, static_cast<long>(UrlErrorCode::fileDoesNotExist));
  EXPECT_EQ(outcome.error->localizedDescription, "The file to upload does not exist.");
  EXPECT_FALSE(outcome.data);
  EXPECT_FALSE(outcome.response);
  EXPECT_EQ(server.acceptedConnections(), 0);
}

}  // namespace
}  // namespace murvel::test
