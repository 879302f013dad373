#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hotkey/HotkeyCatalogue.h"

namespace murvel {
namespace {

TEST(HotkeyCatalogueTest, LookUpByStringTrimsAndIgnoresCaseOfTheInputOnly) {
  EXPECT_EQ(murvelHotkeyOption(" \t RIGHT_Cmd\n")->value, "right_cmd");
  EXPECT_EQ(murvelHotkeyOption("CapsLock")->value, "capslock");
  EXPECT_EQ(murvelHotkeyOption("\u00A0fn\u2003")->value, "fn");  // Unicode blanks trim too
  for (const char* unknown : {"", "right cmd", "right_command", "left_cmd"}) {
    EXPECT_EQ(murvelHotkeyOption(unknown), std::nullopt) << unknown;
  }
}

struct EventCase {
  std::uint64_t type;
  std::uint16_t keyCode;
  std::uint64_t flags;
  std::optional<std::string> expected;
  friend void PrintTo(const EventCase& c, std::ostream* out) {
    *out << "type " << c.type << " key " << c.keyCode << " flags 0x" << std::hex << c.flags;
  }
};

class CaptureLookupTest : public ::testing::TestWithParam<EventCase> {};

TEST_P(CaptureLookupTest, MatchesOnlyTheDownEdgeOfAListedKey) {
  const auto& c = GetParam();
  const auto found = murvelHotkeyCaptureOption(KeyEvent{c.type, c.keyCode, c.flags});
  EXPECT_EQ(found ? std::optional<std::string>(found->value) : std::nullopt, c.expected);
}

constexpr std::uint64_t command = ModifierFlag::command;
INSTANTIATE_TEST_SUITE_P(
    Events, CaptureLookupTest,
    ::testing::Values(
        EventCase{12, 54, command, "right_cmd"},
        // Other modifiers and the device-dependent low bits change nothing.
        EventCase{12, 54, command | ModifierFlag::shift | ModifierFlag::option | 0x8, "right_cmd"},
        EventCase{12, 55, command, std::nullopt},  // the left Command key
        EventCase{12, 54, 0, std::nullopt},        // the key coming up
        EventCase{12, 54, 0x8, std::nullopt},      // only a low bit: not the Command flag
        EventCase{12, 57, ModifierFlag::capsLock, "capslock"},
        EventCase{12, 57, 0, std::nullopt},  // the tap that turns the lock off
        EventCase{12, 62, ModifierFlag::control, "right_ctrl"},
        EventCase{12, 61, ModifierFlag::option, "right_option"},
        EventCase{12, 63, ModifierFlag::function, "fn"},
        EventCase{10, 63, ModifierFlag::function, std::nullopt}));  // key-down never maps

}  // namespace
}  // namespace murvel
