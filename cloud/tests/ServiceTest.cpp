#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <nlohmann/json.hpp>
#include <regex>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "ChildProcess.h"
#include "ServiceTestSupport.h"

namespace murvel::cloud::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using namespace std::chrono_literals;

nlohmann::json jsonOf(const httplib::Result& result) {
  if (!result)
    return nlohmann::json{{"transport", httplib::to_string(result.error())}};
  return nlohmann::json::parse(result->body, nullptr, false);
}

// "STATUS error" of a refusal; what came instead of one.
std::string refusalOf(const httplib::Result& result) {
  const nlohmann::json reply = jsonOf(result);
  if (!reply.is_object() || !reply.contains("error") || !reply["error"].is_string())
    return result ? result->body : reply.dump();
  return std::to_string(result->status) + " " + reply["error"].get<std::string>();
}

// Headers of a transcription as the app sends them.
httplib::Headers transcribing(const std::string& key, const std::string& mode = "smart",
                              const std::string& tone = "auto") {
  return {{"Authorization", "Bearer " + key},
          {"X-Murvel-Audio-Filename", "audio.wav"},
          {"X-Murvel-Trace-ID", "1A2B3C4D"},
          {"X-Murvel-Cleanup-Mode", mode},
          {"X-Murvel-Tone", tone}};
}

httplib::Headers bearer(const std::string& key) {
  return {{"Authorization", "Bearer " + key}};
}

// One service for the suite: loading the decoders takes a while.
class ServiceTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { service = new RunningService(); }
  static void TearDownTestSuite() {
    delete service;
    service = nullptr;
  }
  static RunningService* service;
};
RunningService* ServiceTest::service = nullptr;

// The rules of each mode and tone are the cleanup's own tables; here the headers reach them.
TEST_F(ServiceTest, SpeechIsRecognisedAndCleanedAsAskedAndLoggedWithoutSecrets) {
  const std::string key = service->accessKey("private.person@example.com");
  const nlohmann::json reply = jsonOf(service->client().Post(
      "/api/transcribe", transcribing(key, "smart", "bullets"),
      spokenWav("rms", "first book a table then call the office and finally buy some bread"),
      "audio/wav"));
  ASSERT_TRUE(reply.contains("text")) << reply.dump();
  const std::string text = reply["text"];
  EXPECT_TRUE(
      std::regex_match(text, std::regex("- [A-Z][a-z ]+\n- Call the office\n- Buy some bread")))
      << text;
  EXPECT_EQ(reply["cleanup_attempted"], true);
  EXPECT_EQ(reply["cleanup_applied"], true);
  EXPECT_EQ(reply["cleanup_mode"], "smart");
  for (const char* timing : {"decode_ms", "decode_cpu_ms", "cleanup_ms"})
    EXPECT_TRUE(reply["timings"][timing].is_number()) << timing;
  EXPECT_GT(reply["timings"]["audio_ms"], 1000.0);

  // The log names the request by its trace id, and holds neither the key, the text nor the address.
  std::string log;
  for (const auto& line : service->log()) log += line + "\n";
  EXPECT_THAT(log, HasSubstr("transcribe trace=1A2B3C4D mode=smart tone=bullets audio_ms="));
  EXPECT_THAT(log, Not(HasSubstr(key)));
  EXPECT_THAT(log, Not(HasSubstr(text)));
  EXPECT_THAT(log, Not(HasSubstr("private.person")));
}

// A refused body is still read to its end, so the connection carries the next request.
TEST_F(ServiceTest, TranscribeRefusesUnknownKeysSilenceAndRecordingsTooLarge) {
  auto client = service->client();
  const std::string key = service->accessKey();
  const std::string wav = spokenWav("slt", "we need to talk about the budget");
  std::string silence = wav;
  std::fill(silence.begin() + 44, silence.end(), '\0');
  const auto transcribe = [&](const std::string& with, const std::string& body) {
    return refusalOf(client.Post("/api/transcribe", transcribing(with), body, "audio/wav"));
  };
  EXPECT_THAT(transcribe(std::string(64, 'a'), wav),
              HasSubstr("401 The service does not know this access key"));
  EXPECT_THAT(transcribe(key, silence), HasSubstr("422 The recording is silent"));
  EXPECT_THAT(transcribe(key, wav + std::string(3 << 20, '\x01')),
              HasSubstr("413 The request is larger than the service takes (2 MiB)"));
}

TEST_F(ServiceTest, CleanupCleansByTheSameRulesAndSaysWhyItCannot) {
  auto client = service->client();
  const httplib::Headers key = bearer(service->accessKey());
  const auto cleanup = [&](const httplib::Headers& headers, const std::string& body) {
    return client.Post("/api/cleanup", headers, body, "application/json");
  };
  EXPECT_EQ(jsonOf(cleanup(key, R"({"text":"um i do not think, you know, that it is late",
                                    "tone":"casual","mode":"smart"})"))["text"],
            "I don't think that it's late");
  EXPECT_THAT(refusalOf(cleanup({}, R"({"text":"hi","mode":"fast"})")),
              HasSubstr("401 No access key"));
  EXPECT_THAT(refusalOf(cleanup(key, R"({"text":"  \n","mode":"fast"})")),
              HasSubstr("400 There is no text to clean"));
  EXPECT_THAT(refusalOf(cleanup(key, R"({"text":"um, uh","mode":"smart"})")),
              HasSubstr("422 Nothing but filler"));
}

// The browser's road from the sign-in page to an access key, and the account it opens; a link
// works once, for ten minutes, and only the app gets one.
TEST_F(ServiceTest, SignInLeadsFromThePageToAKeyThatWorksOnceAndNeverElsewhere) {
  auto client = service->client();
  const auto page =
      client.Get("/api/auth/start?email=%20Ann%40Example.org&redirect_uri=murvel%3A%2F%2Fauth");
  ASSERT_TRUE(page);
  EXPECT_EQ(page->status, 200);
  EXPECT_THAT(page->body, HasSubstr("ann@example.org"));
  EXPECT_THAT(page->get_header_value("Content-Security-Policy"),
              HasSubstr("frame-ancestors 'none'"));

  // The page's form, continued: the exchange body for the link it leads to.
  const auto newLink = [&] {
    const auto continued = client.Post(
        "/api/auth/continue",
        httplib::Params{{"email", "ann@example.org"}, {"redirect_uri", "murvel://auth"}});
    EXPECT_EQ(continued ? continued->status : 0, 303);
    const std::string location = continued ? continued->get_header_value("Location") : "";
    EXPECT_THAT(location, ::testing::MatchesRegex("murvel://auth\\?login_token=[0-9a-f]{64}"));
    return nlohmann::json{{"login_token", location.substr(location.find('=') + 1)}}.dump();
  };
  const auto exchange = [&](const std::string& body) {
    return client.Post("/api/auth/exchange", body, "application/json");
  };
  const std::string link = newLink();
  const nlohmann::json issued = jsonOf(exchange(link));
  ASSERT_TRUE(issued["access_key"].is_string()) << issued.dump();
  EXPECT_EQ(issued["email"], "ann@example.org");
  EXPECT_EQ(jsonOf(client.Get("/api/account/info", bearer(issued["access_key"])))["email"],
            "ann@example.org");
  EXPECT_THAT(refusalOf(exchange(link)), HasSubstr("401 This sign-in link has already been used"));
  const std::string late = newLink();
  service->advanceClock(600);
  EXPECT_THAT(refusalOf(exchange(late)), HasSubstr("401 This sign-in link has expired"));
  EXPECT_THAT(refusalOf(exchange(R"({"login_token":")" + std::string(64, 'f') + "\"}")),
              HasSubstr("401 The service does not know this sign-in link"));

  // A sign-in that would hand its link to a web page, or that another site posts, ends on a page
  // that says why.
  const auto web =
      client.Get("/api/auth/start?email=a%40b.c&redirect_uri=https%3A%2F%2Fevil.example%2F");
  ASSERT_TRUE(web);
  EXPECT_EQ(web->status, 400);
  EXPECT_THAT(web->body, HasSubstr("own murvel: links"));
  const auto posted = client.Post("/api/auth/continue", {{"Origin", "https://evil.example"}},
                                  "email=a%40b.c&redirect_uri=murvel%3A%2F%2Fauth",
                                  "application/x-www-form-urlencoded");
  ASSERT_TRUE(posted);
  EXPECT_EQ(posted->status, 403);
  EXPECT_THAT(posted->body, HasSubstr("from another site"));
}

// Requests that a local process or a page may send to take the service down or to pass as its
// own: each is refused from its head alone, one with a body before the body was sent whole, and
// what reaches the log or the reply is printable.
TEST_F(ServiceTest, HostileRequestsAreRefusedFromTheirHeads) {
  // "STATUS error" of the reply to `head`, with `piece` sent 1024 times after it.
  const auto refusal = [&](std::string head, const std::string& piece = {}) {
    if (head.find("\r\nHost:") == std::string::npos)
      head += "\r\nHost: 127.0.0.1:" + std::to_string(service->port());
    const RawReply reply = rawExchange(service->port(), head + "\r\nConnection: close\r\n\r\n",
                                       piece, piece.empty() ? 0 : 1024);
    EXPECT_TRUE(piece.empty() || reply.repliedEarly) << head.substr(0, 60);
    const std::size_t body = std::min(reply.text.find("\r\n\r\n"), reply.text.size());
    const auto error = nlohmann::json::parse(reply.text.substr(body), nullptr, false);
    return std::to_string(reply.status()) + " " +
           (error.is_object() ? error.value("error", "") : reply.text);
  };
  const std::string chunk = "10000\r\n" + std::string(0x10000, 'x') + "\r\n";
  const std::string form = "\r\nContent-Type: application/x-www-form-urlencoded";
  std::string manyHeaders = "GET /api/health HTTP/1.1";
  for (int i = 0; i < 5000; ++i) manyHeaders += "\r\nX-Filler-" + std::to_string(i) + ": x";

  EXPECT_THAT(refusal("POST /api/nothing HTTP/1.1\r\nTransfer-Encoding: chunked", chunk),
              HasSubstr("404 There is no endpoint"));
  EXPECT_THAT(
      refusal("POST /api/auth/continue HTTP/1.1\r\nTransfer-Encoding: chunked" + form, chunk),
      HasSubstr("413 The request is larger than the service takes (4 KiB)"));
  EXPECT_THAT(refusal("POST /api/auth/continue HTTP/1.1\r\nContent-Encoding: gzip" + form +
                          "\r\nContent-Length: 67108864",
                      std::string(0x10000, '\0')),
              HasSubstr("415 The service does not take compressed requests"));
  EXPECT_THAT(refusal(manyHeaders), HasSubstr("431 The request's address or headers"));
  EXPECT_THAT(refusal("GET /api/health HTTP/1.1\r\nHost: rebound.example:8787"),
              HasSubstr("421 The service only answers requests addressed to its own address"));
  EXPECT_THAT(refusal("GET /api/x%0A2026-01-01%20forged%1B[31m HTTP/1.1"),
              HasSubstr("404 There is no endpoint GET /api/x\\x0a2026"));
  for (const std::string& line : service->log())
    EXPECT_EQ(line.find_first_of("\n\r\x1b"), std::string::npos) << line;
}

// Connections that send nothing, or their head a byte a second, hold no request thread: with
// more of them than there are threads health still answers, and a head that drips is cut off
// after a few seconds, however long it drips.
TEST_F(ServiceTest, SilentAndDrippingConnectionsHoldNoRequestThread) {
  std::vector<int> silent;
  for (int i = 0; i < 40; ++i) silent.push_back(loopbackConnection(service->port()));
  const auto health = service->client().Get("/api/health");
  for (const int socket : silent) ::close(socket);
  ASSERT_TRUE(health) << httplib::to_string(health.error());
  EXPECT_EQ(health->status, 200);

  const int socket = loopbackConnection(service->port());
  const std::string head = "GET /api/health HTTP/1.1\r\nX-Drip: ";
  ASSERT_GT(::send(socket, head.data(), head.size(), MSG_NOSIGNAL), 0);
  bool closed = false;
  for (int second = 0; second < 20 && !closed; ++second) {
    pollfd watched{socket, POLLIN, 0};
    char byte = 'x';
    closed = ::poll(&watched, 1, 1000) > 0 || ::send(socket, &byte, 1, MSG_NOSIGNAL) < 0;
  }
  char got = 0;
  EXPECT_TRUE(closed && ::recv(socket, &got, 1, 0) <= 0);
  ::close(socket);
}

// Recognition runs beside the request threads: while the only decoder works health still
// answers, and a recording with no room to wait is told that the service is busy.
TEST(ServiceLoad, HealthAnswersWhileTheDecoderWorksAndAFullServiceSaysBusy) {
  RunningService busy(1, 0);
  const std::string key = busy.accessKey();
  const std::string speech = spokenWav(
      "awb",
      "please send me the report by the end of the day and i will call you back after the "
      "meeting if the weather is nice today so we can talk about the budget on a walk");
  const auto transcribe = [&] {
    return busy.client().Post("/api/transcribe", transcribing(key, "off"), speech, "audio/wav");
  };
  auto first = std::async(std::launch::async, transcribe);
  ASSERT_TRUE(murvel::test::waitFor(
      [&] { return jsonOf(busy.client().Get("/api/health"))["decoding"] == 1; }, 60s))
      << "health did not answer while the decoder worked";
  EXPECT_THAT(refusalOf(transcribe()), HasSubstr("503 The service is busy"));
  // The first is answered, as the recording it was: one that asked for no cleanup.
  EXPECT_EQ(jsonOf(first.get())["cleanup_attempted"], false);
}

}  // namespace
}  // namespace murvel::cloud::test
