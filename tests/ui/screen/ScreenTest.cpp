// The real app on a private desktop with a window manager and a tray: its tray icon is found and
// clicked as a person would, and what opens is checked through the app's widget dump and saved as
// screenshots for a person to look at.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QRect>
#include <array>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
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
  void signedIn(const std::string& mode = "fast") {
    fs::create_directories(home_ / ".config/murvel");
    std::ofstream(home_ / ".config/murvel/com.murvel.mac.json")
        << R"({"hotkey":"right_ctrl","cleanupMode":")" << mode
        << R"(","signedInEmail":"ada@example.com","lastLaunchHintVersion":"9.9"})";
    linux_platform::SecretKeychainBackend keychain;
    Keychain::save(keychain, "ui-key", Keychain::accessKeyAccount);
  }

  // The app started with this test's home, once it has warmed its connection and docked its
  // icon in the tray.
  void start(std::vector<std::string> environment = {}) {
    app_ = std::make_unique<App>(MURVEL_UNDER_TEST, home_, std::vector<std::string>{},
                                 std::move(environment));
    ASSERT_TRUE(service_.waitForRequest("HEAD /api/health", 30s));
    icon_ = trayIcon("murvel_under_test");
    ASSERT_TRUE(icon_) << "no icon of Murvel in the tray:\n" << output("xwininfo -root -tree");
  }

  // A left click on the tray icon, and the panel it opens.
  std::optional<json> openPanel() {
    click(icon_->center());
    return app_->waitForWindow(isPanel);
  }

  // A right click on the tray icon, and the menu it opens.
  std::optional<json> openMenu() {
    click(icon_->center(), 3);
    return app_->waitForWindow(isMenu);
  }

  // Whether most of the icon's opaque drawing is red, once it is.
  bool turnsRed() const {
    for (int i = 0; i < 60; ++i) {
      const QImage image = grab(*icon_);
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

  fs::path home_;
  std::atomic<int> transcriptions_{0};
  Server service_;
  std::unique_ptr<App> app_;
  std::optional<QRect> icon_;
};

TEST_F(ScreenTest, PanelOpensUnderTheTrayIconAndStaysTidyThroughADictation) {
  signedIn();
  ASSERT_NO_FATAL_FAILURE(start());
  auto panel = openPanel();
  ASSERT_TRUE(panel) << "a left click on the tray icon opened no panel";
  const QRect frame = frameOf(*panel);
  EXPECT_GE(frame.top(), icon_->bottom()) << "the panel opens under the icon";
  EXPECT_LE(frame.left(), icon_->center().x());
  EXPECT_GE(frame.right(), icon_->center().x());

  // Each state of a dictation, known by a text that only it shows.
  const std::vector<std::array<const char*, 3>> states{
      {"idle", "", "Murvel Dictation"},
      {"recording", "keydown Control_R", "Listening…"},
      {"done", "keyup Control_R", "Meet me at noon by the river."},
      {"error", "keydown Control_R sleep 0.6 keyup Control_R", "The service is busy right now."},
  };
  for (const auto& [name, actions, shown] : states) {
    SCOPED_TRACE(name);
    if (*actions != '\0') {
      ASSERT_TRUE(keys(actions));
    }
    panel = app_->waitForWindow([&](const json& window) {
      return isPanel(window) && visibleWidgetWithText(window, shown) != nullptr;
    });
    ASSERT_TRUE(panel) << "the panel never showed " << shown;
    if (std::string(name) == "recording") {
      EXPECT_TRUE(turnsRed()) << "the tray icon never turned red while recording";
    }
    expectTidy(*panel);
    screenshot("panel-" + std::string(name), frameOf(*panel).united(*icon_));
  }
  EXPECT_EQ(app_->quit(), 0);
}

TEST_F(ScreenTest, SettingsFromTheMenuAndTheMenuOverBothWindowsActOnRelease) {
  signedIn();
  ASSERT_NO_FATAL_FAILURE(start());
  const auto menu = openMenu();
  ASSERT_TRUE(menu) << "a right click on the tray icon opened no menu";
  screenshot("menu", frameOf(*menu).united(*icon_));
  click(menuEntry(*menu, "Settings").value());
  ASSERT_TRUE(app_->waitForWindow(isSettings)) << "choosing Settings opened no window";
  // The window manager offers the Settings window neither resizing nor minimizing.
  const std::string allowed = output(
      "xprop -id \"$(xdotool search --name '^Murvel Settings' | head -n1)\" "
      "_NET_WM_ALLOWED_ACTIONS");
  EXPECT_THAT(allowed, ::testing::HasSubstr("_NET_WM_ACTION_CLOSE"));
  for (const char* refused : {"_NET_WM_ACTION_MINIMIZE", "_NET_WM_ACTION_RESIZE",
                              "_NET_WM_ACTION_MAXIMIZE_HORZ", "_NET_WM_ACTION_FULLSCREEN"}) {
    EXPECT_THAT(allowed, ::testing::Not(::testing::HasSubstr(refused)));
  }
  for (const auto& [tab, shown] :
       std::vector<std::pair<std::string, std::string>>{{"Setup", "Signed in as ada@example.com"},
                                                        {"Preferences", "Pick Button…"},
                                                        {"Permissions", "Refresh"},
                                                        {"About", "9.9"}}) {
    SCOPED_TRACE(tab);
    const auto window = app_->showTab(isSettings, tab, shown);
    ASSERT_TRUE(window) << "the tab never showed " << shown;
    expectTidy(*window);
    // The window manager's frame and title bar lie around the window's own area.
    screenshot("settings-" + tab, frameOf(*window).adjusted(-4, -28, 4, 4));
  }

  // A press alone opens nothing; the release does.
  ASSERT_TRUE(keys("mousemove " + std::to_string(icon_->center().x()) + " " +
                   std::to_string(icon_->center().y()) + " sleep 0.1 mousedown 1 sleep 1"));
  EXPECT_FALSE(app_->shows(isPanel)) << "the panel opened as the button went down";
  ASSERT_TRUE(keys("mouseup 1"));
  ASSERT_TRUE(app_->waitForWindow(isPanel)) << "the release opened no panel";

  const auto over = openMenu();
  ASSERT_TRUE(over) << "a right click with the panel open opened no menu";
  std::vector<std::string> entries;
  for (const json& action : over->at("actions")) entries.push_back(action.at("text"));
  ASSERT_GE(entries.size(), 3u);
  EXPECT_THAT(std::vector(entries.begin(), entries.begin() + 3),
              ::testing::ElementsAre("Open Murvel", "Close Dictation Panel", "Close Settings"));
  screenshot("menu-with-panel-and-settings-open", frameOf(*over).united(*icon_));
  click(menuEntry(*over, "Close Dictation Panel").value());
  EXPECT_TRUE(waitFor([&] { return !app_->shows(isPanel); }, 10s));
  EXPECT_TRUE(app_->shows(isSettings));

  // Quit from the menu ends the app cleanly with its window open.
  const auto last = openMenu();
  ASSERT_TRUE(last);
  click(menuEntry(*last, "Quit Murvel").value());
  EXPECT_EQ(app_->process().waitForExit(20s), 0);
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

TEST_F(ScreenTest, StateIconIsTheAppsOwnDrawingWhereNoFontHasTheEmoji) {
  signedIn();
  // A desktop without a colour emoji font: the fonts it has draw a box for each state emoji.
  const fs::path fonts = home_ / "fonts-without-emoji.conf";
  std::ofstream(fonts) << R"(<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig><include>/etc/fonts/fonts.conf</include>
<selectfont><rejectfont><glob>*Emoji*</glob></rejectfont></selectfont></fontconfig>)";
  ASSERT_NO_FATAL_FAILURE(start({"FONTCONFIG_FILE=" + fonts.string()}));
  ASSERT_TRUE(openPanel());
  const auto label = app_->waitForWidget(isPanel, "\U0001F3A4");
  ASSERT_TRUE(label);
  // Drawn whole, the state's disc covers far more of the label than a box's outline does.
  const QRect frame = frameOf(*label);
  EXPECT_GT(inkOf(grab(frame)), 350) << "the state icon is drawn as an empty box";
  screenshot("panel-icon-without-emoji-font", frame.adjusted(-60, 0, 60, 40));
  EXPECT_EQ(app_->quit(), 0);
}

TEST_F(ScreenTest, EscapeEndsAPanelCaptureAndLeavesThePanelOpenWhenSignedOut) {
  ASSERT_NO_FATAL_FAILURE(start());
  ASSERT_TRUE(openPanel());
  const auto map = app_->waitForWidget(isPanel, "Map");
  ASSERT_TRUE(map);
  click(frameOf(*map).center());
  ASSERT_TRUE(app_->waitForWidget(isPanel, "Wait"));
  ASSERT_TRUE(keys("key Escape"));
  // "Done" stands for a second only: one look at a time, not two alike in a row.
  EXPECT_TRUE(waitFor([&] {
    return app_->shows(
        [](const json& w) { return isPanel(w) && visibleWidgetWithText(w, "Done"); });
  })) << "Escape closed the panel";
  EXPECT_EQ(app_->quit(), 0);
}

TEST_F(ScreenTest, SignOutAlertStandsOverThePanelAndCancelChangesNothing) {
  signedIn();
  ASSERT_NO_FATAL_FAILURE(start());
  ASSERT_TRUE(openPanel());
  ASSERT_TRUE(app_->showTab(isPanel, "Account", "Sign Out"));
  click(frameOf(*app_->waitForWidget(isPanel, "Sign Out")).center());
  const auto isAlert = [](const json& window) {
    return visibleWidgetWithText(window, "Sign out of Murvel?") != nullptr;
  };
  const auto alert = app_->waitForWindow(isAlert);
  ASSERT_TRUE(alert) << "no alert";
  EXPECT_TRUE(app_->shows(isPanel)) << "the panel closed as the alert opened";
  // The sentence under the question stands on one line, not folded into a narrow column.
  const json* detail =
      visibleWidgetWithText(*alert, "You will need to sign in again to use dictation.");
  ASSERT_NE(detail, nullptr);
  EXPECT_LT(frameOf(*detail).height(), 30);
  screenshot("sign-out-alert", frameOf(*alert).adjusted(-4, -28, 4, 4));
  click(frameOf(*visibleWidgetWithText(*alert, "Cancel")).center());
  EXPECT_TRUE(waitFor([&] { return !app_->shows(isAlert); }, 10s));
  EXPECT_TRUE(app_->shows(isPanel));
  linux_platform::SecretKeychainBackend keychain;
  EXPECT_EQ(Keychain::load(keychain, Keychain::accessKeyAccount), "ui-key");
  EXPECT_EQ(app_->quit(), 0);
}

TEST_F(ScreenTest, RePasteInSmartModeShowsItsSubtitleWholeAndTheHistoryTimeWithoutSeconds) {
  signedIn("smart");
  fs::create_directories(home_ / ".local/share/Murvel");
  std::ofstream(home_ / ".local/share/Murvel/history.json")
      << R"([{"text":"Meet me at noon.","date":800000000,"duration":2.0,"wordCount":4}])";
  ASSERT_NO_FATAL_FAILURE(start());
  ASSERT_TRUE(openPanel());
  auto panel = app_->showTab(isPanel, "History", "Meet me at noon.");
  ASSERT_TRUE(panel);
  EXPECT_THAT(
      visibleTexts(*panel),
      ::testing::Contains(::testing::MatchesRegex("[0-9]{1,2}:[0-9]{2}( [AP]M)? · 4 words")));
  expectTidy(*panel);
  screenshot("panel-history", frameOf(*panel));
  const QPoint row = frameOf(*visibleWidgetWithText(*panel, "Meet me at noon.")).center();
  ASSERT_TRUE(keys("mousemove " + std::to_string(row.x()) + " " + std::to_string(row.y()) +
                   " click --repeat 2 --delay 80 1"));
  const std::string subtitle = "Pasted into active window · Smart cleaned · encrypted in transit";
  panel = app_->waitForWindow([&](const json& window) {
    return isPanel(window) && visibleWidgetWithText(window, subtitle) != nullptr;
  });
  ASSERT_TRUE(panel) << "the re-paste never showed its subtitle";
  expectTidy(*panel);
  screenshot("panel-repaste-smart", frameOf(*panel));
  EXPECT_EQ(app_->quit(), 0);
}

// Without an X11 display the app says so in one sentence (the sentence for each way is the display
// check's own) and exits with 1.
TEST(NoDisplayTest, SaysWhatIsMissingInOneSentenceAndExitsWithOne) {
  const std::string said = output(std::string("env -u DISPLAY -u WAYLAND_DISPLAY ") +
                                  MURVEL_UNDER_TEST + " 2>&1; echo \"exit=$?\"");
  EXPECT_THAT(said, ::testing::HasSubstr("needs an X11 display, and none is set"));
  EXPECT_THAT(said, ::testing::EndsWith("\nexit=1\n"));
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2) << said;
}

}  // namespace
}  // namespace murvel::testing

int main(int argc, char** argv) {
  // The test grabs the screen through its own connection to the private display.
  QGuiApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
