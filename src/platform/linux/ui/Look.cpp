#include "platform/linux/ui/Look.h"

#include <QApplication>
#include <QFontDatabase>
#include <cmath>

namespace murvel::linux_platform::ui {

namespace {

// Text colour faded towards the window, opaque so that it reads the same on any widget.
QColor faded(const QPalette& palette, double weight) {
  const QColor text = palette.color(QPalette::WindowText);
  const QColor window = palette.color(QPalette::Window);
  const auto mix = [weight](int a, int b) {
    return static_cast<int>(std::lround(a * weight + b * (1.0 - weight)));
  };
  return QColor(mix(text.red(), window.red()), mix(text.green(), window.green()),
                mix(text.blue(), window.blue()));
}

}  // namespace

bool isDark(const QPalette& palette) {
  return palette.color(QPalette::Window).lightness() < 128;
}

QColor colorFor(Color color, const QPalette& palette) {
  const bool dark = isDark(palette);
  // The accent hues in the variants that keep at least 4.5:1 contrast on their background.
  switch (color) {
    case Color::labelColor:
      return palette.color(QPalette::WindowText);
    case Color::secondaryLabelColor:
      return faded(palette, 0.72);
    case Color::tertiaryLabelColor:
      return faded(palette, 0.56);
    case Color::systemRedColor:
      return dark ? QColor(0xFF, 0x69, 0x61) : QColor(0xC4, 0x1E, 0x14);
    case Color::systemOrangeColor:
      return dark ? QColor(0xFF, 0xB3, 0x40) : QColor(0xA8, 0x4B, 0x00);
    case Color::systemGreenColor:
      return dark ? QColor(0x30, 0xDB, 0x5B) : QColor(0x1E, 0x7A, 0x34);
    case Color::systemBlueColor:
      return dark ? QColor(0x40, 0x9C, 0xFF) : QColor(0x00, 0x4F, 0xD6);
    case Color::windowBackgroundColor:
      return palette.color(QPalette::Window);
    case Color::clearColor:
      return Qt::transparent;
  }
  return palette.color(QPalette::WindowText);
}

QFont fontFor(const Font& font) {
  QFont result =
      font.monospaced ? QFontDatabase::systemFont(QFontDatabase::FixedFont) : QApplication::font();
  result.setPixelSize(std::max(1, static_cast<int>(std::lround(font.size))));
  switch (font.weight) {
    case FontWeight::regular:
      result.setWeight(QFont::Normal);
      break;
    case FontWeight::medium:
      result.setWeight(QFont::Medium);
      break;
    case FontWeight::semibold:
      result.setWeight(QFont::DemiBold);
      break;
    case FontWeight::bold:
      result.setWeight(QFont::Bold);
      break;
  }
  return result;
}

QFont fontFor(ControlSize size) {
  return fontFor(Font::system(size == ControlSize::small ? 11 : 13));
}

}  // namespace murvel::linux_platform::ui
