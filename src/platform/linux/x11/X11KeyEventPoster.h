#pragma once

#include <memory>

#include "platform/KeyEventPoster.h"
#include "platform/linux/x11/SyntheticKeyLedger.h"

namespace murvel::linux_platform {

// Synthetic keystrokes through XTest, as if typed. The Command modifier stands for the
// desktop's shortcut modifier: Command+V becomes Control+V, the paste chord, or
// Control+Shift+V when the window with the keyboard focus is a terminal. Modifiers that the
// user still holds are let go for the chord and pressed again after it. Every key sent is
// written to `ownKeys` first, so that this process's monitors do not take it for the user's.
// Main thread only.
class X11KeyEventPoster final : public KeyEventPoster {
 public:
  explicit X11KeyEventPoster(std::shared_ptr<SyntheticKeyLedger> ownKeys);
  ~X11KeyEventPoster() override;

  std::shared_ptr<EventSource> eventSourceCreate(std::int32_t stateID) override;
  std::optional<KeyboardEvent> keyboardEventCreate(const EventSource* source,
                                                   std::uint16_t virtualKey, bool keyDown) override;
  void eventPost(std::int32_t tap, const KeyboardEvent& event) override;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace murvel::linux_platform
