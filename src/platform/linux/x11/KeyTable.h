#pragma once

#include <cstdint>
#include <optional>

namespace murvel::linux_platform::x11 {

// X keycodes are evdev codes + 8 and name a position on the keyboard, as the virtual key codes
// of the hotkey table do, so the two are translated position by position.

// The code given to a key that has no place in the table: neither Escape nor a modifier's.
inline constexpr std::uint16_t unknownVirtualKey = 0xffff;

// The keys whose press and release change the modifier flags.
struct ModifierKey {
  std::uint16_t virtualKey = 0;
  std::uint64_t flag = 0;
};

std::optional<ModifierKey> modifierKeyFor(unsigned keycode);

// The virtual key code of an ordinary key, or unknownVirtualKey.
std::uint16_t virtualKeyFor(unsigned keycode);

// The keycode at the position of `virtualKey` on a standard keyboard, or nothing.
std::optional<unsigned> keycodeFor(std::uint16_t virtualKey);

// The lower-case letter at `virtualKey` on a US layout, or nothing for keys that are not letters.
std::optional<char> letterFor(std::uint16_t virtualKey);

namespace Keycode {
inline constexpr unsigned escape = 9;
inline constexpr unsigned leftControl = 37;
inline constexpr unsigned leftShift = 50;
inline constexpr unsigned rightShift = 62;
inline constexpr unsigned leftAlt = 64;
inline constexpr unsigned capsLock = 66;
inline constexpr unsigned rightControl = 105;
inline constexpr unsigned rightAlt = 108;
inline constexpr unsigned leftSuper = 133;
inline constexpr unsigned rightSuper = 134;
}  // namespace Keycode

}  // namespace murvel::linux_platform::x11
