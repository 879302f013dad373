#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/EventMonitors.h"

namespace murvel {

// What a desktop's own key binding says about the hotkey, where no monitor of ours can hear the
// key itself (a Wayland compositor keeps keys to itself). Toggle is for desktops whose shortcuts
// fire on the press alone.
enum class HotkeyCommand { press, release, toggle };

// "press", "release" or "toggle", exactly; nothing for anything else.
std::optional<HotkeyCommand> hotkeyCommandNamed(std::string_view name);

// Key monitors that hear two sources: the keys that `keys` hears, and the hotkey commands given
// to `perform`, turned into the modifier-change event that the chosen key itself would make. So
// both reach the same handlers, and the same edges decide what a press or release means.
// Main thread only.
class HotkeyCommandMonitors final : public EventMonitors {
 public:
  // `chosenKeyEvent` gives the event of the chosen key going down (true) or up (false), read
  // afresh at each command, or nothing.
  HotkeyCommandMonitors(EventMonitors& keys,
                        std::function<std::optional<KeyEvent>(bool down)> chosenKeyEvent);

  std::optional<MonitorToken> addLocalMonitor(
      std::uint64_t mask, std::function<std::optional<KeyEvent>(const KeyEvent&)> handler) override;
  std::optional<MonitorToken> addGlobalMonitor(
      std::uint64_t mask, std::function<void(const KeyEvent&)> handler) override;
  void removeMonitor(MonitorToken token) override;

  // A binding fired: the global monitors hear it, as keys of another application; without one,
  // the local monitors do.
  void perform(HotkeyCommand command);

 private:
  struct Monitor {
    MonitorToken token = 0;
    std::optional<MonitorToken> keysToken;
    std::uint64_t mask = 0;
    std::function<std::optional<KeyEvent>(const KeyEvent&)> local;
    std::function<void(const KeyEvent&)> global;
  };

  EventMonitors& keys_;
  std::function<std::optional<KeyEvent>(bool down)> chosenKeyEvent_;
  std::vector<Monitor> monitors_;
  MonitorToken nextToken_ = 1;
  // Where the commands have left the key, for a toggle.
  bool down_ = false;
};

}  // namespace murvel
