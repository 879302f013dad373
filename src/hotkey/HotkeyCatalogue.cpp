#include "hotkey/HotkeyCatalogue.h"

#include <algorithm>

#include "common/Text.h"

namespace murvel {

const std::vector<MurvelHotkeyOption>& murvelHotkeyOptions() {
  // Built once, on first use; the initialisation of a local static is thread-safe.
  static const std::vector<MurvelHotkeyOption> options = {
      {"fn", "Fn", "Fn", "Fn (Function key)", KeyCode::function, ModifierFlag::function},
      {"right_cmd", "Right Command", "Right \u2318", "Right Command \u2318", KeyCode::rightCommand,
       ModifierFlag::command},
      {"right_option", "Right Option", "Right \u2325", "Right Option \u2325", KeyCode::rightOption,
       ModifierFlag::option},
      {"right_ctrl", "Right Control", "Right \u2303", "Right Control \u2303", KeyCode::rightControl,
       ModifierFlag::control},
      {"capslock", "Caps Lock", "Caps Lock", "Caps Lock", KeyCode::capsLock,
       ModifierFlag::capsLock},
  };
  return options;
}

std::optional<MurvelHotkeyOption> murvelHotkeyOption(std::string_view value) {
  const std::string wanted = lowercasedASCII(trimmedWhitespaceAndNewlines(value));
  const auto& options = murvelHotkeyOptions();
  auto found = std::find_if(options.begin(), options.end(), [&](const MurvelHotkeyOption& option) {
    return option.value == wanted;
  });
  if (found == options.end())
    return std::nullopt;
  return *found;
}

std::optional<MurvelHotkeyOption> murvelHotkeyCaptureOption(const KeyEvent& event) {
  if (event.type != KeyEventType::flagsChanged)
    return std::nullopt;
  const std::uint64_t flags = event.modifierFlags & ModifierFlag::deviceIndependentMask;
  const auto& options = murvelHotkeyOptions();
  auto found = std::find_if(options.begin(), options.end(), [&](const MurvelHotkeyOption& option) {
    return option.keyCode == event.keyCode && (flags & option.modifierFlag) != 0;
  });
  if (found == options.end())
    return std::nullopt;
  return *found;
}

std::string murvelHotkeyHintText() {
  return "Fn, Right Command, Right Option, Right Control, or Caps Lock";
}

std::optional<KeyEvent> murvelHotkeyEvent(std::string_view value, bool down) {
  const auto option = murvelHotkeyOption(value);
  if (!option)
    return std::nullopt;
  return KeyEvent{KeyEventType::flagsChanged, option->keyCode, down ? option->modifierFlag : 0};
}

}  // namespace murvel
