#pragma once

#include <functional>

#include "platform/KeyEventPoster.h"

namespace murvel::linux_platform {

class WaylandPasteboard;

// Synthetic keystrokes through wtype and the virtual-keyboard protocol, as if typed. As on
// X11, Command stands for Control: Command+V is Control+V, or Control+Shift+V when the window
// in front is a terminal. wtype presses and lets go of the whole chord at the key-down event;
// the key-up event has nothing left to do. The chord waits for the clipboard write before it,
// and never for anything on the main thread.
class WaylandKeyEventPoster final : public KeyEventPoster {
 public:
  // `focusIsTerminal` says whether the window with the keyboard focus is a terminal.
  WaylandKeyEventPoster(WaylandPasteboard& pasteboard, std::function<bool()> focusIsTerminal);

  std::shared_ptr<EventSource> eventSourceCreate(std::int32_t stateID) override;
  std::optional<KeyboardEvent> keyboardEventCreate(const EventSource* source,
                                                   std::uint16_t virtualKey, bool keyDown) override;
  void eventPost(std::int32_t tap, const KeyboardEvent& event) override;

 private:
  WaylandPasteboard& pasteboard_;
  std::function<bool()> focusIsTerminal_;
};

}  // namespace murvel::linux_platform
