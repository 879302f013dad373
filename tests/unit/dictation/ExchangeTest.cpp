#include "fakes/AppHarness.h"

namespace murvel::testing {
namespace {

using State = DictationState;

std::string start(const std::string& mode = "off") {
  return "[Murvel][ID][client_start] audio_bytes=32044 cleanup_mode=" + mode +
         " prepare_ms=# record_ms=#\n";
}
const std::string response =
    "[Murvel][ID][client_response] after_release_ms=# network_ms=# parse_ms=# server_timings={}\n";
std::string pasted(const std::string& mode = "off") {
  return "[Murvel][ID][paste_posted] after_release_ms=# cleanup_mode=" + mode + " text_chars=11\n";
}
const State hello = State::done("hello world", 2, 60);
const RunningApplication editor{"org.example.Editor", "Editor", 501, 77};

// One dictation in mode "off", pressed in the editor: what the upload carried, what the reply
// made of it on the panel, and the trace.
struct ReplyCase {
  std::string name;
  std::optional<std::string> body;  // nothing: the task ends with neither data nor an error
  int status = 200;
  State shown;
  std::vector<std::string> trail;
  std::function<void(AppHarness&)> whileRecording = {};
  std::function<void(AppHarness&)> beforeTheReply = {};
  HttpHeaders sent = {};
  bool recordingAtTheEnd = false;
  friend void PrintTo(const ReplyCase& c, std::ostream* out) { *out << c.name; }
};

class ExchangeReplyTest : public ::testing::TestWithParam<ReplyCase> {};

TEST_P(ExchangeReplyTest, ReplyIsJudgedByItsKeysAlone) {
  const auto& c = GetParam();
  AppHarness h;
  h.fake.keychain.storeAccessKey("secret-key");
  h.fake.workspace.frontmost = editor;
  h.prepareSession();
  h.app->settings.setCleanupMode("off");
  h.app->settings.setAppTones({{*editor.bundleIdentifier, "formal"}});
  h.app->setupHotkey();
  h.press();
  h.fake.dispatch.advance(2.0);
  if (c.whileRecording)
    c.whileRecording(h);
  h.release();
  h.fake.dispatch.runUntilIdle();
  const auto uploads = h.fake.urlSessions.tasksFor("/transcribe");
  ASSERT_EQ(uploads.size(), 1u);
  for (const auto& [field, value] : c.sent)
    EXPECT_EQ(uploads[0]->request.valueForHTTPHeaderField(field), value) << field;

  if (c.beforeTheReply)
    c.beforeTheReply(h);
  h.fake.urlSessions.reply("/transcribe", c.body, c.status);
  h.fake.dispatch.runUntilIdle();
  h.fake.dispatch.advance(0.1);
  EXPECT_EQ(h.shown.back(), c.shown);
  EXPECT_EQ(h.maskedTrace(), c.trail);
  EXPECT_EQ(h.app && h.app->isRecording, c.recordingAtTheEnd);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, ExchangeReplyTest,
    ::testing::Values(
        ReplyCase{"Text", R"({"text":"hello world"})", 200, hello, {start(), response, pasted()}},
        ReplyCase{"TextWithServerError",
                  R"({"text":"hello world","error":"ignored"})",
                  500,
                  hello,
                  {start(), response, pasted()}},
        ReplyCase{"TextWithClientError",
                  R"({"text":"hello world"})",
                  422,
                  hello,
                  {start(), response, pasted()}},
        ReplyCase{"ErrorString",
                  R"({"error":"Your access key was revoked."})",
                  401,
                  State::error("Your access key was revoked."),
                  {start(), response}},
        ReplyCase{"EmptyTextAndError",
                  R"({"text":"","error":"Nothing was heard."})",
                  200,
                  State::error("Nothing was heard."),
                  {start(), response}},
        ReplyCase{
            "EmptyErrorString", R"({"error":""})", 200, State::error(""), {start(), response}},
        ReplyCase{"ErrorMessage",
                  R"({"text":7,"error":{"message":"Slow down."}})",
                  429,
                  State::error("Slow down."),
                  {start(), response}},
        ReplyCase{"ErrorWithoutMessage",
                  R"({"error":{"code":3}})",
                  500,
                  State::error("Unexpected response."),
                  {start(), response}},
        ReplyCase{"MessageNotAString",
                  R"({"error":{"message":false}})",
                  500,
                  State::error("Unexpected response."),
                  {start(), response}},
        ReplyCase{
            "EmptyObject", "{}", 200, State::error("Unexpected response."), {start(), response}},
        ReplyCase{"Array",
                  R"(["hello"])",
                  200,
                  State::error("Unexpected response."),
                  {start(), response}},
        ReplyCase{"NotJSON", "<html>busy</html>", 200, State::error("Parse error."), {start()}},
        ReplyCase{"EmptyBody", "", 204, State::error("Parse error."), {start()}},
        ReplyCase{"BareString", R"("hello")", 200, State::error("Parse error."), {start()}},
        ReplyCase{"NoData",
                  std::nullopt,
                  200,
                  State::error("No response from server."),
                  {start(), "[Murvel][ID][client_error] after_release_ms=# error=no_response\n"}},
        // The mode is read at the release, the tone from the application noted at the press.
        ReplyCase{"ModeOfTheRelease",
                  R"({"text":"hello world","cleanup_attempted":false})",
                  200,
                  hello,
                  {start("smart"), response, pasted("smart")},
                  [](AppHarness& h) { h.app->settings.setCleanupMode("smart"); },
                  {},
                  {{"X-Murvel-Cleanup-Mode", "smart"}, {"X-Murvel-Tone", "formal"}}},
        ReplyCase{"ToneOfTheApplicationAtThePress",
                  R"({"text":"hello world","cleanup_attempted":false})",
                  200,
                  hello,
                  {start("fast"), response, pasted("fast")},
                  [](AppHarness& h) {
                    h.app->settings.setCleanupMode("fast");
                    h.fake.workspace.frontmost = RunningApplication{"org.example.Chat", "Chat", 9};
                  },
                  {},
                  {{"X-Murvel-Tone", "formal"}}},
        // A reply is delivered over a recording that runs, and leaves it running.
        ReplyCase{"DuringANewRecording",
                  R"({"text":"hello world"})",
                  200,
                  hello,
                  {start(), response, pasted()},
                  {},
                  [](AppHarness& h) { h.press(); },
                  {},
                  true},
        ReplyCase{"AfterTheDelegateIsGone",
                  R"({"text":"hello world"})",
                  200,
                  State::transcribing(),
                  {start()},
                  {},
                  [](AppHarness& h) {
                    h.app.reset();
                  }}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace murvel::testing
