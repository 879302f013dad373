#include "ScriptedService.h"
#include "common/Files.h"

#include <thread>

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;
using State = DictationState;

const std::string start =
    "[Murvel][ID][client_start] audio_bytes=32044 cleanup_mode=off prepare_ms=# record_ms=#\n";
const std::string response =
    "[Murvel][ID][client_response] after_release_ms=# network_ms=# parse_ms=# server_timings={}\n";

struct ReplyCase {
  std::string name;
  int status;
  std::string body;
  State shown;
  std::vector<std::string> trail;
  friend void PrintTo(const ReplyCase& c, std::ostream* out) { *out << c.name; }
};

class ExchangeReplyTest : public ::testing::TestWithParam<ReplyCase> {};

TEST_P(ExchangeReplyTest, ReplyIsJudgedByItsKeysAlone) {
  const auto& c = GetParam();
  ServiceHarness s;
  s.h.app->settings.setCleanupMode("off");
  s.service.script("/api/transcribe", c.body, c.status);
  s.dictate();
  EXPECT_EQ(s.last(), c.shown);
  EXPECT_EQ(s.maskedTrace(), c.trail);
}

const std::string pasted =
    "[Murvel][ID][paste_posted] after_release_ms=# cleanup_mode=off text_chars=11\n";

INSTANTIATE_TEST_SUITE_P(
    Replies, ExchangeReplyTest,
    ::testing::Values(
        ReplyCase{"Text",
                  200,
                  R"({"text":"hello world"})",
                  State::done("hello world", 2, 60),
                  {start, response, pasted}},
        ReplyCase{"TextWithServerError",
                  500,
                  R"({"text":"hello world","error":"ignored"})",
                  State::done("hello world", 2, 60),
                  {start, response, pasted}},
        ReplyCase{"TextWithClientError",
                  422,
                  R"({"text":"hello world"})",
                  State::done("hello world", 2, 60),
                  {start, response, pasted}},
        ReplyCase{"ErrorString",
                  401,
                  R"({"error":"Your access key was revoked."})",
                  State::error("Your access key was revoked."),
                  {start, response}},
        ReplyCase{"EmptyTextAndError",
                  200,
                  R"({"text":"","error":"Nothing was heard."})",
                  State::error("Nothing was heard."),
                  {start, response}},
        ReplyCase{"EmptyErrorString", 200, R"({"error":""})", State::error(""), {start, response}},
        ReplyCase{"ErrorMessage",
                  429,
                  R"({"text":7,"error":{"message":"Slow down."}})",
                  State::error("Slow down."),
                  {start, response}},
        ReplyCase{"ErrorWithoutMessage",
                  500,
                  R"({"error":{"code":3}})",
                  State::error("Unexpected response."),
                  {start, response}},
        ReplyCase{"MessageNotAString",
                  500,
                  R"({"error":{"message":false}})",
                  State::error("Unexpected response."),
                  {start, response}},
        ReplyCase{
            "EmptyObject", 200, "{}", State::error("Unexpected response."), {start, response}},
        ReplyCase{
            "Array", 200, R"(["hello"])", State::error("Unexpected response."), {start, response}},
        ReplyCase{"NotJSON", 200, "<html>busy</html>", State::error("Parse error."), {start}},
        ReplyCase{"EmptyBody", 204, "", State::error("Parse error."), {start}},
        ReplyCase{"BareString", 200, R"("hello")", State::error("Parse error."), {start}}),
    [](const auto& info) { return info.param.name; });

TEST(ExchangeTest, TransportFailureWinsAndIsWordedForThePerson) {
  // A port where nothing listens: the connection is refused at once.
  ServiceHarness s("http://127.0.0.1:9/api");
  s.dictate();
  ASSERT_EQ(s.last().kind, State::Kind::error);
  EXPECT_EQ(s.last().message, "Could not connect to the server.");
  EXPECT_THAT(s.maskedTrace(),
              ElementsAre(::testing::StartsWith("[Murvel][ID][client_start]"),
                          "[Murvel][ID][client_error] after_release_ms=# error=Could not connect "
                          "to the server.\n"));
}

TEST(ExchangeTest, UploadCarriesTheFileAndItsHeadersInOrder) {
  struct Case {
    std::string mode;
    std::optional<std::string> defaultTone;
    std::optional<std::string> sentTone;
  };
  for (const Case& c : {Case{"off", "formal", std::nullopt}, Case{"fast", std::nullopt, "auto"},
                        Case{"smart", "bullets", "bullets"}, Case{"smart", "", std::nullopt}}) {
    ServiceHarness s;
    s.h.app->settings.setCleanupMode(c.mode);
    if (c.defaultTone)
      s.h.app->settings.setDefaultTone(*c.defaultTone);
    s.service.script("/api/transcribe", R"({"text":"ok","cleanup_attempted":false})");
    s.dictate();
    const auto uploads = s.service.requests("/api/transcribe");
    ASSERT_EQ(uploads.size(), 1u) << c.mode;
    const auto& upload = uploads[0];
    std::vector<std::string> expected = {"Host",
                                         "Authorization",
                                         "Content-Type",
                                         "X-Murvel-Audio-Filename",
                                         "X-Murvel-Trace-ID",
                                         "X-Murvel-Cleanup-Mode",
                                         "Content-Length"};
    if (c.sentTone)
      expected.push_back("X-Murvel-Tone");
    EXPECT_EQ(ScriptedService::fieldNames(upload), expected) << c.mode;
    EXPECT_EQ(upload.requestLine, "POST /api/transcribe HTTP/1.1");
    EXPECT_EQ(ScriptedService::field(upload, "Authorization"), "Bearer secret-key");
    EXPECT_EQ(ScriptedService::field(upload, "Content-Type"), "audio/wav");
    EXPECT_EQ(ScriptedService::field(upload, "X-Murvel-Audio-Filename"), "audio.wav");
    EXPECT_THAT(*ScriptedService::field(upload, "X-Murvel-Trace-ID"),
                ::testing::MatchesRegex("[0-9A-F]{8}"));
    EXPECT_EQ(ScriptedService::field(upload, "X-Murvel-Cleanup-Mode"), c.mode);
    EXPECT_EQ(ScriptedService::field(upload, "X-Murvel-Tone"), c.sentTone) << c.mode;
    EXPECT_EQ(ScriptedService::field(upload, "Content-Length"), "32044");
    EXPECT_EQ(upload.body, readWholeFile(s.h.recordingFile()));
    EXPECT_EQ(upload.body.substr(0, 4), "RIFF");
  }
}

TEST(ExchangeTest, TheWarmedConnectionCarriesTheUpload) {
  ServiceHarness s;
  s.service.script("/api/health", "");
  s.service.script("/api/health", "");
  s.service.script("/api/transcribe", R"({"text":"ok","cleanup_attempted":false})");
  s.h.app->prewarmAPIConnection();  // as at launch
  s.h.app->setupHotkey();
  s.h.press();  // and again at the press
  ASSERT_TRUE(
      s.h.fake.dispatch.runUntil([&] { return s.service.requests("/api/health").size() == 2; }));
  // The user speaks for a moment: the warm-ups' replies come back meanwhile.
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  const std::size_t before = s.finished();
  s.h.release();
  s.settle(before);

  const auto warmUps = s.service.requests("/api/health");
  const auto uploads = s.service.requests("/api/transcribe");
  ASSERT_EQ(uploads.size(), 1u);
  EXPECT_EQ(warmUps[0].requestLine, "HEAD /api/health HTTP/1.1");
  EXPECT_EQ(ScriptedService::field(warmUps[0], "Authorization"), std::nullopt);
  // No connection was opened for the upload: it rode on one that a warm-up had opened.
  EXPECT_TRUE(std::any_of(warmUps.begin(), warmUps.end(), [&](const auto& warmUp) {
    return warmUp.connection == uploads[0].connection;
  }));
}

}  // namespace
}  // namespace murvel::testing
