#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include <QImage>
#include <QPoint>
#include <QRect>

#include "ChildProcess.h"

// Driving real programs on the private desktop of tests/linux/session.sh: starting them, seeing
// their widgets, clicking and typing through the X server, and photographing the screen.
namespace murvel::e2e {

using json = nlohmann::json;
namespace fs = std::filesystem;
using namespace std::chrono_literals;

using test::waitFor;
using Process = test::ChildProcess;

// What a shell command printed on its standard output.
std::string output(const std::string& command);
// Runs a shell command; true when it succeeded.
bool run(const std::string& command);

// The app under test, whose widget probe (demo/WidgetProbe.cpp) writes every top-level widget as
// JSON on SIGUSR1.
class App {
 public:
  App(const std::string& program, const fs::path& directory, std::vector<std::string> args = {},
      std::vector<std::string> environment = {});

  json dump();
  // The first visible top-level window that `matches`, once there is one.
  std::optional<json> waitForWindow(const std::function<bool(const json&)>& matches,
                                    std::chrono::milliseconds limit = 30s);
  // The first visible widget with `text` in a window that `inWindow`, once there is one.
  std::optional<json> waitForWidget(const std::function<bool(const json&)>& inWindow,
                                    const std::string& text);
  // Clicks the tab labelled `label` in the window that `inWindow` until `shown` is visible there,
  // and gives that window. A click on a window that the window manager is still settling can be
  // lost, so it is given up to three times.
  std::optional<json> showTab(const std::function<bool(const json&)>& inWindow,
                              const std::string& label, const std::string& shown);
  // Whether a visible window that `matches` shows now, in one look.
  bool shows(const std::function<bool(const json&)>& matches);
  // Asks the app to end, as a session's end does; how it ended, or nothing if it outlived 20 s.
  std::optional<int> quit();
  std::string log() const;
  Process& process() { return process_; }

 private:
  fs::path dumpFile_, logFile_;
  Process process_;
  int sequence_ = 0;
};

QRect frameOf(const json& widget);
std::vector<const json*> widgetsOf(const json& window);
std::vector<std::string> visibleTexts(const json& window);
const json* visibleWidgetWithText(const json& window, const std::string& text);
const json* visibleWidgetOfClass(const json& window, const std::string& className);
// The centre of the tab labelled `label` in any tab bar of `window`.
std::optional<QPoint> tabCentre(const json& window, const std::string& label);
// The centre of the menu entry whose text starts with `text`.
std::optional<QPoint> menuEntry(const json& menu, const std::string& text);

bool isSettings(const json& window);
bool isPanel(const json& window);
bool isMenu(const json& window);

// Input as a person gives it, through the X server.
bool click(const QPoint& at, int button = 1);
bool keys(const std::string& xdotoolActions);

// The docked icon of `program` in the tray, once it is there and has stopped moving.
std::optional<QRect> trayIcon(const std::string& program);

// What the screen shows in `area` now.
QImage grab(const QRect& area);
// Saves the screen's `area`, widened by a margin, as `file` once it has stopped changing; false
// if it could not be.
bool screenshot(const fs::path& file, QRect area);

}  // namespace murvel::e2e
