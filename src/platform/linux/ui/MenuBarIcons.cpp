#include "platform/linux/ui/MenuBarIcons.h"

#include <QFile>
#include <QFont>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <array>
#include <cmath>

#include "platform/linux/ui/Look.h"

namespace murvel::linux_platform::ui {

namespace {

// The sizes a tray asks for, from a small panel to a large one.
constexpr std::array<int, 5> iconSizes{16, 22, 24, 32, 48};

QString symbolPath(std::string_view name) {
  return QStringLiteral(":/murvel/icons/%1.svg")
      .arg(QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())));
}

// The symbols are drawn in black with their inner shapes in white. As a mask: black is the
// colour, white is see-through, so that the icon shows as one colour with cut-outs.
QImage asMask(const QImage& drawn, const QColor& color) {
  QImage result(drawn.size(), QImage::Format_ARGB32_Premultiplied);
  result.fill(Qt::transparent);
  for (int y = 0; y < drawn.height(); ++y) {
    for (int x = 0; x < drawn.width(); ++x) {
      const QColor pixel = drawn.pixelColor(x, y);
      const double coverage = pixel.alphaF() * (1.0 - pixel.lightnessF());
      QColor out = color;
      out.setAlphaF(coverage * color.alphaF());
      result.setPixelColor(x, y, out);
    }
  }
  return result;
}

QImage renderSymbol(QSvgRenderer& renderer, int size) {
  QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  renderer.render(&painter, QRectF(0, 0, size, size));
  return image;
}

QImage renderText(const MenuBarImage& image, int size) {
  QImage result(size, size, QImage::Format_ARGB32_Premultiplied);
  result.fill(Qt::transparent);
  QPainter painter(&result);
  painter.setRenderHint(QPainter::TextAntialiasing);
  const double canvas = image.canvas.width > 0 ? image.canvas.width : 18;
  const double scale = size / canvas;
  QFont font = fontFor(Font::system(image.pointSize > 0 ? image.pointSize : 14));
  font.setPixelSize(std::max(1, static_cast<int>(std::lround(font.pixelSize() * scale))));
  painter.setFont(font);
  painter.drawText(QRect(0, 0, size, size), Qt::AlignCenter, QString::fromStdString(image.name));
  return result;
}

// The panel's state emoji, each with the drawing and the colour that stand for it.
struct StateSymbol {
  const char32_t emoji;
  const char* symbol;
  Color color;
};
constexpr std::array<StateSymbol, 5> stateSymbols{{
    {U'\U0001F3A4', "mic.circle.fill", Color::labelColor},
    {U'\U0001F534', "record.circle.fill", Color::systemRedColor},
    {U'\u23F3', "hourglass.circle.fill", Color::systemOrangeColor},
    {U'\u2705', "checkmark.circle.fill", Color::systemGreenColor},
    {U'\u26A0', "exclamationmark.triangle.fill", Color::systemOrangeColor},
}};

}  // namespace

std::optional<QImage> stateSymbol(const QString& emoji, int size, const QPalette& palette) {
  // A variation selector after the character only asks for its colour presentation.
  QList<uint> characters = emoji.toUcs4();
  characters.removeAll(0xFE0F);
  if (characters.size() != 1)
    return std::nullopt;
  for (const StateSymbol& state : stateSymbols) {
    if (characters.front() != state.emoji)
      continue;
    QSvgRenderer renderer(symbolPath(state.symbol));
    if (!renderer.isValid())
      return std::nullopt;
    return asMask(renderSymbol(renderer, size), colorFor(state.color, palette));
  }
  return std::nullopt;
}

bool hasSymbol(std::string_view name) {
  return !name.empty() && QFile::exists(symbolPath(name));
}

QIcon menuBarIcon(const MenuBarImage& image, const std::optional<Color>& tint,
                  const QPalette& palette) {
  QIcon icon;
  if (image.kind == MenuBarImage::Kind::drawnText) {
    for (int size : iconSizes) icon.addPixmap(QPixmap::fromImage(renderText(image, size)));
    return icon;
  }
  QSvgRenderer renderer(symbolPath(image.name));
  if (!renderer.isValid())
    return icon;
  std::optional<QColor> color;
  if (tint)
    color = colorFor(*tint, palette);
  else if (image.isTemplate)
    color = palette.color(QPalette::WindowText);
  for (int size : iconSizes) {
    const QImage drawn = renderSymbol(renderer, size);
    icon.addPixmap(QPixmap::fromImage(color ? asMask(drawn, *color) : drawn));
  }
  return icon;
}

QIcon applicationIcon() {
  return QIcon(QStringLiteral(":/murvel/icons/murvel.svg"));
}

}  // namespace murvel::linux_platform::ui
