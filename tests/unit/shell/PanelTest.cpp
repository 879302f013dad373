#include "fakes/AppHarness.h"

namespace murvel::testing {
namespace {

using State = DictationState;

const std::string note =
    "Encrypted in transit. Murvel only processes the dictation you choose to send and does not "
    "read what you type elsewhere on your Mac.";

// One column of the panel's rendering table. "{name}" stands for the hotkey's name, "{suffix}"
// for the cleanup suffix of the mode; an empty subtitle means the idle instructions.
struct Column {
  State state;
  std::string icon, title, subtitle, stats, text;
  Color textColor;
  std::string recordTitle;
  std::optional<bool> copyEnabled;  // nothing: left as it was
};

const Column columns[] = {
    {State::idle(), "\U0001F3A4", "Murvel Dictation", "", "", "", Color::secondaryLabelColor,
     "Record", false},
    {State::recording(), "\U0001F534", "Listening\u2026", "Release {name} to stop and transcribe",
     "", "Recording\u2026", Color::systemRedColor, "Stop", false},
    {State::transcribing(), "\u23F3", "Transcribing\u2026", "Processing in Murvel Cloud", "",
     "Processing\u2026", Color::secondaryLabelColor, "Record", std::nullopt},
    {State::done("One", 1, 30), "\u2705", "Pasted!",
     "Pasted into active window{suffix} \u00B7 encrypted in transit", "1 words  \u00B7  ~30 WPM",
     "One", Color::labelColor, "Record", true},
    {State::error("No speech was heard."), "\u26A0\uFE0F", "Error", "Something went wrong", "",
     "No speech was heard.", Color::systemOrangeColor, "Record", false},
};

std::string filled(std::string text, const std::string& name, const std::string& suffix) {
  for (auto [key, value] : {std::pair{"{name}", name}, std::pair{"{suffix}", suffix}}) {
    if (auto at = text.find(key); at != std::string::npos)
      text.replace(at, std::string(key).size(), value);
  }
  return text;
}

struct Hotkey {
  std::string token, name;
};

using RenderCase = std::tuple<Column, std::string, Hotkey, bool>;

class PanelRenderingTest : public ::testing::TestWithParam<RenderCase> {
 protected:
  PanelRenderingTest() {
    h.prepareSession();
    h.app->popoverVC->loadView();
  }
  PopoverViewController& panel() { return *h.app->popoverVC; }
  AppHarness h;
};

TEST_P(PanelRenderingTest, EachStateRendersItsColumn) {
  const auto& [column, mode, hotkey, trusted] = GetParam();
  h.app->settings.setCleanupMode(mode);
  h.app->settings.setHotkey(hotkey.token);
  h.fake.accessibility.trusted = trusted;
  // Something to overwrite: a copy button left enabled by an earlier result.
  panel().setState(State::done("earlier", 1, 1));
  panel().setState(column.state);
  h.fake.dispatch.runUntilIdle();

  const std::string suffix = mode == "fast"    ? " \u00B7 Fast cleaned"
                             : mode == "smart" ? " \u00B7 Smart cleaned"
                                               : "";
  EXPECT_EQ(panel().iconLabel.text(), column.icon);
  EXPECT_EQ(panel().titleLabel.text(), column.title);
  EXPECT_EQ(panel().statsLabel.text(), column.stats);
  EXPECT_EQ(panel().resultText.textColor(), column.textColor);
  EXPECT_EQ(panel().recordButton.title(), column.recordTitle);
  EXPECT_EQ(panel().copyButton.isEnabled(), column.copyEnabled.value_or(true));
  EXPECT_EQ(panel().lastText, column.state.kind == State::Kind::done ? "One" : "earlier");

  if (column.subtitle.empty()) {
    EXPECT_EQ(panel().subtitleLabel.text(),
              trusted ? "Hold " + hotkey.name + " to dictate \u00B7 release to transcribe"
                      : "Enable Global in Settings to use " + hotkey.name + " in other apps");
    EXPECT_EQ(panel().resultText.string(),
              (trusted ? "Ready. Hold " + hotkey.name + " anywhere on your Mac to start dictating."
                       : "Murvel can only see the hotkey while it is focused. Enable Global in "
                         "Settings so " +
                             hotkey.name +
                             " works while you stay in Chrome, Google Meet, WhatsApp, and other "
                             "apps.") +
                  "\n\n" + note);
  } else {
    EXPECT_EQ(panel().subtitleLabel.text(), filled(column.subtitle, hotkey.name, suffix));
    EXPECT_EQ(panel().resultText.string(), column.text);
  }
  const auto* cleanupLabel = static_cast<const Label*>(
      panel().mainPanel.viewWithTag(PopoverViewController::cleanupStatusTag));
  ASSERT_NE(cleanupLabel, nullptr);
  EXPECT_EQ(cleanupLabel->text(), mode == "fast"    ? "\u2726 Fast cleanup"
                                  : mode == "smart" ? "\u2726 Smart cleanup"
                                                    : "");

  // A changed hotkey shows at once in a recording's subtitle and the idle text, nowhere else.
  const std::string subtitleBefore = panel().subtitleLabel.text();
  h.app->settings.setHotkey("right_ctrl");
  panel().refreshHotkeyText();
  if (column.state.kind == State::Kind::recording) {
    EXPECT_EQ(panel().subtitleLabel.text(), "Release Right Control to stop and transcribe");
  } else if (column.state.kind == State::Kind::idle) {
    EXPECT_NE(panel().subtitleLabel.text().find("Right Control"), std::string::npos);
  } else {
    EXPECT_EQ(panel().subtitleLabel.text(), subtitleBefore);
  }
}

// Every column once; the idle instructions and a cleaned result again under the other settings.
const Hotkey fn{"fn", "Fn"}, rightOption{"right_option", "Right Option"};
INSTANTIATE_TEST_SUITE_P(States, PanelRenderingTest,
                         ::testing::Values(RenderCase{columns[0], "fast", rightOption, true},
                                           RenderCase{columns[1], "fast", rightOption, true},
                                           RenderCase{columns[2], "fast", rightOption, true},
                                           RenderCase{columns[3], "fast", rightOption, true},
                                           RenderCase{columns[4], "fast", rightOption, true},
                                           RenderCase{columns[0], "off", fn, false},
                                           RenderCase{columns[3], "smart", fn, false}));

class PanelTest : public ::testing::Test {
 protected:
  PanelTest() {
    h.launchSignedIn();
    h.app->togglePopover();
  }
  PopoverViewController& panel() { return *h.app->popoverVC; }
  void show(State state) {
    panel().setState(std::move(state));
    h.fake.dispatch.runUntilIdle();
  }
  AppHarness h;
};

TEST_F(PanelTest, CopyPutsTheLastResultOnThePasteboardForOneAndAHalfSeconds) {
  panel().copyButton.performClick();  // nothing to copy yet: disabled, and empty
  EXPECT_TRUE(h.fake.pasteboard.operations.empty());
  show(State::done("first", 1, 10));
  show(State::recording());  // lastText survives, out of reach
  EXPECT_FALSE(panel().copyButton.isEnabled());
  show(State::done("second", 1, 10));

  panel().copyButton.performClick();
  EXPECT_EQ(h.fake.pasteboard.content, "second");
  EXPECT_EQ(panel().copyButton.title(), "Copied!");
  h.fake.dispatch.advance(1.0);
  panel().copyButton.performClick();
  h.fake.dispatch.advance(0.49);
  EXPECT_EQ(panel().copyButton.title(), "Copied!");
  h.fake.dispatch.advance(0.01);  // the first click's reset ends the second "Copied!" early
  EXPECT_EQ(panel().copyButton.title(), "Copy Result");
  panel().copyButton.performClick();
  h.fake.dispatch.advance(1.0);  // and the second click's reset ends the third one's
  EXPECT_EQ(panel().copyButton.title(), "Copy Result");
  EXPECT_TRUE(panel().copyButton.isEnabled());
}

TEST_F(PanelTest, TabsStayWhereTheUserLeftThemAcrossStatesAndClosing) {
  panel().segControl.choose(2);
  EXPECT_TRUE(panel().mainPanel.isHidden());
  EXPECT_FALSE(panel().accountPanel.isHidden());
  show(State::done("text", 1, 10));  // rendered into the hidden Dictate tab
  EXPECT_EQ(panel().titleLabel.text(), "Pasted!");
  EXPECT_FALSE(panel().accountPanel.isHidden());
  h.app->togglePopover();
  h.app->togglePopover();
  EXPECT_TRUE(h.app->popover->isShown());
  EXPECT_EQ(panel().segControl.selectedSegment(), 2);
  EXPECT_FALSE(panel().accountPanel.isHidden());
}

TEST_F(PanelTest, ButtonsReachTheirOperations) {
  panel().recordButton.performClick();
  EXPECT_TRUE(h.app->isRecording);
  show(State::done("earlier", 1, 10));  // an earlier result landing mid-recording
  EXPECT_EQ(panel().recordButton.title(), "Record");
  panel().recordButton.performClick();  // still stops: the session goes by isRecording
  EXPECT_FALSE(h.app->isRecording);

  panel().closeButton.performClick();  // the whole program ends, not just the panel
  EXPECT_FALSE(h.app->popover->isShown());
  h.fake.dispatch.runUntilIdle();
  EXPECT_EQ(h.fake.application.terminations, 1);
}

}  // namespace
}  // namespace murvel::testing
