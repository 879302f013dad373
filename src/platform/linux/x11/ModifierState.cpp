#include "platform/linux/x11/ModifierState.h"

#include <utility>

namespace murvel::linux_platform::x11 {

void ModifierState::setFunctionKeycodes(std::set<unsigned> keycodes) {
  functionKeycodes_ = std::move(keycodes);
  std::erase_if(held_, [this](unsigned keycode) { return !modifierFor(keycode); });
}

void ModifierState::reset(const std::set<unsigned>& heldKeycodes, bool capsLocked) {
  held_.clear();
  for (unsigned keycode : heldKeycodes) {
    if (modifierFor(keycode))
      held_.insert(keycode);
  }
  capsLocked_ = capsLocked;
}

std::optional<ModifierKey> ModifierState::modifierFor(unsigned keycode) const {
  if (auto fixed = modifierKeyFor(keycode))
    return fixed;
  if (functionKeycodes_.contains(keycode))
    return ModifierKey{KeyCode::function, ModifierFlag::function};
  return std::nullopt;
}

std::optional<KeyEvent> ModifierState::apply(unsigned keycode, bool press) {
  if (modifierFor(keycode)) {
    if (press)
      held_.insert(keycode);
    else
      held_.erase(keycode);
    return KeyEvent{KeyEventType::flagsChanged, modifierFor(keycode)->virtualKey, flags()};
  }
  if (!press)
    return std::nullopt;
  return KeyEvent{KeyEventType::keyDown, virtualKeyFor(keycode), flags()};
}

std::uint64_t ModifierState::flags() const {
  std::uint64_t flags = capsLocked_ ? ModifierFlag::capsLock : 0;
  for (unsigned keycode : held_) {
    auto modifier = modifierFor(keycode);
    // The Caps Lock flag is the lock's state, not the key's position.
    if (modifier && modifier->flag != ModifierFlag::capsLock)
      flags |= modifier->flag;
  }
  return flags;
}

}  // namespace murvel::linux_platform::x11
