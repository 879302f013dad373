#include "ScriptedService.h"
#include "shell/PopoverViewController.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;
using State = DictationState;

std::string startLine(const std::string& mode) {
  return "[Murvel][ID][client_start] audio_bytes=32044 cleanup_mode=" + mode +
         " prepare_ms=# record_ms=#\n";
}
const std::string response =
    "[Murvel][ID][client_response] after_release_ms=# network_ms=# parse_ms=# server_timings={}\n";
std::string posted(const std::string& mode, int chars) {
  return "[Murvel][ID][paste_posted] after_release_ms=# cleanup_mode=" + mode +
         " text_chars=" + std::to_string(chars) + "\n";
}
const std::string legacyDone = "[Murvel][ID][legacy_cleanup_done] cleanup_ms=#\n";
const std::string legacyFailed = "[Murvel][ID][legacy_cleanup_failed] after_release_ms=#\n";
const std::string failedSubtitle = "Pasted (AI cleanup unavailable)";
std::string cleanedSubtitle(const std::string& name) {
  return "Pasted into active window \u00B7 " + name + " \u00B7 encrypted in transit";
}

struct ReportCase {
  std::string name;
  std::string mode;
  std::string reply;
  std::string delivered;
  std::string subtitle;
  std::string reportedMode;
  friend void PrintTo(const ReportCase& c, std::ostream* out) { *out << c.name; }
};

class CleanupReportTest : public ::testing::TestWithParam<ReportCase> {};

TEST_P(CleanupReportTest, ServiceReportDecidesWithoutASecondCall) {
  const auto& c = GetParam();
  ServiceHarness s;
  s.h.app->settings.setCleanupMode(c.mode);
  s.service.script("/api/transcribe", c.reply);
  s.dictate();
  EXPECT_EQ(s.last().kind, State::Kind::done);
  EXPECT_EQ(s.last().text, c.delivered);
  EXPECT_EQ(s.h.app->popoverVC->subtitleLabel.text(), c.subtitle);
  EXPECT_TRUE(s.service.requests("/api/cleanup").empty());
  EXPECT_EQ(s.maskedTrace(), (std::vector<std::string>{
                                 startLine(c.mode), response,
                                 posted(c.reportedMode, static_cast<int>(c.delivered.size()))}));
  EXPECT_EQ(s.h.fake.pasteboard.content, c.delivered);
}

INSTANTIATE_TEST_SUITE_P(
    Reports, CleanupReportTest,
    ::testing::Values(
        ReportCase{"Applied", "smart",
                   R"({"text":"Dear team.","cleanup_attempted":true,"cleanup_applied":true})",
                   "Dear team.", cleanedSubtitle("Smart cleanup"), "smart"},
        ReportCase{"AppliedMissing", "smart", R"({"text":"dear team","cleanup_attempted":true})",
                   "dear team", failedSubtitle, "smart"},
        ReportCase{"NotAttempted", "smart",
                   R"({"text":"dear team","cleanup_attempted":false,"cleanup_applied":false})",
                   "dear team", cleanedSubtitle("Smart cleanup"), "smart"},
        ReportCase{"OtherModeApplied", "smart",
                   R"({"text":"dear team","cleanup_attempted":true,"cleanup_applied":true,)"
                   R"("cleanup_mode":"fast"})",
                   "dear team", cleanedSubtitle("Fast cleanup"), "fast"},
        ReportCase{"OffIgnoresReport", "off",
                   R"({"text":"  as said  ","cleanup_attempted":true,"cleanup_applied":false})",
                   "  as said  ", "Pasted into active window \u00B7 encrypted in transit", "off"}),
    [](const auto& info) { return info.param.name; });

struct FallbackCase {
  std::string name;
  int status;
  std::string reply;  // empty: the cleanup endpoint is unreachable
  std::string delivered;
  bool failed;
  friend void PrintTo(const FallbackCase& c, std::ostream* out) { *out << c.name; }
};

class CleanupFallbackTest : public ::testing::TestWithParam<FallbackCase> {};

TEST_P(CleanupFallbackTest, ServiceWithoutAReportGetsTheSecondCall) {
  const auto& c = GetParam();
  ServiceHarness s;
  s.h.app->settings.setCleanupMode("fast");
  s.h.fake.workspace.frontmost = RunningApplication{"com.example.mail", "Mail", 9, 1};
  s.h.app->settings.setAppTones({{"com.example.mail", "formal"}});
  // A report given as the string "true" is no report.
  s.service.script("/api/transcribe", R"({"text":" um raw words ","cleanup_attempted":"true"})");
  s.service.script("/api/cleanup", c.reply, c.status);
  s.dictate();

  const auto calls = s.service.requests("/api/cleanup");
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(ScriptedService::field(calls[0], "Authorization"), "Bearer secret-key");
  EXPECT_EQ(ScriptedService::field(calls[0], "Content-Type"), "application/json");
  EXPECT_EQ(ScriptedService::field(calls[0], "X-Murvel-Trace-ID"),
            ScriptedService::field(s.service.requests("/api/transcribe")[0], "X-Murvel-Trace-ID"));
  EXPECT_EQ(nlohmann::json::parse(calls[0].body),
            (nlohmann::json{{"text", " um raw words "}, {"tone", "formal"}, {"mode", "fast"}}));

  EXPECT_EQ(s.last().text, c.delivered);
  EXPECT_EQ(s.h.app->popoverVC->subtitleLabel.text(),
            c.failed ? failedSubtitle : cleanedSubtitle("Fast cleanup"));
  EXPECT_EQ(s.maskedTrace(), (std::vector<std::string>{
                                 startLine("fast"), response, c.failed ? legacyFailed : legacyDone,
                                 posted("fast", static_cast<int>(c.delivered.size()))}));
}

INSTANTIATE_TEST_SUITE_P(
    Replies, CleanupFallbackTest,
    ::testing::Values(
        FallbackCase{"Cleaned", 200, R"({"text":"  Raw words.\n"})", "Raw words.", false},
        FallbackCase{"ServerErrorWithText", 503, R"({"text":"Raw words."})", "Raw words.", false},
        FallbackCase{"BlanksOnly", 200, R"({"text":"   "})", "", false},
        FallbackCase{"EmptyText", 200, R"({"text":""})", " um raw words ", true},
        FallbackCase{"TextNotAString", 200, R"({"text":["Raw"]})", " um raw words ", true},
        FallbackCase{"NoText", 200, R"({"result":"Raw words."})", " um raw words ", true},
        FallbackCase{"NotAnObject", 200, R"(["Raw words."])", " um raw words ", true},
        FallbackCase{"NotJSON", 502, "Bad Gateway", " um raw words ", true}),
    [](const auto& info) { return info.param.name; });

TEST(CleanupTest, SecondCallThatCannotConnectDeliversTheRawText) {
  linux_platform::CurlUrlSessions sessions;
  AppHarness unreachable("http://127.0.0.1:9/api",
                         RealFamilies{&sessions});  // a port nobody serves
  unreachable.prepareSession();
  unreachable.app->aiClean("raw text", "secret-key", 2.0, "smart", "ABCDEF12",
                           unreachable.fake.dispatch.now());
  ASSERT_TRUE(unreachable.fake.dispatch.runUntil([&] { return !unreachable.shown.empty(); }));
  EXPECT_EQ(unreachable.shown.back(), State::done("raw text", 2, 60));
  unreachable.fake.dispatch.runUntilIdle();
  EXPECT_EQ(unreachable.app->popoverVC->subtitleLabel.text(), failedSubtitle);
  EXPECT_THAT(unreachable.trace(),
              ElementsAre(::testing::StartsWith("[Murvel][ABCDEF12][legacy_cleanup_failed] "
                                                "after_release_ms=")));
}

}  // namespace
}  // namespace murvel::testing
