#include "platform/HotkeyCommands.h"

#include <algorithm>

namespace murvel {

std::optional<HotkeyCommand> hotkeyCommandNamed(std::string_view name) {
  if (name == "press")
    return HotkeyCommand::press;
  if (name == "release")
    return HotkeyCommand::release;
  if (name == "toggle")
    return HotkeyCommand::toggle;
  return std::nullopt;
}

HotkeyCommandMonitors::HotkeyCommandMonitors(
    EventMonitors& keys, std::function<std::optional<KeyEvent>(bool down)> chosenKeyEvent)
    : keys_(keys), chosenKeyEvent_(std::move(chosenKeyEvent)) {}

std::optional<MonitorToken> HotkeyCommandMonitors::addLocalMonitor(
    std::uint64_t mask, std::function<std::optional<KeyEvent>(const KeyEvent&)> handler) {
  if (!handler)
    return std::nullopt;
  Monitor monitor{nextToken_++, keys_.addLocalMonitor(mask, handler), mask, handler, {}};
  monitors_.push_back(std::move(monitor));
  return monitors_.back().token;
}

std::optional<MonitorToken> HotkeyCommandMonitors::addGlobalMonitor(
    std::uint64_t mask, std::function<void(const KeyEvent&)> handler) {
  if (!handler)
    return std::nullopt;
  Monitor monitor{nextToken_++, keys_.addGlobalMonitor(mask, handler), mask, {}, handler};
  monitors_.push_back(std::move(monitor));
  return monitors_.back().token;
}

void HotkeyCommandMonitors::removeMonitor(MonitorToken token) {
  auto found = std::find_if(monitors_.begin(), monitors_.end(),
                            [token](const Monitor& monitor) { return monitor.token == token; });
  if (found == monitors_.end())
    return;
  if (found->keysToken)
    keys_.removeMonitor(*found->keysToken);
  monitors_.erase(found);
}

void HotkeyCommandMonitors::perform(HotkeyCommand command) {
  const bool down = command == HotkeyCommand::toggle ? !down_ : command == HotkeyCommand::press;
  down_ = down;
  const auto event = chosenKeyEvent_ ? chosenKeyEvent_(down) : std::nullopt;
  if (!event)
    return;
  const std::uint64_t bit = 1ull << event->type;
  const bool global = std::any_of(monitors_.begin(), monitors_.end(), [bit](const Monitor& m) {
    return m.global && (m.mask & bit) != 0;
  });
  // A copy: handlers may add and remove monitors.
  const auto monitors = monitors_;
  for (const auto& monitor : monitors) {
    if ((monitor.mask & bit) == 0)
      continue;
    if (global && monitor.global)
      monitor.global(*event);
    else if (!global && monitor.local)
      monitor.local(*event);
  }
}

}  // namespace murvel
