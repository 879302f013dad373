#include "ScriptedService.h"
#include "common/Files.h"

#include <thread>

namespace murvel::testing {
namespace {

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
