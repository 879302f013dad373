#include "fakes/AppHarness.h"

namespace murvel::testing {
namespace {

using State = DictationState;
using Trail = std::vector<std::string>;
using Answer = std::function<void(FakeUrlSessions&)>;
using Step = std::function<void(AppHarness&)>;

std::string start(const std::string& mode = "off") {
  return "[Murvel][ID][client_start] audio_bytes=32044 cleanup_mode=" + mode +
         " prepare_ms=# record_ms=#\n";
}
const std::string response =
    "[Murvel][ID][client_response] after_release_ms=# network_ms=# parse_ms=# server_timings={}\n";
std::string pasted(const std::string& mode = "off") {
  return "[Murvel][ID][paste_posted] after_release_ms=# cleanup_mode=" + mode + " text_chars=11\n";
}
std::string clientError(const std::string& error) {
  return "[Murvel][ID][client_error] after_release_ms=# error=" + error + "\n";
}
const Trail delivered = {start(), response, pasted()}, judged = {start(), response};
const State hello = State::done("hello world", 2, 60);
const State unexpected = State::error("Unexpected response.");
const RunningApplication editor{"org.example.Editor", "Editor", 501, 77};

// The upload's reply: a body (none: neither data nor error) with its status, or a failure.
Answer with(std::optional<std::string> body, int status = 200) {
  return [=](FakeUrlSessions& network) {
    network.reply("/transcribe", body, status);
  };
}
Answer failure(const std::string& sentence) {
  return [=](FakeUrlSessions& network) {
    network.fail("/transcribe", {"net", -1004, sentence});
  };
}
const std::string cleanText = R"({"text":"hello world","cleanup_attempted":false})";

// One dictation in mode "off", pressed in the editor: what the upload carried, what the reply
// made of it on the panel, and the trace.
struct ReplyCase {
  std::string name;
  Answer answer;
  State shown;
  Trail trail;
  Step whileRecording = nullptr;
  Step beforeTheReply = nullptr;
  HttpHeaders sent = {};
  bool recordingAtTheEnd = false;
  friend void PrintTo(const ReplyCase& c, std::ostream* out) { *out << c.name; }
};

class ExchangeReplyTest : public ::testing::TestWithParam<ReplyCase> {};

TEST_P(ExchangeReplyTest, ReplyIsJudgedByItsKeysAlone) {
  const auto& c = GetParam();
  AppHarness h;
  h.fake.workspace.frontmost = editor;
  h.prepareDictation();
  h.app->settings.setCleanupMode("off");
  h.app->settings.setAppTones({{*editor.bundleIdentifier, "formal"}});
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
  c.answer(h.fake.urlSessions);
  h.fake.dispatch.runUntilIdle();
  h.fake.dispatch.advance(0.1);
  EXPECT_EQ(h.shown.back(), c.shown);
  EXPECT_EQ(h.maskedTrace(), c.trail);
  EXPECT_EQ(h.app && h.app->isRecording, c.recordingAtTheEnd);
  // Only a delivered text joins the history.
  if (h.app) {
    EXPECT_EQ(h.app->history.size(), c.shown.kind == State::Kind::done ? 1u : 0u);
  }
}

const std::string connectFailed = "Could not connect to the server.";
const Trail startOnly = {start()}, noResponse = {start(), clientError("no_response")},
            failed = {start(), clientError(connectFailed)},
            smart = {start("smart"), response, pasted("smart")},
            fast = {start("fast"), response, pasted("fast")};
const HttpHeaders smartAndEditorTone = {{"X-Murvel-Cleanup-Mode", "smart"},
                                        {"X-Murvel-Tone", "formal"}},
                  editorTone = {{"X-Murvel-Tone", "formal"}};
const Step chooseSmart = [](AppHarness& h) {
  h.app->settings.setCleanupMode("smart");
};
const Step chooseFastInAnotherApplication = [](AppHarness& h) {
  h.app->settings.setCleanupMode("fast");
  h.fake.workspace.frontmost = RunningApplication{"org.example.Chat", "Chat", 9};
};
const Step pressAgain = [](AppHarness& h) {
  h.press();
};
const Step dropTheDelegate = [](AppHarness& h) {
  h.app.reset();
};
const std::string text = R"({"text":"hello world"})";

INSTANTIATE_TEST_SUITE_P(
    Replies, ExchangeReplyTest,
    ::testing::Values(
        ReplyCase{"Text", with(text), hello, delivered},
        ReplyCase{"TextWithServerError", with(R"({"text":"hello world","error":"no"})", 500), hello,
                  delivered},
        ReplyCase{"ErrorString", with(R"({"error":"Revoked."})", 401), State::error("Revoked."),
                  judged},
        ReplyCase{"EmptyTextAndError", with(R"({"text":"","error":"Nothing heard."})"),
                  State::error("Nothing heard."), judged},
        ReplyCase{"EmptyErrorString", with(R"({"error":""})"), State::error(""), judged},
        ReplyCase{"ErrorMessage", with(R"({"text":7,"error":{"message":"Slow down."}})", 429),
                  State::error("Slow down."), judged},
        ReplyCase{"ErrorWithoutMessage", with(R"({"error":{"code":3}})", 500), unexpected, judged},
        ReplyCase{"Array", with(R"(["hello"])"), unexpected, judged},
        ReplyCase{"NotJSON", with("<html>busy</html>"), State::error("Parse error."), startOnly},
        ReplyCase{"BareString", with(R"("hello")"), State::error("Parse error."), startOnly},
        ReplyCase{"NoData", with(std::nullopt), State::error("No response from server."),
                  noResponse},
        ReplyCase{"TransportFailure", failure(connectFailed), State::error(connectFailed), failed},
        // The mode is read at the release, the tone from the application noted at the press.
        ReplyCase{"ModeOfTheRelease", with(cleanText), hello, smart, chooseSmart, nullptr,
                  smartAndEditorTone},
        ReplyCase{"ToneOfTheApplicationAtThePress", with(cleanText), hello, fast,
                  chooseFastInAnotherApplication, nullptr, editorTone},
        // A reply is delivered over a recording that runs, and leaves it running.
        ReplyCase{"DuringANewRecording", with(text), hello, delivered, nullptr, pressAgain,
                  HttpHeaders(), true},
        ReplyCase{"AfterTheDelegateIsGone", with(text), State::transcribing(), startOnly, nullptr,
                  dropTheDelegate}),
    [](const auto& info) { return info.param.name; });

TEST(ExchangeTest, UploadCarriesTheRecordingWithItsFieldsInOrder) {
  // The tone, here the default one, goes up only with a cleanup.
  for (const std::string mode : {"off", "smart"}) {
    AppHarness h;
    h.prepareDictation("secret-key");
    h.app->settings.setCleanupMode(mode);
    h.app->settings.setDefaultTone("bullets");
    h.dictate();
    const auto uploads = h.fake.urlSessions.tasksFor("/transcribe");
    ASSERT_EQ(uploads.size(), 1u);
    const std::string id =
        uploads[0]->request.valueForHTTPHeaderField("X-Murvel-Trace-ID").value_or("");
    HttpHeaders expected = {{"Authorization", "Bearer secret-key"},   {"Content-Type", "audio/wav"},
                            {"X-Murvel-Audio-Filename", "audio.wav"}, {"X-Murvel-Trace-ID", id},
                            {"X-Murvel-Cleanup-Mode", mode},          {"Content-Length", "32044"}};
    if (mode != "off")
      expected.push_back({"X-Murvel-Tone", "bullets"});
    EXPECT_EQ(uploads[0]->request.headers, expected) << mode;
    EXPECT_EQ(uploads[0]->uploadFile, h.recordingFile());
  }
}

}  // namespace
}  // namespace murvel::testing
