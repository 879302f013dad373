#include "Desktop.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <thread>

namespace murvel::bench {

namespace {

std::string commandOutput(const std::string& command) {
  std::string result;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) result.append(buffer, n);
    pclose(pipe);
  }
  return result;
}

}  // namespace

Desktop::Desktop() : display_(XOpenDisplay(nullptr)) {
  if (display_ != nullptr)
    rightControlCode_ = XKeysymToKeycode(display_, XK_Control_R);
}

Desktop::~Desktop() {
  if (display_ != nullptr)
    XCloseDisplay(display_);
}

Desktop::Clock::time_point Desktop::rightControl(bool down) {
  const auto sent = Clock::now();
  XTestFakeKeyEvent(display_, rightControlCode_, down ? True : False, CurrentTime);
  XSync(display_, False);
  return sent;
}

std::optional<std::pair<int, int>> Desktop::trayIconCentre(const std::string& windowClass) const {
  const std::regex line(R"((0x[0-9a-f]+) .*\(")" + windowClass +
                        R"(" "Murvel"\)\s+(\d+)x(\d+)\+-?\d+\+-?\d+\s+\+(-?\d+)\+(-?\d+))");
  for (int i = 0; i < 200; ++i) {
    const std::string tree = commandOutput("xwininfo -root -tree");
    const auto panel = tree.find(R"(("panel" "trayer"))");
    const std::string below = panel == std::string::npos ? "" : tree.substr(panel);
    std::smatch match;
    if (std::regex_search(below, match, line) &&
        commandOutput("xwininfo -id " + match[1].str()).find("IsViewable") != std::string::npos) {
      return std::pair{std::stoi(match[4]) + std::stoi(match[2]) / 2,
                       std::stoi(match[5]) + std::stoi(match[3]) / 2};
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
  }
  return std::nullopt;
}

bool Desktop::click(int x, int y, int button) {
  // Not --sync: it waits for a motion that never comes when the pointer is already there.
  return std::system(("xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) +
                      " sleep 0.1 click " + std::to_string(button))
                         .c_str()) == 0;
}

bool Desktop::key(const std::string& name) {
  return std::system(("xdotool key " + name).c_str()) == 0;
}

bool Desktop::closeWindow(const std::string& title) {
  const std::string found = commandOutput("xdotool search --name '^" + title + "$'");
  const Window window = std::strtoul(found.c_str(), nullptr, 10);
  if (window == 0)
    return false;
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = window;
  event.xclient.message_type = XInternAtom(display_, "WM_PROTOCOLS", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = static_cast<long>(XInternAtom(display_, "WM_DELETE_WINDOW", False));
  event.xclient.data.l[1] = CurrentTime;
  XSendEvent(display_, window, False, NoEventMask, &event);
  XSync(display_, False);
  return true;
}

}  // namespace murvel::bench
