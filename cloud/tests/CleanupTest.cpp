#include <gtest/gtest.h>

#include "cloud/Cleanup.h"

namespace murvel::cloud {
namespace {

struct ChoiceCase {
  std::optional<std::string_view> mode;
  std::optional<std::string_view> tone;
  CleanupChoice expected;
};

class CleanupChoiceTest : public ::testing::TestWithParam<ChoiceCase> {};

TEST_P(CleanupChoiceTest, ReadsNamesInAnyCaseAndFallsBackToOffAndAuto) {
  const ChoiceCase& c = GetParam();
  EXPECT_EQ(cleanupChoice(c.mode, c.tone), c.expected);
  EXPECT_EQ(cleanupModeNamed(nameOf(c.expected.mode)), c.expected.mode);
  EXPECT_EQ(toneNamed(nameOf(c.expected.tone)), c.expected.tone);
}

INSTANTIATE_TEST_SUITE_P(
    Names, CleanupChoiceTest,
    ::testing::Values(ChoiceCase{"smart", "formal", {CleanupMode::smart, Tone::formal}},
                      ChoiceCase{" Smart\t", "BULLETS", {CleanupMode::smart, Tone::bullets}},
                      ChoiceCase{"fast", "casual", {CleanupMode::fast, Tone::casual}},
                      ChoiceCase{"off", "auto", {CleanupMode::off, Tone::automatic}},
                      ChoiceCase{"shiny", "casual", {CleanupMode::off, Tone::casual}},
                      ChoiceCase{"fast", "shouty", {CleanupMode::fast, Tone::automatic}},
                      ChoiceCase{std::nullopt, std::nullopt, {CleanupMode::off, Tone::automatic}}));

struct TextCase {
  CleanupChoice choice;
  std::string input;
  std::string expected;
};

void PrintTo(const TextCase& c, std::ostream* out) {
  *out << nameOf(c.choice.mode) << "/" << nameOf(c.choice.tone) << ": \"" << c.input << "\"";
}

class CleanedTextTest : public ::testing::TestWithParam<TextCase> {};

TEST_P(CleanedTextTest, WritesTheTextAsTheModeAndToneAsk) {
  const TextCase& c = GetParam();
  EXPECT_EQ(cleanedText(c.input, c.choice), c.expected);
}

constexpr CleanupChoice off{CleanupMode::off, Tone::formal};
constexpr CleanupChoice fast{CleanupMode::fast, Tone::automatic};
constexpr CleanupChoice fastFormal{CleanupMode::fast, Tone::formal};
constexpr CleanupChoice automatic{CleanupMode::smart, Tone::automatic};
constexpr CleanupChoice casual{CleanupMode::smart, Tone::casual};
constexpr CleanupChoice formal{CleanupMode::smart, Tone::formal};
constexpr CleanupChoice bullets{CleanupMode::smart, Tone::bullets};

INSTANTIATE_TEST_SUITE_P(Off, CleanedTextTest,
                         ::testing::Values(TextCase{off, "um  so,,  i was  ",
                                                    "um  so,,  i was  "}));

// Fast takes out what carries no word and tidies the rest; it never changes a word, so the tone
// plays no part.
INSTANTIATE_TEST_SUITE_P(
    Fast, CleanedTextTest,
    ::testing::Values(TextCase{fast, "um so i was uh thinking", "So I was thinking"},
                      TextCase{fastFormal, "i don't know", "I don't know"},
                      TextCase{fast, "I was, um, thinking about it.", "I was thinking about it."},
                      TextCase{fast, "You know, it works, you know.", "It works."},
                      TextCase{fast, "I mean, we could try", "We could try"},
                      TextCase{fast, "i mean it", "I mean it"},
                      TextCase{fast, "do you know the way", "Do you know the way"},
                      TextCase{fast, "it was, like, huge", "It was huge"},
                      TextCase{fast, "i like it", "I like it"},
                      TextCase{fast, "the the report is is ready", "The report is is ready"},
                      TextCase{fast, "hello   world ,  how are you ?", "Hello world, how are you?"},
                      TextCase{fast, "first line\n\n\n\nsecond line\num\nthird",
                               "First line\n\nSecond line\n\nThird"},
                      TextCase{fast, "Um.", ""},
                      TextCase{fast, "\"Um, hello,\" she said", "\"Hello,\" she said"},
                      TextCase{fast, "élan is a word. see e.g. the docs",
                               "Élan is a word. See e.g. the docs"},
                      TextCase{fast, "write to bob@example.com. www.example.com works",
                               "Write to bob@example.com. www.example.com works"}));

INSTANTIATE_TEST_SUITE_P(
    SmartAuto, CleanedTextTest,
    ::testing::Values(
        TextCase{automatic, "please send me the report", "Please send me the report."},
        TextCase{automatic, "what time does the train leave", "What time does the train leave?"},
        TextCase{automatic, "can you book a table for two", "Can you book a table for two?"},
        TextCase{automatic, "when i get home i will call you", "When I get home I will call you."},
        TextCase{automatic, "what you need is rest", "What you need is rest."},
        TextCase{automatic, "do it now", "Do it now."},
        TextCase{automatic, "i don't know, um", "I don't know."},
        TextCase{automatic, "Done! next\nwhy not", "Done! Next.\nWhy not?"}));

INSTANTIATE_TEST_SUITE_P(
    SmartCasual, CleanedTextTest,
    ::testing::Values(TextCase{casual, "i do not think we are ready", "I don't think we're ready"},
                      TextCase{casual, "thank you i am sure it is fine",
                               "Thanks I'm sure it's fine"},
                      TextCase{casual, "i know what it is", "I know what it is"},
                      TextCase{casual, "can you help", "Can you help?"},
                      TextCase{casual, "it is not late. we will go", "It's not late. We'll go"},
                      TextCase{casual, "I cannot say. I will not", "I can't say. I won't"}));

INSTANTIATE_TEST_SUITE_P(
    SmartFormal, CleanedTextTest,
    ::testing::Values(TextCase{formal, "i don't think it's gonna work",
                               "I do not think it is going to work."},
                      TextCase{formal, "yeah we can't and won't", "Yes we cannot and will not."},
                      TextCase{formal, "it's been a long day", "It has been a long day."},
                      TextCase{formal, "I'd like that and we'd better go",
                               "I would like that and we had better go."},
                      TextCase{formal, "John's car isn't here", "John's car is not here."},
                      TextCase{formal, "DON'T wait", "DO NOT wait."}));

INSTANTIATE_TEST_SUITE_P(
    SmartBullets, CleanedTextTest,
    ::testing::Values(
        TextCase{bullets, "first buy some milk then call the bank and finally send the report",
                 "- Buy some milk\n- Call the bank\n- Send the report"},
        TextCase{bullets, "this is the first time we met", "- This is the first time we met"},
        TextCase{bullets, "if it rains then we stay inside", "- If it rains then we stay inside"},
        TextCase{bullets, "Buy eggs. Call mom, and also book the flight.",
                 "- Buy eggs\n- Call mom\n- Book the flight"},
        TextCase{bullets, "- milk\n- eggs?\n\n2. bread", "- Milk\n- Eggs?\n- Bread"},
        TextCase{bullets, "um", ""}));

// A text as large as the service takes, made of what one rule takes out or merges: each rule
// must finish it in one pass (the test's time limit catches one that does not).
struct LongTextCase {
  CleanupChoice choice;
  std::string_view piece;  // repeated to 1 MiB
  std::string_view expectedStart;
  std::size_t expectedSize;
};

void PrintTo(const LongTextCase& c, std::ostream* out) {
  *out << nameOf(c.choice.mode) << "/" << nameOf(c.choice.tone) << ": \"" << c.piece << "\"";
}

class LongTextTest : public ::testing::TestWithParam<LongTextCase> {};

TEST_P(LongTextTest, IsCleanedInOnePass) {
  const LongTextCase& c = GetParam();
  std::string text;
  while (text.size() < 1024 * 1024) text += c.piece;
  const std::string cleaned = cleanedText(text, c.choice);
  EXPECT_TRUE(cleaned.starts_with(c.expectedStart)) << cleaned.substr(0, 40);
  EXPECT_EQ(cleaned.size(), c.expectedSize);
}

INSTANTIATE_TEST_SUITE_P(Rules, LongTextTest,
                         ::testing::Values(LongTextCase{fast, "um ", "", 0},
                                           LongTextCase{fast, "the ", "The", 3},
                                           LongTextCase{fast, "\num\n", "", 0},
                                           LongTextCase{fast, ", ", "", 0},
                                           LongTextCase{fast, "so,,,,,,,, ", "So, so,", 381302},
                                           LongTextCase{casual, "it is ", "It's it's", 873815}));

}  // namespace
}  // namespace murvel::cloud
