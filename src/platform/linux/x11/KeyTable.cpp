#include "platform/linux/x11/KeyTable.h"

#include <array>
#include <utility>

#include "hotkey/KeyEvent.h"

namespace murvel::linux_platform::x11 {

namespace {

struct Position {
  unsigned keycode;
  std::uint16_t virtualKey;
};

// Ordinary keys of a standard keyboard, keycode against virtual key code.
constexpr std::array<Position, 95> positions{{
    {9, 53},                                                                // Escape
    {10, 18},   {11, 19},   {12, 20},   {13, 21},   {14, 23},   {15, 22},   // 1 2 3 4 5 6
    {16, 26},   {17, 28},   {18, 25},   {19, 29},   {20, 27},   {21, 24},   // 7 8 9 0 - =
    {22, 51},   {23, 48},                                                   // BackSpace Tab
    {24, 12},   {25, 13},   {26, 14},   {27, 15},   {28, 17},   {29, 16},   // q w e r t y
    {30, 32},   {31, 34},   {32, 31},   {33, 35},   {34, 33},   {35, 30},   // u i o p [ ]
    {36, 36},                                                               // Return
    {38, 0},    {39, 1},    {40, 2},    {41, 3},    {42, 5},    {43, 4},    // a s d f g h
    {44, 38},   {45, 40},   {46, 37},   {47, 41},   {48, 39},   {49, 50},   // j k l ; ' `
    {51, 42},                                                               // backslash
    {52, 6},    {53, 7},    {54, 8},    {55, 9},    {56, 11},   {57, 45},   // z x c v b n
    {58, 46},   {59, 43},   {60, 47},   {61, 44},                           // m , . /
    {63, 67},   {65, 49},                                                   // KP_Multiply space
    {67, 122},  {68, 120},  {69, 99},   {70, 118},  {71, 96},   {72, 97},   // F1 - F6
    {73, 98},   {74, 100},  {75, 101},  {76, 109},  {95, 103},  {96, 111},  // F7 - F12
    {79, 89},   {80, 91},   {81, 92},   {82, 78},   {83, 86},   {84, 87},   // keypad 7 8 9 - 4 5
    {85, 88},   {86, 69},   {87, 83},   {88, 84},   {89, 85},   {90, 82},   // keypad 6 + 1 2 3 0
    {91, 65},   {104, 76},  {106, 75},  {125, 81},                          // keypad . Enter / =
    {94, 10},                                                               // the extra ISO key
    {110, 115}, {111, 126}, {112, 116}, {113, 123}, {114, 124},  // Home Up PgUp Left Right
    {115, 119}, {116, 125}, {117, 121}, {118, 114}, {119, 117},  // End Down PgDn Ins Del
    {191, 105}, {192, 107}, {193, 113},                          // F13 F14 F15
}};

constexpr std::array<std::pair<std::uint16_t, char>, 26> letters{{
    {0, 'a'},  {11, 'b'}, {8, 'c'},  {2, 'd'},  {14, 'e'}, {3, 'f'},  {5, 'g'},
    {4, 'h'},  {34, 'i'}, {38, 'j'}, {40, 'k'}, {37, 'l'}, {46, 'm'}, {45, 'n'},
    {31, 'o'}, {35, 'p'}, {12, 'q'}, {15, 'r'}, {1, 's'},  {17, 't'}, {32, 'u'},
    {9, 'v'},  {13, 'w'}, {7, 'x'},  {16, 'y'}, {6, 'z'},
}};

}  // namespace

std::optional<ModifierKey> modifierKeyFor(unsigned keycode) {
  switch (keycode) {
    case Keycode::leftControl:
      return ModifierKey{KeyCode::leftControl, ModifierFlag::control};
    case Keycode::rightControl:
      return ModifierKey{KeyCode::rightControl, ModifierFlag::control};
    case Keycode::leftAlt:
      return ModifierKey{KeyCode::leftOption, ModifierFlag::option};
    case Keycode::rightAlt:
      return ModifierKey{KeyCode::rightOption, ModifierFlag::option};
    case Keycode::leftSuper:
      return ModifierKey{KeyCode::leftCommand, ModifierFlag::command};
    case Keycode::rightSuper:
      return ModifierKey{KeyCode::rightCommand, ModifierFlag::command};
    case Keycode::leftShift:
      return ModifierKey{KeyCode::leftShift, ModifierFlag::shift};
    case Keycode::rightShift:
      return ModifierKey{KeyCode::rightShift, ModifierFlag::shift};
    case Keycode::capsLock:
      return ModifierKey{KeyCode::capsLock, ModifierFlag::capsLock};
    default:
      return std::nullopt;
  }
}

std::uint16_t virtualKeyFor(unsigned keycode) {
  for (const auto& position : positions) {
    if (position.keycode == keycode)
      return position.virtualKey;
  }
  return unknownVirtualKey;
}

std::optional<unsigned> keycodeFor(std::uint16_t virtualKey) {
  for (const auto& position : positions) {
    if (position.virtualKey == virtualKey)
      return position.keycode;
  }
  for (unsigned keycode = 8; keycode < 256; ++keycode) {
    auto modifier = modifierKeyFor(keycode);
    if (modifier && modifier->virtualKey == virtualKey)
      return keycode;
  }
  return std::nullopt;
}

std::optional<char> letterFor(std::uint16_t virtualKey) {
  for (const auto& [key, letter] : letters) {
    if (key == virtualKey)
      return letter;
  }
  return std::nullopt;
}

}  // namespace murvel::linux_platform::x11
