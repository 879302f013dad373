#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <nlohmann/json.hpp>
#include <regex>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "ServiceTestSupport.h"
#include "cloud/WordErrorRate.h"

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

// Speech recognised and cleaned in each mode, the three voices in turn; the tones' rules are the
// cleanup's own tables.
struct SpeechCase {
  std::string voice;
  std::string mode;
  std::string tone;
  std::string spoken;
  std::string expected;  // the words the reply should hold, recognition errors aside
  std::string shape;     // a pattern the whole text matches
};

void PrintTo(const SpeechCase& c, std::ostream* out) {
  *out << c.voice << " " << c.mode << "/" << c.tone << ": " << c.spoken;
}

class SpeechTest : public ServiceTest, public ::testing::WithParamInterface<SpeechCase> {};

TEST_P(SpeechTest, IsRecognisedAndCleanedAsTheModeAndToneAskAndLoggedWithoutSecrets) {
  const SpeechCase& c = GetParam();
  const std::string key = service->accessKey("private.person@example.com");
  const auto result =
      service->client().Post("/api/transcribe", transcribeHeaders(key, c.mode, c.tone),
                             Speech::wav(c.voice, c.spoken), "audio/wav");
  const nlohmann::json reply = jsonOf(result);
  ASSERT_TRUE(reply.contains("text")) << reply.dump();
  const std::string text = reply["text"];
  EXPECT_LE(wordErrors(scoredWords(c.expected), scoredWords(text)).rate(), 0.25) << text;
  EXPECT_TRUE(std::regex_match(text, std::regex(c.shape))) << text;
  EXPECT_EQ(reply["cleanup_attempted"], c.mode != "off");
  EXPECT_EQ(reply["cleanup_applied"], c.mode != "off");
  EXPECT_EQ(reply["cleanup_mode"], c.mode);
  for (const char* timing : {"audio_ms", "decode_ms", "decode_cpu_ms", "cleanup_ms"})
    EXPECT_TRUE(reply["timings"][timing].is_number()) << timing;
  EXPECT_GT(reply["timings"]["audio_ms"], 1000.0);

  // The log names the request by its trace id, and holds neither the key, the text nor the address.
  std::string log;
  for (const auto& line : service->log()) log += line + "\n";
  EXPECT_THAT(log, HasSubstr("transcribe trace=1A2B3C4D mode=" + c.mode +
                             (c.mode == "off" ? "" : " tone=" + c.tone) + " audio_ms="));
  EXPECT_THAT(log, Not(HasSubstr(key)));
  EXPECT_THAT(log, Not(HasSubstr(text)));
  EXPECT_THAT(log, Not(HasSubstr("private.person")));
}

std::vector<SpeechCase> speechCases() {
  return {{"slt", "off", "", "please send me the report by the end of the day",
           "please send me the report by the end of the day", "[a-z' ]+"},
          {"awb", "fast", "formal", "i will call you back after the meeting",
           "i will call you back after the meeting", "I will( [a-z']+)+"},
          {"rms", "smart", "bullets",
           "first book a table then call the office and finally buy some bread",
           "book a table call the office buy some bread",
           "- [A-Z][a-z ]+\n- Call the office\n- Buy some bread"}};
}

INSTANTIATE_TEST_SUITE_P(Voices, SpeechTest, ::testing::ValuesIn(speechCases()),
                         [](const auto& info) {
                           return info.param.voice + "_" + info.param.mode + "_" +
                                  (info.param.tone.empty() ? "none" : info.param.tone);
                         });

// Every refusal is a JSON error that says what is wrong, and leaves the connection usable.
struct RefusalCase {
  const char* name;
  std::string path;
  std::function<httplib::Headers(const std::string& key)> headers;
  std::function<std::string()> body;
  int status;
  std::string error;
};
// Named in test listings by its row name rather than by its bytes.
void PrintTo(const RefusalCase& c, std::ostream* out) {
  *out << c.name;
}

class RefusalTest : public ServiceTest, public ::testing::WithParamInterface<RefusalCase> {};

TEST_P(RefusalTest, SaysWhatIsWrongAndKeepsTheConnection) {
  const RefusalCase& c = GetParam();
  auto client = service->client();
  const auto result = client.Post(c.path.c_str(), c.headers(service->accessKey()), c.body(),
                                  "application/octet-stream");
  ASSERT_TRUE(result) << httplib::to_string(result.error());
  EXPECT_EQ(result->status, c.status);
  const nlohmann::json reply = jsonOf(result);
  ASSERT_TRUE(reply.is_object() && reply["error"].is_string()) << result->body;
  EXPECT_THAT(reply["error"].get<std::string>(), HasSubstr(c.error));
  EXPECT_FALSE(reply.contains("text"));
  const auto health = client.Get("/api/health");
  ASSERT_TRUE(health);
  EXPECT_EQ(health->status, 200);
}

const std::string sentence = "we need to talk about the budget";

httplib::Headers withKey(const std::string& key) {
  return transcribeHeaders(key, "smart", "auto");
}

INSTANTIATE_TEST_SUITE_P(
    Transcribe, RefusalTest,
    ::testing::Values(
        RefusalCase{
            "UnknownKey", "/api/transcribe", [](auto&) { return withKey(std::string(64, 'a')); },
            [] { return Speech::wav("slt", sentence); }, 401, "does not know this access key"},
        RefusalCase{"Silence", "/api/transcribe", withKey,
                    [] {
                      std::string wav = Speech::wav("slt", sentence);
                      std::fill(wav.begin() + 44, wav.end(), '\0');
                      return wav;
                    },
                    422, "silent"},
        RefusalCase{"Oversized", "/api/transcribe", withKey,
                    [] { return Speech::wav("slt", sentence) + std::string(3 << 20, '\x01'); }, 413,
                    "larger than the service takes (2 MiB)"}),
    [](const auto& info) { return std::string(info.param.name); });

httplib::Headers bearer(const std::string& key) {
  return {{"Authorization", "Bearer " + key}};
}

INSTANTIATE_TEST_SUITE_P(
    Json, RefusalTest,
    ::testing::Values(
        RefusalCase{"CleanupWithoutKey", "/api/cleanup", [](auto&) { return httplib::Headers{}; },
                    [] { return std::string(R"({"text":"hi","mode":"fast","tone":"auto"})"); }, 401,
                    "No access key"},
        RefusalCase{"CleanupBlank", "/api/cleanup", bearer,
                    [] { return std::string(R"({"text":"  \n","mode":"fast"})"); }, 400,
                    "no text to clean"},
        RefusalCase{
            "CleanupOnlyFillers", "/api/cleanup", bearer,
            [] { return std::string(R"({"text":"um, uh","mode":"smart","tone":"formal"})"); }, 422,
            "filler"},
        RefusalCase{
            "ExchangeUnknownToken", "/api/auth/exchange", [](auto&) { return httplib::Headers{}; },
            [] { return std::string(R"({"login_token":")") + std::string(64, 'f') + "\"}"; }, 401,
            "does not know this sign-in link"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ServiceTest, AnOversizedBodyWithoutALengthIsRefusedToo) {
  auto client = service->client();
  std::size_t sent = 0;
  const auto result = client.Post(
      "/api/transcribe", withKey(service->accessKey()),
      [&](std::size_t, httplib::DataSink& sink) {
        const std::string piece(64 * 1024, '\x02');
        if (sent < (3u << 20)) {
          sent += piece.size();
          return sink.write(piece.data(), piece.size());
        }
        sink.done();
        return true;
      },
      "audio/wav");
  ASSERT_TRUE(result) << httplib::to_string(result.error());
  EXPECT_EQ(result->status, 413);
  EXPECT_THAT(jsonOf(result)["error"].get<std::string>(), HasSubstr("larger than"));
}

TEST_F(ServiceTest, CleanupEndpointCleansByTheSameRules) {
  const auto result = service->client().Post(
      "/api/cleanup", bearer(service->accessKey()),
      R"({"text":"um i do not think, you know, that it is late","tone":"casual","mode":"smart"})",
      "application/json");
  EXPECT_EQ(jsonOf(result)["text"], "I don't think that it's late");
}

// The browser's road from the sign-in page to an access key, and the account it opens.
TEST_F(ServiceTest, SignInLeadsFromThePageToAKeyThatWorksOnce) {
  auto client = service->client();
  const auto page =
      client.Get("/api/auth/start?email=%20Ann%40Example.org&redirect_uri=murvel%3A%2F%2Fauth");
  ASSERT_TRUE(page);
  EXPECT_EQ(page->status, 200);
  EXPECT_THAT(page->body, HasSubstr("ann@example.org"));
  EXPECT_THAT(page->body, HasSubstr("<button type=\"submit\""));
  EXPECT_THAT(page->get_header_value("Content-Security-Policy"),
              HasSubstr("frame-ancestors 'none'"));

  const httplib::Params form{{"email", "ann@example.org"}, {"redirect_uri", "murvel://auth"}};
  const auto continued = client.Post("/api/auth/continue", form);
  ASSERT_TRUE(continued);
  EXPECT_EQ(continued->status, 303);
  const std::string location = continued->get_header_value("Location");
  ASSERT_THAT(location, ::testing::MatchesRegex("murvel://auth\\?login_token=[0-9a-f]{64}"));
  const std::string token = location.substr(location.find('=') + 1);
  const std::string exchangeBody = nlohmann::json{{"login_token", token}}.dump();

  const nlohmann::json issued =
      jsonOf(client.Post("/api/auth/exchange", exchangeBody, "application/json"));
  ASSERT_TRUE(issued["access_key"].is_string()) << issued.dump();
  EXPECT_EQ(issued["email"], "ann@example.org");
  EXPECT_EQ(jsonOf(client.Get("/api/account/info", bearer(issued["access_key"])))["email"],
            "ann@example.org");
  EXPECT_THAT(jsonOf(client.Post("/api/auth/exchange", exchangeBody, "application/json"))["error"]
                  .get<std::string>(),
              HasSubstr("already been used"));

  // Ten minutes later a token no longer works.
  const auto late = client.Post("/api/auth/continue", form);
  const std::string lateToken = late->get_header_value("Location").substr(location.find('=') + 1);
  service->advanceClock(600);
  EXPECT_THAT(
      jsonOf(client.Post("/api/auth/exchange", nlohmann::json{{"login_token", lateToken}}.dump(),
                         "application/json"))["error"]
          .get<std::string>(),
      HasSubstr("expired"));
}

struct PageRefusal {
  const char* name;
  std::string method;
  std::string query;  // for GET; the form for POST
  httplib::Headers headers;
  int status;
  std::string says;
};
// Named in test listings by its row name rather than by its bytes.
void PrintTo(const PageRefusal& c, std::ostream* out) {
  *out << c.name;
}

class SignInRefusalTest : public ServiceTest, public ::testing::WithParamInterface<PageRefusal> {};

TEST_P(SignInRefusalTest, ShowsAPageThatSaysWhy) {
  const PageRefusal& c = GetParam();
  auto client = service->client();
  const auto result = c.method == "GET" ? client.Get(("/api/auth/start?" + c.query).c_str())
                                        : client.Post("/api/auth/continue", c.headers, c.query,
                                                      "application/x-www-form-urlencoded");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, c.status);
  EXPECT_THAT(result->body, HasSubstr(c.says));
  EXPECT_FALSE(result->has_header("Location"));
}

INSTANTIATE_TEST_SUITE_P(
    Pages, SignInRefusalTest,
    ::testing::Values(PageRefusal{"WebRedirect",
                                  "GET",
                                  "email=a%40b.c&redirect_uri=https%3A%2F%2Fevil.example%2F",
                                  {},
                                  400,
                                  "own murvel: links"},
                      PageRefusal{"PostFromAnotherSite",
                                  "POST",
                                  "email=a%40b.c&redirect_uri=murvel%3A%2F%2Fauth",
                                  {{"Origin", "https://evil.example"}},
                                  403,
                                  "from another site"}),
    [](const auto& info) { return std::string(info.param.name); });

// Requests that a local process or a page may send to take the service down or to pass as its
// own: each is refused from its head alone, and what reaches the log or the reply is printable.
struct HostileCase {
  const char* name;
  std::string head;  // up to the headers' end, without it
  std::string bodyPiece;
  std::size_t repeats;
  int status;
  std::string error;
  bool early;  // the refusal must come before the body was sent whole
};
void PrintTo(const HostileCase& c, std::ostream* out) {
  *out << c.name;
}

class HostileRequestTest : public ServiceTest, public ::testing::WithParamInterface<HostileCase> {};

TEST_P(HostileRequestTest, IsRefusedFromItsHead) {
  const HostileCase& c = GetParam();
  const std::string host = "Host: 127.0.0.1:" + std::to_string(service->port()) + "\r\n";
  std::string head = c.head;
  if (head.find("Host:") == std::string::npos)
    head += "\r\n" + host.substr(0, host.size() - 2);
  const RawReply reply =
      rawExchange(service->port(), head + "\r\nConnection: close\r\n\r\n", c.bodyPiece, c.repeats);
  EXPECT_EQ(reply.status(), c.status) << reply.text.substr(0, 200);
  EXPECT_THAT(reply.text, HasSubstr(c.error));
  EXPECT_TRUE(reply.repliedEarly || !c.early);
  for (const std::string& line : service->log())
    EXPECT_EQ(line.find_first_of("\n\r\x1b"), std::string::npos) << line;
}

std::string manyHeaders() {
  std::string headers = "GET /api/health HTTP/1.1";
  for (int i = 0; i < 5000; ++i) headers += "\r\nX-Filler-" + std::to_string(i) + ": x";
  return headers;
}

INSTANTIATE_TEST_SUITE_P(
    Heads, HostileRequestTest,
    ::testing::Values(
        HostileCase{
            "ChunkedToNoEndpoint", "POST /api/nothing HTTP/1.1\r\nTransfer-Encoding: chunked",
            "10000\r\n" + std::string(0x10000, 'x') + "\r\n", 1024, 404, "no endpoint", true},
        HostileCase{"ChunkedSignInForm",
                    "POST /api/auth/continue HTTP/1.1\r\nTransfer-Encoding: chunked\r\n"
                    "Content-Type: application/x-www-form-urlencoded",
                    "10000\r\n" + std::string(0x10000, 'x') + "\r\n", 1024, 413, "(4 KiB)", true},
        HostileCase{"CompressedSignInForm",
                    "POST /api/auth/continue HTTP/1.1\r\nContent-Encoding: gzip\r\n"
                    "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 67108864",
                    std::string(0x10000, '\0'), 1024, 415, "compressed", true},
        HostileCase{"ManyHeaders", manyHeaders(), "", 0, 431, "headers are too long", false},
        HostileCase{"ForeignHost", "GET /api/health HTTP/1.1\r\nHost: rebound.example:8787", "", 0,
                    421, "its own address", false},
        HostileCase{"ForgedLogLine", "GET /api/x%0A2026-01-01%20forged%1B[31m HTTP/1.1", "", 0, 404,
                    "x\\\\x0a2026", false}),
    [](const auto& info) { return std::string(info.param.name); });

// Connections that never send a request hold no request thread: with more of them than there
// are threads, health still answers.
TEST_F(ServiceTest, SilentConnectionsLeaveHealthAnswering) {
  std::vector<int> silent;
  for (int i = 0; i < 40; ++i) silent.push_back(loopbackConnection(service->port()));
  const auto health = service->client().Get("/api/health");
  for (const int socket : silent) ::close(socket);
  ASSERT_TRUE(health) << httplib::to_string(health.error());
  EXPECT_EQ(health->status, 200);
}

// A head that comes a byte a second is cut off after a few seconds, however long it drips.
TEST_F(ServiceTest, AHeadThatDripsIsCutOff) {
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

// Recognition runs beside the request threads: while the only decoder works and a second
// recording waits, health still answers, and a third recording is told the service is busy.
TEST(ServiceLoad, HealthAnswersWhileDecodersWorkAndAFullServiceSaysBusy) {
  RunningService busy(RunningService::Settings{.decoders = 1, .waitingLimit = 1});
  const std::string key = busy.accessKey();
  const std::string longSpeech = Speech::joined(
      "awb",
      {"please send me the report by the end of the day", "i will call you back after the meeting",
       "the weather is nice today so we can go for a walk", "we need to talk about the budget"});
  const auto transcribe = [&] {
    return std::async(std::launch::async, [&] {
      return jsonOf(busy.client().Post("/api/transcribe", transcribeHeaders(key, "fast", "auto"),
                                       longSpeech, "audio/wav"));
    });
  };
  const auto health = [&] {
    return jsonOf(busy.client().Get("/api/health"));
  };
  const auto waitForLoad = [&](int decoding, int waiting) {
    for (int i = 0; i < 2000; ++i) {
      const nlohmann::json now = health();
      if (now["decoding"] == decoding && now["waiting"] == waiting)
        return true;
      std::this_thread::sleep_for(5ms);
    }
    return false;
  };

  auto first = transcribe();
  ASSERT_TRUE(waitForLoad(1, 0));
  auto second = transcribe();
  ASSERT_TRUE(waitForLoad(1, 1)) << "health did not answer while the decoder worked";
  const nlohmann::json third = transcribe().get();
  EXPECT_THAT(third["error"].get<std::string>(), HasSubstr("busy"));

  for (auto* pending : {&first, &second}) {
    const nlohmann::json reply = pending->get();
    ASSERT_TRUE(reply["text"].is_string()) << reply.dump();
    EXPECT_THAT(reply["text"].get<std::string>(), HasSubstr("Please send me the report"));
  }
  EXPECT_EQ(health()["waiting"], 0);
}

}  // namespace
}  // namespace murvel::cloud::test
