#pragma once

namespace murvel {

// The semantic colours the surfaces use; the toolkit maps them to its palette, so they read in
// dark and light themes alike.
enum class Color {
  labelColor,
  secondaryLabelColor,
  tertiaryLabelColor,
  systemRedColor,
  systemOrangeColor,
  systemGreenColor,
  systemBlueColor,
  windowBackgroundColor,
  clearColor,
};

}  // namespace murvel
