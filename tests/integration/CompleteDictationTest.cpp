#include "ScriptedService.h"
#include "common/Files.h"
#include "platform/linux/qt/StdoutOutput.h"
#include "shell/PopoverViewController.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

// From the press to the pasted text, through the real HTTP stack: what the user sees, what the
// service receives, what lands on disk and on standard output.
TEST(CompleteDictationTest, PressSpeakReleaseAndTheTextIsPasted) {
  ScriptedService service;
  linux_platform::CurlUrlSessions sessions;
  linux_platform::StdoutOutput standardOutput;
  AppHarness h(service.baseURL(), RealFamilies{&sessions, &standardOutput});
  h.fake.keychain.storeAccessKey("secret-key");
  h.fake.workspace.frontmost = RunningApplication{"org.example.Editor", "Editor", 3210, 55};
  h.fake.audioRecorders.bytesPerRecording = 96044;  // three seconds of audio
  h.fake.pasteboard.content = "the user's own clipboard";
  service.script("/api/health", "");
  service.script("/api/transcribe",
                 R"({"text":"Meet me at noon.","cleanup_attempted":true,"cleanup_applied":true,)"
                 R"("cleanup_mode":"fast","timings":{"asr_ms":410.5}})");

  ::testing::internal::CaptureStdout();
  h.launch();
  h.press();
  h.fake.dispatch.advance(3.0);
  h.release();
  ASSERT_TRUE(h.fake.dispatch.runUntil([&] { return h.app->history.size() == 1; }));
  h.fake.dispatch.advance(0.015);
  const std::string printed = ::testing::internal::GetCapturedStdout();

  // The service got the file as it lies, with every header.
  const auto uploads = service.requests("/api/transcribe");
  ASSERT_EQ(uploads.size(), 1u);
  EXPECT_EQ(uploads[0].body, readWholeFile(h.recordingFile()));
  EXPECT_EQ(uploads[0].body.size(), 96044u);
  EXPECT_EQ(ScriptedService::field(uploads[0], "Authorization"), "Bearer secret-key");
  EXPECT_EQ(ScriptedService::field(uploads[0], "X-Murvel-Cleanup-Mode"), "fast");
  EXPECT_EQ(ScriptedService::field(uploads[0], "X-Murvel-Tone"), "auto");
  EXPECT_EQ(ScriptedService::field(uploads[0], "Content-Length"), "96044");
  const std::string traceID = *ScriptedService::field(uploads[0], "X-Murvel-Trace-ID");

  // The target was brought back at the release; the text and the paste keystroke followed.
  EXPECT_THAT(h.fake.workspace.activated, ElementsAre(*h.fake.workspace.frontmost));
  EXPECT_EQ(h.fake.pasteboard.content, "Meet me at noon.");
  EXPECT_THAT(h.fake.keyEventPoster.posted,
              ElementsAre(std::pair{hidEventTap, KeyboardEvent{9, true, ModifierFlag::command}},
                          std::pair{hidEventTap, KeyboardEvent{9, false, ModifierFlag::command}}));
  EXPECT_EQ(h.shown.back(), DictationState::done("Meet me at noon.", 4, 80));
  EXPECT_EQ(h.app->popoverVC->subtitleLabel.text(),
            "Pasted into active window \u00B7 Fast cleanup \u00B7 encrypted in transit");

  // The history file on disk holds the dictation.
  const auto file = nlohmann::json::parse(readWholeFile(h.app->historyURL()).value_or("null"));
  ASSERT_TRUE(file.is_array());
  ASSERT_EQ(file.size(), 1u);
  EXPECT_EQ(file[0]["text"], "Meet me at noon.");
  EXPECT_EQ(file[0]["wordCount"], 4);
  EXPECT_EQ(file[0]["duration"], 3.0);

  // Three trace lines under the dictation's id, on standard output.
  const std::string id = "\\[Murvel\\]\\[" + traceID + "\\]";
  std::vector<std::string> lines;
  for (std::size_t at = 0, end; (end = printed.find('\n', at)) != std::string::npos; at = end + 1) {
    lines.push_back(printed.substr(at, end - at));
  }
  EXPECT_THAT(
      lines, ElementsAre(MatchesRegex(id + "\\[client_start\\] audio_bytes=96044 cleanup_mode=fast "
                                           "prepare_ms=[0-9.]+ record_ms=3000\\.0"),
                         MatchesRegex(id + "\\[client_response\\] after_release_ms=[0-9.]+ "
                                           "network_ms=[0-9.]+ parse_ms=[0-9.]+ "
                                           "server_timings=\\{\"asr_ms\":410\\.5\\}"),
                         MatchesRegex(id + "\\[paste_posted\\] after_release_ms=[0-9.]+ "
                                           "cleanup_mode=fast text_chars=16")));
}

}  // namespace
}  // namespace murvel::testing
