#pragma once

namespace murvel {

// The semantic colours the surfaces use; the toolkit maps them to its palette.
enum class Color {
  labelColor,
  secondaryLabelColor,
  tertiaryLabelColor,
  systemRedColor,
  systemOrangeColor,
  systemGreenColor,
  systemBlueColor,
};

}  // namespace murvel
