#include "dictation/WordCount.h"
#include "fakes/AppHarness.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;

TEST(WordCountTest, OnlyBlanksSeparateWords) {
  EXPECT_EQ(murvelWordCount("two  words"), 2);
  EXPECT_EQ(murvelWordCount("  padded  "), 1);
  EXPECT_EQ(murvelWordCount(""), 0);
  EXPECT_EQ(murvelWordCount("tab\tjoined\nlines"), 1);
}

TEST(WordCountTest, SpeedIsTruncatedWordsPerMinuteOfTheRecording) {
  EXPECT_EQ(murvelWordsPerMinute(10, 4.0), 150);
  EXPECT_EQ(murvelWordsPerMinute(1, 7.0), 8);
  EXPECT_EQ(murvelWordsPerMinute(5, 0.0), 0);
  EXPECT_EQ(murvelWordsPerMinute(5, -1.0), 0);
  EXPECT_GT(murvelWordsPerMinute(5, 1e-300), 0);  // no overflow into a negative number
}

class DeliveryTest : public ::testing::Test {
 protected:
  DeliveryTest() {
    h.prepareSession();
    h.fake.pasteboard.content = "what was there before";
  }
  const Date released() { return h.fake.dispatch.now(); }
  AppHarness h;
};

TEST_F(DeliveryTest, FinishPastesRecordsAndAnnouncesInOrder) {
  const Date releasedAt = released();
  h.fake.dispatch.advance(1.0);
  h.app->finishWithText("Hello there world", 4.0, false, std::string("smart"), "ABCD1234",
                        releasedAt);
  // The pasteboard is written at once; the keystroke waits 15 ms.
  EXPECT_THAT(h.fake.pasteboard.operations,
              ElementsAre("clear", "set:public.utf8-plain-text:Hello there world"));
  ASSERT_EQ(h.app->history.size(), 1u);
  EXPECT_EQ(h.app->history[0].wordCount, 3);
  EXPECT_EQ(h.app->history[0].duration, 4.0);
  EXPECT_EQ(h.app->history[0].date, h.fake.dispatch.now());

  h.fake.dispatch.advance(0.014);
  EXPECT_TRUE(h.fake.keyEventPoster.posted.empty());
  EXPECT_THAT(h.shown, ElementsAre(DictationState::done("Hello there world", 3, 45)));
  EXPECT_EQ(h.app->popoverVC->subtitleLabel.text(),
            "Pasted into active window \u00B7 Smart cleanup \u00B7 encrypted in transit");

  h.fake.dispatch.advance(0.001);
  EXPECT_THAT(h.fake.keyEventPoster.posted,
              ElementsAre(std::pair{hidEventTap, KeyboardEvent{9, true, ModifierFlag::command}},
                          std::pair{hidEventTap, KeyboardEvent{9, false, ModifierFlag::command}}));
  EXPECT_THAT(h.trace(), ElementsAre("[Murvel][ABCD1234][paste_posted] after_release_ms=1015.0 "
                                     "cleanup_mode=smart text_chars=17\n"));
  EXPECT_EQ(h.fake.pasteboard.content, "Hello there world");
}

TEST_F(DeliveryTest, SubtitleFollowsTheOutcomeOfCleanup) {
  struct Case {
    bool failed;
    std::optional<std::string> mode;
    std::string subtitle;
  };
  const std::string rendered =
      "Pasted into active window \u00B7 Fast cleaned \u00B7 encrypted in transit";
  for (const Case& c :
       {// A failed cleanup says so even when the mode is off; CleanupTest has the other modes.
        Case{true, std::string("off"), "Pasted (AI cleanup unavailable)"},
        // Without a mode the panel's own rendering stays (the setting is fast).
        Case{false, std::nullopt, rendered}}) {
    h.app->finishWithText("text", 1.0, c.failed, c.mode);
    h.fake.dispatch.runUntilIdle();
    EXPECT_EQ(h.app->popoverVC->subtitleLabel.text(), c.subtitle);
  }
}

TEST_F(DeliveryTest, CharactersAreCountedAsAPersonSeesThem) {
  // A family emoji of four people joined by zero-width joiners, and e with a combining accent.
  const std::string text = "\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466 e\u0301";
  h.app->finishWithText(text, 1.0, false, std::nullopt, "T", released());
  h.fake.dispatch.advance(0.1);
  ASSERT_EQ(h.trace().size(), 1u);
  EXPECT_THAT(h.trace()[0], ::testing::HasSubstr("cleanup_mode=fast text_chars=3\n"));
}

TEST_F(DeliveryTest, PastePostedNeedsBothTraceIDAndReleaseTime) {
  h.app->finishWithText("a", 1.0, false, std::string("off"), "T", std::nullopt);
  h.app->finishWithText("b", 1.0, false, std::string("off"), std::nullopt, released());
  h.fake.dispatch.advance(0.1);
  EXPECT_TRUE(h.trace().empty());
  EXPECT_EQ(h.fake.keyEventPoster.posted.size(), 4u);
}

TEST_F(DeliveryTest, RepasteWritesTheTextAndKeysOnly) {
  bool posted = false;
  h.app->pasteText("again", [&] { posted = true; });
  h.app->pasteText("once more");
  h.fake.dispatch.advance(0.1);
  EXPECT_TRUE(posted);
  EXPECT_TRUE(h.app->history.empty());
  EXPECT_TRUE(h.shown.empty());
  EXPECT_EQ(h.fake.keyEventPoster.posted.size(), 4u);
  EXPECT_EQ(h.fake.pasteboard.content, "once more");
}

}  // namespace
}  // namespace murvel::testing
