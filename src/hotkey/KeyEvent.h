#pragma once

#include <cstdint>

namespace murvel {

// A keyboard event as three plain values, numbered the way the hotkey table numbers them:
// virtual key codes, and modifier flags with one bit per modifier.
struct KeyEvent {
  std::uint64_t type = 0;
  std::uint16_t keyCode = 0;
  std::uint64_t modifierFlags = 0;

  friend bool operator==(const KeyEvent&, const KeyEvent&) = default;
};

namespace KeyEventType {
inline constexpr std::uint64_t keyDown = 10;
inline constexpr std::uint64_t flagsChanged = 12;
}  // namespace KeyEventType

namespace KeyEventMask {
inline constexpr std::uint64_t keyDown = 1ull << KeyEventType::keyDown;            // 0x400
inline constexpr std::uint64_t flagsChanged = 1ull << KeyEventType::flagsChanged;  // 0x1000
}  // namespace KeyEventMask

namespace ModifierFlag {
inline constexpr std::uint64_t capsLock = 0x10000;
inline constexpr std::uint64_t shift = 0x20000;
inline constexpr std::uint64_t control = 0x40000;
inline constexpr std::uint64_t option = 0x80000;
inline constexpr std::uint64_t command = 0x100000;
inline constexpr std::uint64_t function = 0x800000;
// The device-independent part of the flags; the low bits tell left from right and are ignored.
inline constexpr std::uint64_t deviceIndependentMask = 0xffff0000;
}  // namespace ModifierFlag

namespace KeyCode {
inline constexpr std::uint16_t v = 9;
inline constexpr std::uint16_t escape = 53;
inline constexpr std::uint16_t rightCommand = 54;
inline constexpr std::uint16_t leftCommand = 55;
inline constexpr std::uint16_t leftShift = 56;
inline constexpr std::uint16_t capsLock = 57;
inline constexpr std::uint16_t leftOption = 58;
inline constexpr std::uint16_t leftControl = 59;
inline constexpr std::uint16_t rightShift = 60;
inline constexpr std::uint16_t rightOption = 61;
inline constexpr std::uint16_t rightControl = 62;
inline constexpr std::uint16_t function = 63;
}  // namespace KeyCode

}  // namespace murvel
