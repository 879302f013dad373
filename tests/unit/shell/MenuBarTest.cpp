#include "fakes/AppHarness.h"
#include "shell/OnboardingWindow.h"
#include "shell/controls/Popover.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

constexpr std::uint64_t leftMouseUp = 2;
constexpr std::uint64_t rightMouseUp = 4;

// A row of a menu as the test reads it: title (or "-" for a separator), action, key, target.
std::vector<std::string> rows(const Menu& menu) {
  std::vector<std::string> out;
  for (const MenuItem& item : menu.items) {
    if (item.isSeparator) {
      out.push_back("-");
      continue;
    }
    std::string row = item.title + "|" + item.action + "|" + item.keyEquivalent + "|" +
                      (item.target == MenuTarget::appDelegate ? "app" : "");
    if (item.submenu)
      row += "|>";
    out.push_back(row);
  }
  return out;
}

std::vector<std::string> checked(const Menu& menu) {
  std::vector<std::string> out;
  for (const MenuItem& item : menu.items) {
    if (item.state == 1)
      out.push_back(item.title);
  }
  return out;
}

const MenuItem& itemTitled(const Menu& menu, std::string_view prefix) {
  for (const MenuItem& item : menu.items) {
    if (item.title.rfind(prefix, 0) == 0)
      return item;
  }
  throw std::invalid_argument(std::string(prefix));
}

class MenuBarTest : public ::testing::Test {
 protected:
  MenuBarTest() {
    h.launchSignedIn();
    h.app->statusItem->button()->addListener([this](ControlEvent event) {
      if (event == ControlEvent::performClick)
        popped.push_back(h.app->statusItem->button()->menu());
    });
  }
  // A click on the tray icon, as the toolkit delivers it.
  void click(std::uint64_t type) {
    h.fake.application.currentEvent = type;
    h.app->statusItem->button()->action();
    h.fake.application.currentEvent.reset();
  }
  AppHarness h;
  std::vector<std::shared_ptr<Menu>> popped;
};

struct MenuCase {
  const char* name;
  bool panelShown;
  bool settingsVisible;
  std::optional<RunningApplication> frontmost;
  std::vector<std::string> expected;
};

const std::string settingsRow = "Settings (v2.3)\u2026|openSettings|,|";
const std::string quitRow = "Quit Murvel|quitMurvel|q|app";
const std::string cleanupRow = "Cleanup Mode||||>";

class MenuRowsTest : public MenuBarTest, public ::testing::WithParamInterface<MenuCase> {};

TEST_P(MenuRowsTest, RightClickPopsAMenuBuiltForThatMoment) {
  const MenuCase& c = GetParam();
  if (c.panelShown)
    click(leftMouseUp);
  if (c.settingsVisible)
    h.app->openSettings();
  h.fake.workspace.frontmost = c.frontmost;
  click(rightMouseUp);
  ASSERT_EQ(popped.size(), 1u);
  EXPECT_THAT(rows(*popped[0]), ElementsAreArray(c.expected));
  // Attached for the one click only: a left click afterwards toggles the panel again.
  EXPECT_EQ(h.app->statusItem->button()->menu(), nullptr);
  click(leftMouseUp);
  EXPECT_EQ(h.app->popover->isShown(), !c.panelShown);
}

INSTANTIATE_TEST_SUITE_P(
    Combinations, MenuRowsTest,
    ::testing::Values(
        MenuCase{"nothing_open_no_app",
                 false,
                 false,
                 std::nullopt,
                 {"Open Murvel|togglePopover||", "-", cleanupRow, "-", settingsRow, "-", quitRow}},
        MenuCase{"both_open_named_app",
                 true,
                 true,
                 RunningApplication{"com.example.editor", "Editor", 1, 0},
                 {"Open Murvel|togglePopover||", "Close Dictation Panel|closePopover||app",
                  "Close Settings|closeSettingsWindow||app", "-", "Tone for Editor||||>", "-",
                  cleanupRow, "-", settingsRow, "-", quitRow}},
        // An application without an identifier has no tone of its own.
        MenuCase{"settings_open_app_without_identifier",
                 false,
                 true,
                 RunningApplication{std::nullopt, "Terminal", 1, 0},
                 {"Open Murvel|togglePopover||", "Close Settings|closeSettingsWindow||app", "-",
                  cleanupRow, "-", settingsRow, "-", quitRow}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(MenuBarTest, ToneSubmenuChecksTheStoredToneAndRemembersTheProgramInFront) {
  h.app->settings.setDefaultTone("formal");  // plays no part in the menu
  h.app->settings.setAppTones({{"com.example.mail", "bogus"}});
  h.fake.workspace.frontmost = RunningApplication{"com.example.editor", "Editor", 1, 0};
  const auto menu = h.app->buildMenu();
  const Menu& tones = *itemTitled(*menu, "Tone for").submenu;
  EXPECT_THAT(rows(tones), ElementsAre("Auto (default)|setAppTone:||app", "Casual|setAppTone:||app",
                                       "Formal|setAppTone:||app", "Bullet list|setAppTone:||app"));
  EXPECT_THAT(checked(tones), ElementsAre("Auto (default)"));
  EXPECT_EQ(tones.items[3].representedObject,
            PropertyValue::array({"com.example.editor", "bullets"}));

  // The application changes while the menu is open: the tone goes to the one of the build.
  h.fake.workspace.frontmost = RunningApplication{"com.example.other", "Other", 2, 0};
  itemTitled(tones, "Formal").choose();
  EXPECT_EQ(h.app->settings.appTones(),
            (AppTones{{"com.example.editor", "formal"}, {"com.example.mail", "bogus"}}));
  h.fake.workspace.frontmost = RunningApplication{"com.example.editor", "Editor", 1, 0};
  EXPECT_THAT(checked(*itemTitled(*h.app->buildMenu(), "Tone for").submenu), ElementsAre("Formal"));
  // Auto removes the entry; a tone outside the four checks nothing.
  itemTitled(tones, "Auto").choose();
  EXPECT_EQ(h.app->settings.appTones(), (AppTones{{"com.example.mail", "bogus"}}));
  h.fake.workspace.frontmost = RunningApplication{"com.example.mail", std::nullopt, 3, 0};
  const auto nameless = h.app->buildMenu();
  EXPECT_TRUE(checked(*itemTitled(*nameless, "Tone for Current App").submenu).empty());
}

TEST_F(MenuBarTest, MalformedRepresentedObjectsAreIgnored) {
  const AppTones before = h.app->settings.appTones();
  const std::string mode = h.app->settings.cleanupMode();
  for (const PropertyValue& object :
       {PropertyValue(), PropertyValue("com.example"), PropertyValue::array({"only-one"}),
        PropertyValue::array({"a", "casual", "extra"}), PropertyValue::array({"a", 3})}) {
    MenuItem item;
    item.representedObject = object;
    h.app->setAppTone(item);
    if (!object.is_string())
      h.app->setCleanupMode(item);  // only a string counts
  }
  EXPECT_EQ(h.app->settings.appTones(), before);
  EXPECT_EQ(h.app->settings.cleanupMode(), mode);
}

TEST_F(MenuBarTest, CleanupModeFromTheMenuTurnsThePanelIdleEvenWhileRecording) {
  h.press();
  h.fake.dispatch.runUntilIdle();
  h.shown.clear();
  const auto menu = h.app->buildMenu();
  const Menu& modes = *itemTitled(*menu, "Cleanup Mode").submenu;
  EXPECT_THAT(rows(modes), ElementsAre("Off|setCleanupMode:||app", "Fast|setCleanupMode:||app",
                                       "Smart|setCleanupMode:||app"));
  EXPECT_THAT(checked(modes), ElementsAre("Fast"));
  itemTitled(modes, "Smart").choose();
  h.fake.dispatch.advance(0.6);
  EXPECT_EQ(h.app->settings.cleanupMode(), "smart");
  EXPECT_THAT(h.shown, ElementsAre(DictationState::idle()));
  EXPECT_TRUE(h.app->isRecording);
  EXPECT_EQ(h.app->statusItem->button()->contentTintColor(), Color::systemRedColor);
}

TEST_F(MenuBarTest, MenuEntriesReachTheirOperations) {
  h.app->openSettings();
  click(leftMouseUp);
  const auto menu = h.app->buildMenu();
  itemTitled(*menu, "Close Settings").choose();
  EXPECT_FALSE(h.app->onboardingWindow->isVisible());
  itemTitled(*menu, "Close Dictation Panel").choose();
  EXPECT_FALSE(h.app->popover->isShown());
  itemTitled(*menu, "Open Murvel").choose();
  EXPECT_TRUE(h.app->popover->isShown());
  itemTitled(*menu, "Open Murvel").choose();  // it closes an open panel as well
  EXPECT_FALSE(h.app->popover->isShown());
  itemTitled(*menu, "Settings").choose();
  EXPECT_TRUE(h.app->onboardingWindow->isVisible());
  itemTitled(*menu, "Quit").choose();
  h.fake.dispatch.runUntilIdle();
  EXPECT_EQ(h.fake.application.terminations, 1);
}

TEST_F(MenuBarTest, IconPulsesRedFromHalfASecondIntoARecording) {
  auto& button = *h.app->statusItem->button();
  // Seconds into the recording, and the icon then; "" is the idle icon, untinted.
  const std::vector<std::pair<double, std::string>> expected = {{0.49, ""},
                                                                {0.5, "record.circle.fill"},
                                                                {1.0, "mic.circle.fill"},
                                                                {1.5, "waveform.circle.fill"},
                                                                {2.0, "record.circle.fill"}};
  for (int recording = 0; recording < 2; ++recording) {  // a new recording starts at phase 0
    h.press();
    double elapsed = 0;
    for (const auto& [seconds, name] : expected) {
      h.fake.dispatch.advance(seconds - elapsed);
      elapsed = seconds;
      const bool red = !name.empty();
      EXPECT_EQ(button.image()->name, red ? name : "mic.circle.fill") << seconds;
      EXPECT_EQ(button.contentTintColor(),
                red ? std::optional(Color::systemRedColor) : std::nullopt);
      EXPECT_EQ(button.image()->isTemplate, !red);
    }
    h.release();
    h.fake.dispatch.runUntilIdle();
    EXPECT_EQ(button.image()->name, "mic.circle.fill");
    EXPECT_EQ(button.contentTintColor(), std::nullopt);
  }
}

// Sizes and the drawing itself are the screen test's.
TEST_F(MenuBarTest, MissingSymbolsFallBackToDrawnText) {
  h.fake.windowServer.missingSymbols = {"mic.circle.fill", "record.circle.fill"};
  EXPECT_EQ(h.app->menuBarImage("waveform.circle.fill", "x")->kind, MenuBarImage::Kind::symbol);
  EXPECT_EQ(h.app->menuBarImage("mic.circle.fill", "\U0001F3A4")->kind,
            MenuBarImage::Kind::drawnText);
  h.press();
  h.fake.dispatch.advance(0.5);
  EXPECT_EQ(h.app->statusItem->button()->image()->name, "\U0001F534");
}

}  // namespace
}  // namespace murvel::testing
