#include "Desktop.h"

#include <signal.h>
#include <unistd.h>

#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <set>
#include <thread>

#include "common/Files.h"

namespace murvel::e2e {

std::string output(const std::string& command) {
  std::string result;
  if (FILE* pipe = ::popen(command.c_str(), "r")) {
    char buffer[4096];
    while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) result.append(buffer, n);
    ::pclose(pipe);
  }
  return result;
}

bool run(const std::string& command) {
  return std::system(command.c_str()) == 0;
}

App::App(const std::string& program, const fs::path& directory, std::vector<std::string> args,
         std::vector<std::string> environment)
    : dumpFile_(directory / "widgets.json"),
      logFile_(directory / "murvel.out"),
      process_(
          [&] {
            args.insert(args.begin(), program);
            return args;
          }(),
          logFile_,
          [&] {
            environment.push_back("MURVEL_WIDGET_DUMP=" + dumpFile_.string());
            return environment;
          }()) {}

// Whether the process catches SIGUSR1 yet; before its probe is installed the signal would end it.
static bool catchesDumpSignal(int pid) {
  const std::string status = readWholeFile("/proc/" + std::to_string(pid) + "/status").value_or("");
  const auto at = status.find("SigCgt:");
  return at != std::string::npos &&
         (std::stoull(status.substr(at + 7), nullptr, 16) & (1ull << (SIGUSR1 - 1))) != 0;
}

json App::dump() {
  const int wanted = ++sequence_;
  if (!waitFor([&] { return catchesDumpSignal(process_.pid()); }, 10s))
    return json{{"sequence", 0}, {"windows", json::array()}};
  process_.signal(SIGUSR1);
  json found{{"sequence", 0}, {"windows", json::array()}};
  waitFor(
      [&] {
        const json parsed = json::parse(readWholeFile(dumpFile_).value_or(""), nullptr, false);
        if (parsed.is_discarded() || parsed.value("sequence", 0) < wanted)
          return false;
        found = parsed;
        return true;
      },
      5s);
  return found;
}

std::optional<json> App::waitForWindow(const std::function<bool(const json&)>& matches,
                                       std::chrono::milliseconds limit) {
  // A window is taken once two dumps in a row show it alike: a menu rebuilt as it opens, or a
  // window the window manager is still placing, is not clicked by where it was a moment ago.
  std::optional<json> found, previous;
  waitFor(
      [&] {
        const json all = dump();
        std::optional<json> seen;
        for (const json& window : all.at("windows")) {
          if (window.at("visible").get<bool>() && matches(window)) {
            seen = window;
            break;
          }
        }
        if (seen && seen == previous)
          found = seen;
        previous = seen;
        return found.has_value();
      },
      limit);
  return found;
}

std::optional<json> App::waitForWidget(const std::function<bool(const json&)>& inWindow,
                                       const std::string& text) {
  const auto window = waitForWindow([&](const json& candidate) {
    return inWindow(candidate) && visibleWidgetWithText(candidate, text) != nullptr;
  });
  if (!window)
    return std::nullopt;
  return *visibleWidgetWithText(*window, text);
}

std::optional<json> App::showTab(const std::function<bool(const json&)>& inWindow,
                                 const std::string& label, const std::string& shown) {
  const auto showing = [&](const json& window) {
    return inWindow(window) && visibleWidgetWithText(window, shown) != nullptr;
  };
  for (int attempt = 0; attempt < 3; ++attempt) {
    const auto window = waitForWindow(inWindow);
    const auto tab = window ? tabCentre(*window, label) : std::nullopt;
    if (!tab || !click(*tab))
      return std::nullopt;
    if (auto result = waitForWindow(showing, 10s))
      return result;
  }
  return std::nullopt;
}

bool App::shows(const std::function<bool(const json&)>& matches) {
  const json all = dump();
  return std::any_of(all.at("windows").begin(), all.at("windows").end(), [&](const json& window) {
    return window.at("visible").get<bool>() && matches(window);
  });
}

std::optional<int> App::quit() {
  process_.signal(SIGTERM);
  return process_.waitForExit(20s);
}

std::string App::log() const {
  return process_.log();
}

QRect frameOf(const json& widget) {
  return {widget.at("x").get<int>(), widget.at("y").get<int>(), widget.at("w").get<int>(),
          widget.at("h").get<int>()};
}

static void flatten(const json& widget, std::vector<const json*>& all) {
  all.push_back(&widget);
  for (const json& child : widget.at("children")) flatten(child, all);
}

std::vector<const json*> widgetsOf(const json& window) {
  std::vector<const json*> all;
  flatten(window, all);
  return all;
}

std::vector<std::string> visibleTexts(const json& window) {
  std::vector<std::string> texts;
  for (const json* widget : widgetsOf(window)) {
    if (!widget->at("visible").get<bool>())
      continue;
    if (widget->contains("text"))
      texts.push_back(widget->at("text").get<std::string>());
    for (const json& tab : widget->value("tabs", json::array())) texts.push_back(tab.at("text"));
  }
  return texts;
}

const json* visibleWidgetWithText(const json& window, const std::string& text) {
  for (const json* widget : widgetsOf(window)) {
    if (widget->at("visible").get<bool>() && widget->value("text", "") == text)
      return widget;
  }
  return nullptr;
}

const json* visibleWidgetOfClass(const json& window, const std::string& className) {
  for (const json* widget : widgetsOf(window)) {
    if (widget->at("visible").get<bool>() && widget->at("class") == className)
      return widget;
  }
  return nullptr;
}

std::optional<QPoint> tabCentre(const json& window, const std::string& label) {
  for (const json* widget : widgetsOf(window)) {
    for (const json& tab : widget->value("tabs", json::array())) {
      if (tab.at("text") == label)
        return frameOf(tab).center();
    }
  }
  return std::nullopt;
}

std::optional<QPoint> menuEntry(const json& menu, const std::string& text) {
  for (const json& action : menu.value("actions", json::array())) {
    if (action.at("text").get<std::string>().starts_with(text))
      return frameOf(action).center();
  }
  return std::nullopt;
}

bool isSettings(const json& window) {
  return window.value("title", "").starts_with("Murvel Settings");
}

bool isPanel(const json& window) {
  return window.value("popup", false) && window.at("w") == 340;
}

bool isMenu(const json& window) {
  return window.contains("actions");
}

bool click(const QPoint& at, int button) {
  // Not --sync: it waits for a motion that never comes when the pointer is already there.
  return run("xdotool mousemove " + std::to_string(at.x()) + " " + std::to_string(at.y()) +
             " sleep 0.1 click " + std::to_string(button));
}

bool keys(const std::string& xdotoolActions) {
  return run("xdotool " + xdotoolActions);
}

std::optional<QRect> trayIcon(const std::string& program) {
  const std::regex line("(0x[0-9a-f]+) .*\\(\"" + program +
                        R"(" "[^"]*"\)\s+(\d+)x(\d+)\+-?\d+\+-?\d+\s+\+(-?\d+)\+(-?\d+))");
  // The tray grows towards the left as the icon docks and moves the icon with it: the icon is
  // taken once it has stayed in one place for a few looks.
  std::optional<QRect> last;
  int unchanged = 0;
  waitFor([&] {
    const std::string tree = output("xwininfo -root -tree");
    const auto panel = tree.find(R"(("panel" "trayer"))");
    std::smatch match;
    const std::string below = panel == std::string::npos ? "" : tree.substr(panel);
    std::optional<QRect> now;
    // Docked and mapped: a click there reaches the icon.
    if (std::regex_search(below, match, line) &&
        output("xwininfo -id " + match[1].str()).find("IsViewable") != std::string::npos) {
      now =
          QRect(std::stoi(match[4]), std::stoi(match[5]), std::stoi(match[2]), std::stoi(match[3]));
    }
    unchanged = now && now == last ? unchanged + 1 : 0;
    last = now;
    return unchanged == 4;
  });
  return unchanged == 4 ? last : std::nullopt;
}

QImage grab(const QRect& area) {
  return QGuiApplication::primaryScreen()
      ->grabWindow(0, area.x(), area.y(), area.width(), area.height())
      .toImage();
}

bool screenshot(const fs::path& file, QRect area) {
  const QRect screen = QGuiApplication::primaryScreen()->geometry();
  area = area.adjusted(-8, -8, 8, 8).intersected(screen);
  // The app paints after it has answered the widget dump: the picture is taken once the screen
  // has stopped changing there.
  QImage last = grab(area);
  waitFor(
      [&] {
        QImage now = grab(area);
        const bool settled = now == last;
        last = std::move(now);
        return settled;
      },
      2s);
  fs::create_directories(file.parent_path());
  return last.save(QString::fromStdString(file.string()));
}

}  // namespace murvel::e2e
