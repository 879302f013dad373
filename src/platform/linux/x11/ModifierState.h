#pragma once

#include <optional>
#include <set>

#include "hotkey/KeyEvent.h"
#include "platform/linux/x11/KeyTable.h"

namespace murvel::linux_platform::x11 {

// Turns raw key presses and releases into key events: the modifier flags come from the set of
// modifier keys held now and from the Caps Lock state, not from any one key.
class ModifierState {
 public:
  // Keycodes that the keymap gives the Fn keysym; they count as the Function key.
  void setFunctionKeycodes(std::set<unsigned> keycodes);

  // Starts over from the keys held and the lock state that the server reports.
  void reset(const std::set<unsigned>& heldKeycodes, bool capsLocked);

  bool hasFunctionKeycodes() const { return !functionKeycodes_.empty(); }

  void setCapsLocked(bool locked) { capsLocked_ = locked; }
  bool capsLocked() const { return capsLocked_; }

  std::optional<ModifierKey> modifierFor(unsigned keycode) const;

  // The event for a press or release, with the flags after it: a flags-changed event for a
  // modifier key, a key-down event for the press of any other key, nothing for its release.
  std::optional<KeyEvent> apply(unsigned keycode, bool press);

  std::uint64_t flags() const;

 private:
  std::set<unsigned> functionKeycodes_;
  std::set<unsigned> held_;  // modifier keys only
  bool capsLocked_ = false;
};

}  // namespace murvel::linux_platform::x11
