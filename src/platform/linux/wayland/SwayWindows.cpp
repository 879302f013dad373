#include "platform/linux/wayland/SwayWindows.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <nlohmann/json.hpp>

namespace murvel::linux_platform {

namespace {

constexpr std::string_view magic = "i3-ipc";
constexpr std::uint32_t runCommand = 0;
constexpr std::uint32_t getTree = 4;
// sway answers at once; a compositor that hangs must not hang the main thread with it.
constexpr int timeoutMs = 500;
// A tree of a few hundred windows is far below this.
constexpr std::uint32_t maxReply = 16u << 20;

using json = nlohmann::json;

const json* findFocused(const json& node) {
  if (!node.is_object())
    return nullptr;
  if (node.value("focused", false))
    return &node;
  for (const char* children : {"nodes", "floating_nodes"}) {
    const auto found = node.find(children);
    if (found == node.end() || !found->is_array())
      continue;
    for (const auto& child : *found) {
      if (const json* focused = findFocused(child))
        return focused;
    }
  }
  return nullptr;
}

std::string stringAt(const json& node, const char* key) {
  const auto found = node.find(key);
  return found != node.end() && found->is_string() ? found->get<std::string>() : "";
}

bool readFully(int fd, char* into, std::size_t size) {
  while (size > 0) {
    const auto got = ::read(fd, into, size);
    if (got <= 0)
      return false;
    into += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool writeFully(int fd, const char* from, std::size_t size) {
  while (size > 0) {
    const auto sent = ::send(fd, from, size, MSG_NOSIGNAL);
    if (sent <= 0)
      return false;
    from += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

}  // namespace

std::optional<SwayWindow> focusedSwayWindow(const std::string& tree) {
  const json root = json::parse(tree, nullptr, false);
  const json* focused = findFocused(root);
  // A workspace or an output takes the focus when it holds no window.
  if (focused == nullptr || !focused->contains("pid"))
    return std::nullopt;
  SwayWindow window;
  window.id = focused->value("id", std::int64_t{0});
  window.pid = focused->value("pid", std::int64_t{0});
  window.appId = stringAt(*focused, "app_id");
  if (const auto properties = focused->find("window_properties");
      properties != focused->end() && properties->is_object()) {
    window.windowClass = stringAt(*properties, "class");
    window.instance = stringAt(*properties, "instance");
  }
  return window;
}

SwayWindows::SwayWindows(std::string socketPath) : socketPath_(std::move(socketPath)) {}

std::optional<std::string> SwayWindows::request(std::uint32_t type, const std::string& payload) {
  sockaddr_un address{};
  if (socketPath_.size() >= sizeof address.sun_path)
    return std::nullopt;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, socketPath_.c_str(), socketPath_.size());
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0)
    return std::nullopt;
  const timeval timeout{0, timeoutMs * 1000};
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
  std::optional<std::string> reply;
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    std::string message(magic);
    const auto length = static_cast<std::uint32_t>(payload.size());
    message.append(reinterpret_cast<const char*>(&length), sizeof length);
    message.append(reinterpret_cast<const char*>(&type), sizeof type);
    message += payload;
    char header[14];
    std::uint32_t replyLength = 0;
    if (writeFully(fd, message.data(), message.size()) && readFully(fd, header, sizeof header) &&
        std::string_view(header, magic.size()) == magic) {
      std::memcpy(&replyLength, header + magic.size(), sizeof replyLength);
      std::string body(replyLength, '\0');
      if (replyLength <= maxReply && readFully(fd, body.data(), body.size()))
        reply = std::move(body);
    }
  }
  ::close(fd);
  return reply;
}

std::optional<SwayWindow> SwayWindows::focusedWindow() {
  const auto tree = request(getTree, {});
  return tree ? focusedSwayWindow(*tree) : std::nullopt;
}

std::optional<RunningApplication> SwayWindows::frontmostApplication() {
  const auto window = focusedWindow();
  if (!window)
    return std::nullopt;
  RunningApplication result;
  result.processIdentifier = window->pid;
  result.platformHandle = static_cast<std::uint64_t>(window->id);
  // A Wayland window's app id is its desktop entry's name; an X11 one is known by its class.
  std::optional<x11::DesktopApp> app;
  if (!window->appId.empty())
    app = desktopApps_.byId(window->appId);
  else if (!window->windowClass.empty())
    app = desktopApps_.byStartupWMClass(window->windowClass);
  const std::string own = !window->appId.empty() ? window->appId : window->windowClass;
  if (app) {
    result.bundleIdentifier = app->id;
    result.localizedName = app->name.empty() ? own : app->name;
  } else if (!own.empty()) {
    result.bundleIdentifier = own;
    result.localizedName = own;
  }
  return result;
}

void SwayWindows::activate(const RunningApplication& application) {
  if (application.platformHandle == 0)
    return;
  request(runCommand, "[con_id=" + std::to_string(application.platformHandle) + "] focus");
}

}  // namespace murvel::linux_platform
