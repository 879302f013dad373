#pragma once

namespace murvel {

enum class FontWeight { regular, medium, semibold, bold };

// The desktop's interface font at a size in points, or its monospaced companion.
struct Font {
  double size = 13;
  FontWeight weight = FontWeight::regular;
  bool monospaced = false;

  static Font system(double size, FontWeight weight = FontWeight::regular) {
    return Font{size, weight, false};
  }
  static Font bold(double size) { return Font{size, FontWeight::bold, false}; }
  static Font monospacedSystem(double size) { return Font{size, FontWeight::regular, true}; }

  friend bool operator==(const Font&, const Font&) = default;
};

}  // namespace murvel
