#pragma once

#include <cstdint>
#include <memory>
#include <optional>

namespace murvel {

inline constexpr std::int32_t eventSourceStateHIDSystemState = 1;
inline constexpr std::int32_t hidEventTap = 0;

// A synthetic keyboard event: a virtual key code, up or down, and its modifier flags.
struct KeyboardEvent {
  std::uint16_t virtualKey = 0;
  bool keyDown = false;
  std::uint64_t flags = 0;

  friend bool operator==(const KeyboardEvent&, const KeyboardEvent&) = default;
};

class EventSource {
 public:
  virtual ~EventSource() = default;
};

// Posts synthetic keystrokes to the desktop as if typed.
class KeyEventPoster {
 public:
  virtual ~KeyEventPoster() = default;

  // An event source of the given state, or null.
  virtual std::shared_ptr<EventSource> eventSourceCreate(std::int32_t stateID) = 0;

  // A keyboard event from `source` (which may be null), or nothing.
  virtual std::optional<KeyboardEvent> keyboardEventCreate(const EventSource* source,
                                                           std::uint16_t virtualKey,
                                                           bool keyDown) = 0;

  // Posts the event to the tap. Nothing is reported back.
  virtual void eventPost(std::int32_t tap, const KeyboardEvent& event) = 0;
};

}  // namespace murvel
