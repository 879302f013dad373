#include "fakes/AppHarness.h"

namespace murvel::testing {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

const std::string unavailable = "Pasted (AI cleanup unavailable)";
std::string cleanedBy(const std::string& name) {
  return "Pasted into active window \u00B7 " + name + " \u00B7 encrypted in transit";
}

// A dictation in `mode` from the mail application (whose tone is formal), its upload answered
// with `reply`.
void dictate(AppHarness& h, const std::string& mode, const std::string& reply) {
  h.fake.workspace.frontmost = RunningApplication{"com.example.mail", "Mail", 9, 1};
  h.prepareDictation("secret-key");
  h.app->settings.setCleanupMode(mode);
  h.app->settings.setAppTones({{"com.example.mail", "formal"}});
  h.dictate();
  h.fake.urlSessions.reply("/transcribe", reply);
  h.fake.dispatch.runUntilIdle();
}

TEST(CleanupTest, TheServicesReportDecidesWithoutASecondCall) {
  struct Row {
    std::string mode, reply, delivered, subtitle, tracedMode;
  };
  for (const Row& r : {
           Row{"smart", R"({"text":"Dear team.","cleanup_attempted":true,"cleanup_applied":true})",
               "Dear team.", cleanedBy("Smart cleanup"), "smart"},
           Row{"smart", R"({"text":"dear team","cleanup_attempted":true})", "dear team",
               unavailable, "smart"},
           Row{"smart", R"({"text":"dear team","cleanup_attempted":false})", "dear team",
               cleanedBy("Smart cleanup"), "smart"},
           Row{"smart",
               R"({"text":"dear team","cleanup_attempted":true,"cleanup_applied":true,)"
               R"("cleanup_mode":"fast"})",
               "dear team", cleanedBy("Fast cleanup"), "fast"},
           Row{"off", R"({"text":"  as said  ","cleanup_attempted":true})", "  as said  ",
               "Pasted into active window \u00B7 encrypted in transit", "off"},
       }) {
    SCOPED_TRACE(r.reply);
    AppHarness h;
    dictate(h, r.mode, r.reply);
    h.fake.dispatch.advance(0.1);
    EXPECT_TRUE(h.fake.urlSessions.tasksFor("/cleanup").empty());
    EXPECT_EQ(h.shown.back().text, r.delivered);
    EXPECT_EQ(h.fake.pasteboard.content, r.delivered);
    EXPECT_EQ(h.app->popoverVC->subtitleLabel.text(), r.subtitle);
    EXPECT_EQ(h.maskedTrace().back(),
              "[Murvel][ID][paste_posted] after_release_ms=# cleanup_mode=" + r.tracedMode +
                  " text_chars=" + std::to_string(r.delivered.size()) + "\n");
  }
}

TEST(CleanupTest, WithoutAReportTheSecondCallCleansAndAnyFailureDeliversTheRawText) {
  struct Row {
    std::optional<std::string> reply;  // none: the call fails to connect
    long status;
    std::string delivered;
    bool failed;
  };
  const std::string raw = " um raw words ";
  for (const Row& r :
       {Row{R"({"text":"  Raw words.\n"})", 200, "Raw words.", false},
        Row{R"({"text":"Raw words."})", 503, "Raw words.", false},
        Row{R"({"text":"   "})", 200, "", false}, Row{R"({"text":""})", 200, raw, true},
        Row{R"({"text":["Raw"]})", 200, raw, true}, Row{"Bad Gateway", 502, raw, true},
        Row{std::nullopt, 0, raw, true}}) {
    SCOPED_TRACE(r.reply.value_or("unreachable"));
    AppHarness h;
    // A report given as the string "true" is no report.
    dictate(h, "fast", R"({"text":" um raw words ","cleanup_attempted":"true"})");
    const auto calls = h.fake.urlSessions.tasksFor("/cleanup");
    ASSERT_EQ(calls.size(), 1u);
    const UrlRequest& call = calls[0]->request;
    EXPECT_EQ(call.valueForHTTPHeaderField("Authorization"), "Bearer secret-key");
    EXPECT_EQ(call.valueForHTTPHeaderField("Content-Type"), "application/json");
    EXPECT_EQ(call.valueForHTTPHeaderField("X-Murvel-Trace-ID"),
              h.fake.urlSessions.tasksFor("/transcribe")[0]->request.valueForHTTPHeaderField(
                  "X-Murvel-Trace-ID"));
    EXPECT_EQ(nlohmann::json::parse(call.httpBody.value_or("null")),
              (nlohmann::json{{"text", raw}, {"tone", "formal"}, {"mode", "fast"}}));

    if (r.reply)
      h.fake.urlSessions.reply("/cleanup", r.reply, r.status);
    else
      h.fake.urlSessions.fail("/cleanup", {"net", -1004, "Could not connect to the server."});
    h.fake.dispatch.runUntilIdle();
    h.fake.dispatch.advance(0.1);
    EXPECT_EQ(h.shown.back().text, r.delivered);
    EXPECT_EQ(h.app->popoverVC->subtitleLabel.text(),
              r.failed ? unavailable : cleanedBy("Fast cleanup"));
    EXPECT_THAT(h.maskedTrace(), Contains(HasSubstr(r.failed ? "[legacy_cleanup_failed]"
                                                             : "[legacy_cleanup_done]")));
  }
}

}  // namespace
}  // namespace murvel::testing
