// The real app on a private desktop with a window manager and a tray: its tray icon is found and
// clicked as a person would, and what opens is checked through the app's widget dump and saved as
// screenshots for a person to look at.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QRect>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Desktop.h"
#include "RawHttpServer.h"
#include "common/Files.h"
#include "platform/linux/stores/SecretKeychainBackend.h"
#include "stores/Keychain.h"

namespace murvel::testing {
namespace {

using namespace murvel::e2e;
using Server = murvel::test::RawHttpServer;

bool isLeaf(const json& widget) {
  static const std::set<std::string> leaves{"QLabel",    "QPushButton", "QComboBox",
                                            "QLineEdit", "QTextEdit",   "QTabBar"};
  return leaves.contains(widget.at("class").get<std::string>());
}

// Every visible control lies inside its window, no two of them overlap and no text is shortened:
// nothing is cut off by the window's edge or by its own width, and no line is drawn over another.
void expectTidy(const json& window) {
  const QRect bounds = frameOf(window);
  std::vector<const json*> leaves;
  for (const json* widget : widgetsOf(window)) {
    if (!widget->at("visible").get<bool>() || !isLeaf(*widget))
      continue;
    const QRect frame = frameOf(*widget);
    EXPECT_TRUE(bounds.contains(frame))
        << widget->value("text", "") << " at " << frame.x() << "," << frame.y() << " "
        << frame.width() << "x" << frame.height() << " leaves its window";
    EXPECT_FALSE(widget->value("shortened", false)) << widget->value("text", "") << " is cut short";
    leaves.push_back(widget);
  }
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    for (std::size_t j = i + 1; j < leaves.size(); ++j) {
      const QRect overlap = frameOf(*leaves[i]).intersected(frameOf(*leaves[j]));
      EXPECT_TRUE(overlap.isEmpty()) << "\"" << leaves[i]->value("text", "") << "\" and \""
                                     << leaves[j]->value("text", "") << "\" overlap";
    }
  }
}

// The app under test, started with this test's home.
class App : public e2e::App {
 public:
  explicit App(const fs::path& home, std::vector<std::string> environment = {})
      : e2e::App(MURVEL_UNDER_TEST, home, {}, std::move(environment)) {}
  // How the app ended once asked to, or nothing if it outlived the wait.
  std::optional<int> terminate() {
    process().signal(SIGTERM);
    return exitStatus();
  }
  std::optional<int> exitStatus() { return process().waitForExit(20s); }
};

class ScreenTest : public ::testing::Test {
 protected:
  static fs::path screenshots() {
    static const fs::path directory = [] {
      fs::path path = MURVEL_SCREENSHOT_DIR;
      fs::create_directories(path);
      std::printf("Screenshots go to %s\n", path.c_str());
      return path;
    }();
    return directory;
  }

  ScreenTest()
      : home_(std::getenv("HOME")),
        service_(
            [this](const Server::Request& request) {
              if (request.requestLine.starts_with("POST /api/transcribe")) {
                // The first dictation is understood, the next one meets a busy service.
                if (transcriptions_++ == 0) {
                  return Server::Answer{200, R"({"text":"Meet me at noon by the river.",
                      "cleanup_attempted":true,"cleanup_applied":true,"cleanup_mode":"fast"})"};
                }
                return Server::Answer{200, R"({"error":"The service is busy right now."})"};
              }
              if (request.requestLine.starts_with("GET /api/account/info"))
                return Server::Answer{200, R"({"email":"ada@example.com"})"};
              return Server::Answer{200, "{}"};
            },
            MURVEL_TEST_SERVICE_PORT) {}

  // A person who has signed in before and has seen this version's launch hint.
  void signedIn() {
    fs::create_directories(home_ / ".config/murvel");
    std::ofstream(home_ / ".config/murvel/com.murvel.mac.json")
        << R"({"hotkey":"right_ctrl","cleanupMode":"fast","signedInEmail":"ada@example.com",)"
        << R"("lastLaunchHintVersion":"9.9"})";
    linux_platform::SecretKeychainBackend keychain;
    Keychain::save(keychain, "ui-key", Keychain::accessKeyAccount);
  }

  bool launched() const {
    return murvel::test::waitFor(
        [&] {
          for (const auto& request : service_.requests()) {
            if (request.requestLine.starts_with("HEAD /api/health"))
              return true;
          }
          return false;
        },
        30s);
  }

  static std::optional<QRect> trayIcon() { return e2e::trayIcon("murvel_under_test"); }

  // Whether most of the icon's opaque drawing is red, once it is.
  static bool turnsRed(const QRect& icon) {
    for (int i = 0; i < 60; ++i) {
      const QImage image = grab(icon);
      int red = 0;
      int drawn = 0;
      for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
          const QColor pixel = image.pixelColor(x, y);
          if (pixel.value() < 60 && pixel.saturation() < 60)
            continue;  // the tray's dark background
          ++drawn;
          red += pixel.red() > 150 && pixel.green() < 110 && pixel.blue() < 110;
        }
      }
      if (drawn > 0 && red * 3 > drawn)
        return true;
      std::this_thread::sleep_for(50ms);
    }
    return false;
  }

  // Saves what the screen shows in `area`, widened by a margin, as <name>.png.
  static void screenshot(const std::string& name, const QRect& area) {
    const fs::path file = screenshots() / (name + ".png");
    EXPECT_TRUE(e2e::screenshot(file, area)) << file;
    std::printf("  saved %s\n", file.c_str());
  }

  // A left click on the tray icon, and the panel it opens.
  std::optional<json> openPanel(App& app, const QRect& icon) {
    click(icon.center());
    return app.waitForWindow(isPanel);
  }

  // A right click on the tray icon, and the menu it opens.
  std::optional<json> openMenu(App& app, const QRect& icon) {
    click(icon.center(), 3);
    return app.waitForWindow(isMenu);
  }

  // The Settings window, opened from the menu.
  std::optional<json> openSettings(App& app, const QRect& icon) {
    const auto menu = openMenu(app, icon);
    if (!menu)
      return std::nullopt;
    const auto entry = menuEntry(*menu, "Settings");
    if (!entry)
      return std::nullopt;
    click(*entry);
    return app.waitForWindow(isSettings);
  }

  fs::path home_;
  std::atomic<int> transcriptions_{0};
  Server service_;
};

// One step of a dictation, and what the panel shows after it.
struct PanelState {
  const char* name;
  const char* keys;  // xdotool key actions that lead there, or empty
  std::vector<std::string> shown;
  const char* recordTitle;
};

TEST_F(ScreenTest, PanelOpensUnderTheTrayIconAndShowsEachStateOfADictation) {
  signedIn();
  App app(home_);
  ASSERT_TRUE(launched());
  const auto icon = trayIcon();
  ASSERT_TRUE(icon) << "no icon of Murvel in the tray:\n" << output("xwininfo -root -tree");

  auto panel = openPanel(app, *icon);
  ASSERT_TRUE(panel) << "a left click on the tray icon opened no panel";
  const QRect frame = frameOf(*panel);
  EXPECT_EQ(frame.size(), QSize(340, 320));
  EXPECT_TRUE(QRect(0, 0, 1280, 800).contains(frame));
  EXPECT_GE(frame.top(), icon->bottom()) << "the panel opens under the icon";
  EXPECT_LE(frame.left(), icon->center().x());
  EXPECT_GE(frame.right(), icon->center().x());

  // The texts the panel's own rendering does not already answer for: that each state reaches the
  // screen, and the words that came back from the service.
  const std::vector<PanelState> states{
      {"idle", "", {"Murvel Dictation"}, "Record"},
      {"recording", "keydown Control_R", {"Listening…"}, "Stop"},
      {"done", "keyup Control_R", {"Pasted!", "Meet me at noon by the river."}, "Record"},
      {"error",
       "keydown Control_R sleep 0.6 keyup Control_R",
       {"Error", "The service is busy right now."},
       "Record"},
  };
  for (const PanelState& state : states) {
    SCOPED_TRACE(state.name);
    if (*state.keys != '\0') {
      ASSERT_TRUE(keys(state.keys));
    }
    panel = app.waitForWindow([&](const json& window) {
      return isPanel(window) && visibleWidgetWithText(window, state.shown.front()) != nullptr;
    });
    ASSERT_TRUE(panel) << "the panel never showed " << state.shown.front();
    if (std::string(state.name) == "recording") {
      EXPECT_TRUE(turnsRed(*icon)) << "the tray icon never turned red while recording";
    }
    EXPECT_THAT(visibleTexts(*panel), ::testing::IsSupersetOf(state.shown));
    const json* record = visibleWidgetWithText(*panel, state.recordTitle);
    EXPECT_TRUE(record != nullptr && record->at("class") == "QPushButton");
    expectTidy(*panel);
    screenshot("panel-" + std::string(state.name), frameOf(*panel).united(*icon));
  }

  // The dictation that was understood is in the history, one row of two lines.
  panel = app.showTab(isPanel, "History", "Double-click to re-paste");
  ASSERT_TRUE(panel) << "the History tab never showed";
  EXPECT_THAT(visibleTexts(*panel), ::testing::Contains("Meet me at noon by the river."));
  EXPECT_THAT(visibleTexts(*panel), ::testing::Contains(::testing::EndsWith(" · 7 words")));
  expectTidy(*panel);
  screenshot("panel-history", frameOf(*panel).united(*icon));
  EXPECT_EQ(app.terminate(), 0);
}

// A Settings tab, and texts it shows.
struct SettingsTab {
  const char* label;
  std::vector<std::string> shown;
};

TEST_F(ScreenTest, RightClickMenuOpensSettingsWithItsFourTabsAndQuits) {
  signedIn();
  App app(home_);
  ASSERT_TRUE(launched());
  const auto icon = trayIcon();
  ASSERT_TRUE(icon);

  const auto menu = openMenu(app, *icon);
  ASSERT_TRUE(menu) << "a right click on the tray icon opened no menu";
  std::vector<std::string> entries;
  for (const json& action : menu->at("actions")) {
    entries.push_back(action.at("separator").get<bool>() ? "-"
                                                         : action.at("text").get<std::string>());
  }
  EXPECT_THAT(entries, ::testing::ElementsAre("Open Murvel", "-", "Cleanup Mode", "-",
                                              "Settings (v9.9)…", "-", "Quit Murvel"));
  screenshot("menu", frameOf(*menu).united(*icon));
  click(menuEntry(*menu, "Settings").value());

  auto window = app.waitForWindow(isSettings);
  ASSERT_TRUE(window) << "choosing Settings opened no window";
  EXPECT_TRUE(QRect(0, 0, 1280, 800).contains(frameOf(*window)));
  const std::vector<SettingsTab> tabs{
      {"Setup",
       {"Account Email:", "ada@example.com", "Signed in as ada@example.com",
        "Continue with Email"}},
      {"Preferences",
       {"HOTKEY", "Right Control ⌃", "Pick Button…", "CLEANUP MODE", "Fast (no AI rewrite)",
        "Auto (match speaker)"}},
      {"Permissions", {"Microphone", "Accessibility", "Refresh"}},
      {"About", {"Version:", "9.9", "Murvel Cloud voice capture", "Website:"}},
  };
  for (const SettingsTab& tab : tabs) {
    SCOPED_TRACE(tab.label);
    window = app.showTab(isSettings, tab.label, tab.shown.front());
    ASSERT_TRUE(window) << "the tab never showed " << tab.shown.front();
    EXPECT_THAT(visibleTexts(*window), ::testing::IsSupersetOf(tab.shown));
    expectTidy(*window);
    // The window manager's frame and title bar lie around the window's own area.
    screenshot("settings-" + std::string(tab.label), frameOf(*window).adjusted(-4, -28, 4, 4));
  }

  // Quit from the menu ends the app cleanly with its window open.
  const auto again = openMenu(app, *icon);
  ASSERT_TRUE(again);
  click(menuEntry(*again, "Quit Murvel").value());
  EXPECT_EQ(app.exitStatus(), 0);
}

// How many pixels of `image` stand out from its top-left corner, the background.
int inkOf(const QImage& image) {
  const QColor background = image.pixelColor(0, 0);
  int ink = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const QColor pixel = image.pixelColor(x, y);
      ink +=
          std::abs(pixel.value() - background.value()) + std::abs(pixel.red() - pixel.blue()) > 60;
    }
  }
  return ink;
}

// Whether some visible window of the app matches, in one look.
bool showing(App& app, const std::function<bool(const json&)>& matches) {
  const json all = app.dump();
  for (const json& window : all.at("windows")) {
    if (window.at("visible").get<bool>() && matches(window))
      return true;
  }
  return false;
}

TEST_F(ScreenTest, StateIconIsTheAppsOwnDrawingWhereNoFontHasTheEmoji) {
  signedIn();
  // A desktop without a colour emoji font: the fonts it has draw a box for each state emoji.
  const fs::path fonts = home_ / "fonts-without-emoji.conf";
  std::ofstream(fonts) << R"(<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig><include>/etc/fonts/fonts.conf</include>
<selectfont><rejectfont><glob>*Emoji*</glob></rejectfont></selectfont></fontconfig>)";
  App app(home_, {"FONTCONFIG_FILE=" + fonts.string()});
  ASSERT_TRUE(launched());
  const auto icon = trayIcon();
  ASSERT_TRUE(icon);
  ASSERT_TRUE(openPanel(app, *icon));
  const auto label = app.waitForWidget(isPanel, "\U0001F3A4");
  ASSERT_TRUE(label);
  // Drawn whole, the state's disc covers far more of the label than a box's outline does.
  const QRect frame = frameOf(*label);
  EXPECT_GT(inkOf(grab(frame)), 350) << "the state icon is drawn as an empty box";
  screenshot("panel-icon-without-emoji-font", frame.adjusted(-60, 0, 60, 40));
  EXPECT_EQ(app.terminate(), 0);
}

TEST_F(ScreenTest, TrayClicksActOnReleaseAndTheMenuOverPanelAndSettingsClosesEither) {
  signedIn();
  App app(home_);
  ASSERT_TRUE(launched());
  const auto icon = trayIcon();
  ASSERT_TRUE(icon);
  ASSERT_TRUE(openSettings(app, *icon));
  // The window manager offers the Settings window neither resizing nor minimizing.
  const std::string allowed = output(
      "xprop -id \"$(xdotool search --name '^Murvel Settings' | head -n1)\" "
      "_NET_WM_ALLOWED_ACTIONS");
  EXPECT_THAT(allowed, ::testing::HasSubstr("_NET_WM_ACTION_CLOSE"));
  for (const char* refused : {"_NET_WM_ACTION_MINIMIZE", "_NET_WM_ACTION_RESIZE",
                              "_NET_WM_ACTION_MAXIMIZE_HORZ", "_NET_WM_ACTION_FULLSCREEN"}) {
    EXPECT_THAT(allowed, ::testing::Not(::testing::HasSubstr(refused)));
  }
  // A press alone opens nothing; the release does.
  ASSERT_TRUE(keys("mousemove " + std::to_string(icon->center().x()) + " " +
                   std::to_string(icon->center().y()) + " sleep 0.1 mousedown 1 sleep 1"));
  EXPECT_FALSE(showing(app, isPanel)) << "the panel opened as the button went down";
  ASSERT_TRUE(keys("mouseup 1"));
  ASSERT_TRUE(app.waitForWindow(isPanel)) << "the release opened no panel";

  const auto menu = openMenu(app, *icon);
  ASSERT_TRUE(menu) << "a right click with the panel open opened no menu";
  std::vector<std::string> entries;
  for (const json& action : menu->at("actions")) entries.push_back(action.at("text"));
  ASSERT_GE(entries.size(), 3u);
  EXPECT_THAT(std::vector(entries.begin(), entries.begin() + 3),
              ::testing::ElementsAre("Open Murvel", "Close Dictation Panel", "Close Settings"));
  screenshot("menu-with-panel-and-settings-open", frameOf(*menu).united(*icon));
  click(menuEntry(*menu, "Close Dictation Panel").value());
  EXPECT_TRUE(waitFor([&] { return !showing(app, isPanel); }, 10s));
  EXPECT_TRUE(showing(app, isSettings));
  EXPECT_EQ(app.terminate(), 0);
}

TEST_F(ScreenTest, EscapeEndsAPanelCaptureAndLeavesThePanelOpenWhenSignedOut) {
  App app(home_);
  ASSERT_TRUE(launched());
  const auto icon = trayIcon();
  ASSERT_TRUE(icon);
  ASSERT_TRUE(openPanel(app, *icon));
  const auto map = app.waitForWidget(isPanel, "Map");
  ASSERT_TRUE(map);
  click(frameOf(*map).center());
  ASSERT_TRUE(app.waitForWidget(isPanel, "Wait"));
  ASSERT_TRUE(keys("key Escape"));
  EXPECT_TRUE(app.waitForWidget(isPanel, "Done")) << "Escape closed the panel";
  EXPECT_EQ(app.terminate(), 0);
}

TEST_F(ScreenTest, SignOutAlertStandsOverThePanelAndCancelChangesNothing) {
  signedIn();
  App app(home_);
  ASSERT_TRUE(launched());
  const auto icon = trayIcon();
  ASSERT_TRUE(icon);
  ASSERT_TRUE(openPanel(app, *icon));
  ASSERT_TRUE(app.showTab(isPanel, "Account", "Sign Out"));
  click(frameOf(*app.waitForWidget(isPanel, "Sign Out")).center());
  const auto isAlert = [](const json& window) {
    return visibleWidgetWithText(window, "Sign out of Murvel?") != nullptr;
  };
  const auto alert = app.waitForWindow(isAlert);
  ASSERT_TRUE(alert) << "no alert";
  EXPECT_TRUE(showing(app, isPanel)) << "the panel closed as the alert opened";
  // The sentence under the question stands on one line, not folded into a narrow column.
  const json* detail =
      visibleWidgetWithText(*alert, "You will need to sign in again to use dictation.");
  ASSERT_NE(detail, nullptr);
  EXPECT_LT(frameOf(*detail).height(), 30);
  screenshot("sign-out-alert", frameOf(*alert).adjusted(-4, -28, 4, 4));
  click(frameOf(*visibleWidgetWithText(*alert, "Cancel")).center());
  EXPECT_TRUE(waitFor([&] { return !showing(app, isAlert); }, 10s));
  EXPECT_TRUE(showing(app, isPanel));
  linux_platform::SecretKeychainBackend keychain;
  EXPECT_EQ(Keychain::load(keychain, Keychain::accessKeyAccount), "ui-key");
  EXPECT_EQ(app.terminate(), 0);
}

TEST_F(ScreenTest, RePasteInSmartModeShowsItsSubtitleWholeAndTheHistoryTimeWithoutSeconds) {
  signedIn();
  std::ofstream(home_ / ".config/murvel/com.murvel.mac.json")
      << R"({"hotkey":"right_ctrl","cleanupMode":"smart","lastLaunchHintVersion":"9.9"})";
  fs::create_directories(home_ / ".local/share/Murvel");
  std::ofstream(home_ / ".local/share/Murvel/history.json")
      << R"([{"text":"Meet me at noon.","date":800000000,"duration":2.0,"wordCount":4}])";
  App app(home_);
  ASSERT_TRUE(launched());
  const auto icon = trayIcon();
  ASSERT_TRUE(icon);
  ASSERT_TRUE(openPanel(app, *icon));
  auto panel = app.showTab(isPanel, "History", "Meet me at noon.");
  ASSERT_TRUE(panel);
  EXPECT_THAT(
      visibleTexts(*panel),
      ::testing::Contains(::testing::MatchesRegex("[0-9]{1,2}:[0-9]{2}( [AP]M)? · 4 words")));
  screenshot("panel-history-time", frameOf(*panel));
  const QPoint row = frameOf(*visibleWidgetWithText(*panel, "Meet me at noon.")).center();
  ASSERT_TRUE(keys("mousemove " + std::to_string(row.x()) + " " + std::to_string(row.y()) +
                   " click --repeat 2 --delay 80 1"));
  const std::string subtitle = "Pasted into active window · Smart cleaned · encrypted in transit";
  panel = app.waitForWindow([&](const json& window) {
    return isPanel(window) && visibleWidgetWithText(window, subtitle) != nullptr;
  });
  ASSERT_TRUE(panel) << "the re-paste never showed its subtitle";
  expectTidy(*panel);
  screenshot("panel-repaste-smart", frameOf(*panel));
  EXPECT_EQ(app.terminate(), 0);
}

// Where the app cannot reach an X11 display, and what it is then told.
struct NoDisplay {
  const char* name;
  const char* display;  // null: unset
  const char* wayland;  // null: unset
  const char* says;
};

class NoDisplayTest : public ::testing::TestWithParam<NoDisplay> {};

TEST_P(NoDisplayTest, SaysWhatIsMissingInOneSentenceAndExitsWithOne) {
  const NoDisplay& setting = GetParam();
  std::string command = "env -u DISPLAY -u WAYLAND_DISPLAY";
  if (setting.display != nullptr)
    command += std::string(" DISPLAY=") + setting.display;
  if (setting.wayland != nullptr)
    command += std::string(" WAYLAND_DISPLAY=") + setting.wayland;
  command += std::string(" ") + MURVEL_UNDER_TEST + " 2>&1; echo \"exit=$?\"";
  const std::string said = output(command);
  EXPECT_THAT(said, ::testing::HasSubstr(setting.says));
  EXPECT_THAT(said, ::testing::EndsWith("\nexit=1\n"));
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2) << said;
}

INSTANTIATE_TEST_SUITE_P(Settings, NoDisplayTest,
                         ::testing::Values(NoDisplay{"Unset", nullptr, nullptr,
                                                     "needs an X11 display, and none is set"},
                                           NoDisplay{"WaylandWithoutXWayland", nullptr, "wayland-0",
                                                     "this Wayland session offers none"},
                                           NoDisplay{"Unreachable", ":97", nullptr,
                                                     "cannot open the X11 display \":97\""}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace murvel::testing

int main(int argc, char** argv) {
  // The test grabs the screen through its own connection to the private display.
  QGuiApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
