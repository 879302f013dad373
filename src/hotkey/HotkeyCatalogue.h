#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hotkey/KeyEvent.h"

namespace murvel {

// One of the keys that can drive dictation.
struct MurvelHotkeyOption {
  std::string value;         // the stable token the setting stores
  std::string displayName;   // the name in sentences
  std::string compactLabel;  // the short name
  std::string pickerLabel;   // the long name
  std::uint16_t keyCode = 0;
  std::uint64_t modifierFlag = 0;

  friend bool operator==(const MurvelHotkeyOption&, const MurvelHotkeyOption&) = default;
};

// The five supported keys, in the order the pickers show them. "fn" comes first.
const std::vector<MurvelHotkeyOption>& murvelHotkeyOptions();

// The option whose token equals `value` once trimmed of whitespace and lower-cased, or nothing.
std::optional<MurvelHotkeyOption> murvelHotkeyOption(std::string_view value);

// The modifier-change event that the key of hotkey `value` makes going down or coming up, with
// no other modifier held; nothing for an unknown hotkey.
std::optional<KeyEvent> murvelHotkeyEvent(std::string_view value, bool down);

// The option whose key went down in this modifier-change event, or nothing.
std::optional<MurvelHotkeyOption> murvelHotkeyCaptureOption(const KeyEvent& event);

// The sentence fragment that names every supported key.
std::string murvelHotkeyHintText();

}  // namespace murvel
