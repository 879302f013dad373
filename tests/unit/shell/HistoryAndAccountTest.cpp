#include "fakes/AppHarness.h"
#include "shell/OnboardingWindow.h"
#include "stores/Keychain.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;
using State = DictationState;

// Thursday 2 January 2025, 14:05 UTC.
const Date lunch = dateFromUnixSeconds(1735826700);

class HistoryAndAccountTest : public ::testing::Test {
 protected:
  HistoryAndAccountTest() {
    h.launchSignedIn();
    h.app->togglePopover();
  }
  PopoverViewController& panel() { return *h.app->popoverVC; }
  // The two lines of each row, as the table would show them.
  std::vector<std::string> rowTexts() {
    std::vector<std::string> out;
    for (long row = 0; row < panel().historyTable.numberOfRows(); ++row) {
      auto view = panel().historyTable.viewForRow(row);
      const auto lines = view->subviews();
      out.push_back(static_cast<Label*>(lines.at(0))->text() + " / " +
                    static_cast<Label*>(lines.at(1))->text());
    }
    return out;
  }
  AppHarness h;
};

TEST_F(HistoryAndAccountTest, RowsShowNewestFirstWithTheTimeOfDay) {
  EXPECT_TRUE(rowTexts().empty());
  h.app->history = {{"Newest line\nand a second", lunch, 2.0, 5},
                    {"Older", lunch - std::chrono::hours(24 * 3), 1.0, 1}};
  panel().segControl.choose(1);
  EXPECT_THAT(rowTexts(), ElementsAre("Newest line\nand a second / 14:05 \u00B7 5 words",
                                      "Older / 14:05 \u00B7 1 words"));
}

struct RePasteCase {
  const char* name;
  long row;
  std::size_t historyAfterSelection;
  bool pasted;
};

class RePasteTest : public HistoryAndAccountTest,
                    public ::testing::WithParamInterface<RePasteCase> {};

TEST_P(RePasteTest, DoubleClickPastesTheSelectedRowAgain) {
  const RePasteCase& c = GetParam();
  h.app->history = {{"first text", lunch, 2.0, 2}, {"second text", lunch, 1.0, 7}};
  panel().segControl.choose(1);
  panel().historyTable.selectRow(c.row);
  h.app->history.resize(c.historyAfterSelection);  // the history may shrink behind it
  h.shown.clear();
  panel().historyTable.doubleAction();
  h.fake.dispatch.advance(0.1);
  if (!c.pasted) {
    EXPECT_TRUE(h.fake.keyEventPoster.posted.empty());
    EXPECT_TRUE(h.shown.empty());
    EXPECT_EQ(panel().segControl.selectedSegment(), 1);
    return;
  }
  // What a paste writes and keys is DeliveryTest's; here, which text and what the panel shows.
  EXPECT_EQ(h.fake.pasteboard.content, "second text");
  EXPECT_THAT(h.shown, ElementsAre(State::done("second text", 7, 0)));
  EXPECT_EQ(panel().segControl.selectedSegment(), 0);
  EXPECT_EQ(h.app->history.size(), 2u);  // nothing added
}

INSTANTIATE_TEST_SUITE_P(Rows, RePasteTest,
                         ::testing::Values(RePasteCase{"second_row", 1, 2, true},
                                           RePasteCase{"no_selection", -1, 2, false},
                                           RePasteCase{"history_shrank", 1, 1, false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(HistoryAndAccountTest, ClearEmptiesTheListButNotTheResult) {
  h.app->finishWithText("kept on screen", 1.0);
  h.fake.dispatch.advance(0.1);
  panel().segControl.choose(1);
  ASSERT_EQ(panel().historyTable.numberOfRows(), 1);
  int reloads = 0;
  panel().historyTable.addListener(
      [&](ControlEvent event) { reloads += event == ControlEvent::reloadData; });
  panel().clearHistBtn.performClick();
  EXPECT_EQ(reloads, 1);
  EXPECT_EQ(panel().historyTable.numberOfRows(), 0);
  EXPECT_EQ(panel().resultText.string(), "kept on screen");
  EXPECT_EQ(panel().lastText, "kept on screen");
}

struct AccountCase {
  const char* name;
  std::string storedEmail;
  bool signedIn;
  std::optional<std::string> reply;  // nothing: the request fails
  std::string email, message, status;
};

class AccountTabTest : public HistoryAndAccountTest,
                       public ::testing::WithParamInterface<AccountCase> {};

TEST_P(AccountTabTest, SelectingTheTabFetchesWhoIsSignedIn) {
  const AccountCase& c = GetParam();
  h.app->settings.setSignedInEmail(c.storedEmail);
  if (!c.signedIn)
    h.fake.keychain.items.clear();
  panel().segControl.choose(2);
  if (c.signedIn) {
    EXPECT_TRUE(panel().accountSpinner.isAnimating());
    EXPECT_EQ(panel().accountEmailLabel.text(), c.storedEmail.empty() ? "\u2014" : c.storedEmail);
    if (c.reply) {
      h.fake.urlSessions.reply("/account/info", *c.reply);
    } else {
      h.fake.urlSessions.fail("/account/info", PlatformError{"NSURLErrorDomain", -1009, "offline"});
    }
    h.fake.dispatch.runUntilIdle();
  }
  EXPECT_FALSE(panel().accountSpinner.isAnimating());
  EXPECT_EQ(panel().accountEmailLabel.text(), c.email);
  EXPECT_EQ(panel().accountMessageLabel.text(), c.message);
  EXPECT_EQ(panel().accountStatusLabel.text(), c.status);
}

const std::string unable = "Unable to load";
const std::string retry = "Check your connection and try again.";

INSTANTIATE_TEST_SUITE_P(
    Outcomes, AccountTabTest,
    ::testing::Values(AccountCase{"reply_names_the_account", "me@example.com", true,
                                  R"({"email":"server@example.com"})", "server@example.com", "",
                                  ""},
                      AccountCase{"reply_without_an_address", "me@example.com", true,
                                  R"({"plan":"pro"})", "me@example.com", "", ""},
                      AccountCase{"offline_keeps_the_stored_address", "me@example.com", true,
                                  std::nullopt, "me@example.com", unable, retry},
                      AccountCase{"unreadable_reply", "", true, "[1,2]", "\u2014", unable, retry},
                      AccountCase{"signed_out_fails_without_a_request", "", false, std::nullopt,
                                  "\u2014", unable, retry}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(HistoryAndAccountTest, SignOutAsksFirst) {
  h.app->settings.setSignedInEmail("me@example.com");
  h.fake.alerts.answers = {1001};  // Cancel
  panel().signOutButton.performClick();
  ASSERT_EQ(h.fake.alerts.shown.size(), 1u);
  EXPECT_EQ(h.fake.alerts.shown[0], (Alert{"Sign out of Murvel?",
                                           "You will need to sign in again to use dictation.",
                                           {"Sign Out", "Cancel"}}));
  EXPECT_EQ(h.app->settings.signedInEmail(), "me@example.com");
  EXPECT_EQ(h.fake.application.activations, 1);

  h.fake.alerts.answers = {1000};
  panel().signOutButton.performClick();
  EXPECT_EQ(h.app->settings.signedInEmail(), "");
  EXPECT_FALSE(Keychain::load(h.fake.keychain, Keychain::accessKeyAccount));
  EXPECT_EQ(h.fake.eventMonitors.globalCount(), 0u);
  ASSERT_TRUE(h.app->onboardingWindow);
  EXPECT_TRUE(h.app->onboardingWindow->isVisible());
}

}  // namespace
}  // namespace murvel::testing
