#include "platform/linux/ui/RecordLabel.h"

#include <QGlyphRun>
#include <QPainter>
#include <QTextLayout>
#include <algorithm>
#include <cmath>

#include "platform/linux/ui/MenuBarIcons.h"

namespace murvel::linux_platform::ui {

namespace {

// Line breaks of the text become line separators, which QTextLayout honours.
QString laidOutText(const QString& text) {
  QString result = text;
  result.replace(QLatin1Char('\n'), QChar::LineSeparator);
  return result;
}

// Room for the ellipsis itself and a character or two on each side of it.
constexpr int minimumElidedCharacters = 4;

// How far a single line may shrink to fit before it is shortened: the desktop's font often runs
// wider than the one the fixed layouts were drawn for, and a pixel or two less reads better than
// a lost end.
constexpr double smallestFit = 0.85;

QString singleLine(const QString& text) {
  QString result = text;
  result.replace(QLatin1Char('\n'), QLatin1Char(' '));
  return result;
}

// Whether some font of the desktop has a glyph for every character of `text`: a missing one
// would be drawn as an empty box.
bool drawsWhole(const QString& text, const QFont& font) {
  QTextLayout layout(text, font);
  layout.beginLayout();
  layout.createLine().setLineWidth(1e6);
  layout.endLayout();
  for (const QGlyphRun& run : layout.glyphRuns()) {
    const QList<quint32> glyphs = run.glyphIndexes();
    if (glyphs.contains(0))
      return false;
  }
  return true;
}

}  // namespace

RecordLabel::RecordLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
}

void RecordLabel::setLines(int maximum, Elide elide) {
  if (maximum == maximumLines_ && elide == elide_)
    return;
  maximumLines_ = maximum;
  elide_ = elide;
  QSizePolicy policy = sizePolicy();
  policy.setHeightForWidth(wraps());
  setSizePolicy(policy);
  updateGeometry();
  update();
}

void RecordLabel::setBadge(std::optional<QColor> fill, double cornerRadius) {
  if (fill == badge_ && cornerRadius == cornerRadius_)
    return;
  badge_ = fill;
  cornerRadius_ = cornerRadius;
  update();
}

QFont RecordLabel::fontAt(int width) const {
  if (wraps())
    return font();
  const QString single = singleLine(text());
  QFont fitted = font();
  const int natural = QFontInfo(fitted).pixelSize();
  const int smallest = std::max(1, static_cast<int>(std::ceil(natural * smallestFit)));
  for (int size = natural; size >= smallest; --size) {
    fitted.setPixelSize(size);
    if (QFontMetrics(fitted).horizontalAdvance(single) <= width)
      return fitted;
  }
  return fitted;
}

QStringList RecordLabel::visibleLines(int width) const {
  width = std::max(width, 1);
  const Qt::TextElideMode mode = elide_ == Elide::middle ? Qt::ElideMiddle : Qt::ElideRight;
  if (!wraps())
    return {QFontMetrics(fontAt(width)).elidedText(singleLine(text()), mode, width)};
  const QFontMetrics metrics(font());
  const QString all = laidOutText(text());
  QTextLayout layout(all, font());
  layout.beginLayout();
  QStringList lines;
  while (true) {
    QTextLine line = layout.createLine();
    if (!line.isValid())
      break;
    line.setLineWidth(width);
    const bool last = maximumLines_ > 0 && lines.size() + 1 == maximumLines_;
    if (last && line.textStart() + line.textLength() < all.size()) {
      // The rest of the text does not fit: the last line shows its start, shortened.
      QString rest = all.mid(line.textStart());
      rest.replace(QChar::LineSeparator, QLatin1Char(' '));
      lines.push_back(metrics.elidedText(rest, mode, width));
      break;
    }
    lines.push_back(all.mid(line.textStart(), line.textLength()).trimmed());
    if (last)
      break;
  }
  layout.endLayout();
  if (lines.isEmpty())
    lines.push_back(QString());
  return lines;
}

int RecordLabel::lineCount(int width) const {
  return static_cast<int>(visibleLines(width).size());
}

QSize RecordLabel::sizeHint() const {
  const QFontMetrics metrics(font());
  const QMargins margins = contentsMargins();
  int natural = 0;
  for (const QString& paragraph : text().split(QLatin1Char('\n')))
    natural = std::max(natural, metrics.horizontalAdvance(paragraph));
  // A long text that may wrap asks for a line of reasonable length, not for all of it on one.
  if (wraps())
    natural = std::min(natural, metrics.averageCharWidth() * 48);
  const int width = natural + margins.left() + margins.right() + 1;
  return {width, wraps() ? heightForWidth(width)
                         : metrics.lineSpacing() + margins.top() + margins.bottom()};
}

QSize RecordLabel::minimumSizeHint() const {
  const QFontMetrics metrics(font());
  const QMargins margins = contentsMargins();
  const int shortest =
      std::min(sizeHint().width(), metrics.averageCharWidth() * minimumElidedCharacters);
  return {shortest + margins.left() + margins.right(),
          metrics.lineSpacing() + margins.top() + margins.bottom()};
}

bool RecordLabel::hasHeightForWidth() const {
  return wraps();
}

int RecordLabel::heightForWidth(int width) const {
  const QMargins margins = contentsMargins();
  const int inner = width - margins.left() - margins.right();
  return lineCount(inner) * QFontMetrics(font()).lineSpacing() + margins.top() + margins.bottom();
}

void RecordLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  if (badge_) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(*badge_);
    painter.drawRoundedRect(QRectF(rect()), cornerRadius_, cornerRadius_);
  }
  const QRect area = contentsRect();
  const QFont drawn = fontAt(area.width());
  const QFontMetrics metrics(drawn);
  // A state emoji that no font can draw shows as the program's own drawing of that state.
  if (text().size() <= 3 && !drawsWhole(text(), drawn)) {
    const int side = std::min(metrics.height(), area.height());
    const double ratio = devicePixelRatioF();
    if (auto image = stateSymbol(text(), static_cast<int>(std::lround(side * ratio)), palette())) {
      image->setDevicePixelRatio(ratio);
      QRect square(0, 0, side, side);
      square.moveCenter(area.center());
      painter.drawImage(square, *image);
      return;
    }
  }
  const QStringList lines = visibleLines(area.width());
  const int blockHeight = static_cast<int>(lines.size()) * metrics.lineSpacing();
  // The block of lines stands in the middle of the height it is given.
  int top = area.top() + std::max(0, (area.height() - blockHeight) / 2);
  painter.setPen(palette().color(foregroundRole()));
  painter.setFont(drawn);
  const Qt::Alignment horizontal = alignment() & Qt::AlignHorizontal_Mask;
  for (const QString& line : lines) {
    const QRect lineRect(area.left(), top, area.width(), metrics.lineSpacing());
    painter.drawText(lineRect, static_cast<int>(horizontal | Qt::AlignVCenter), line);
    top += metrics.lineSpacing();
  }
}

}  // namespace murvel::linux_platform::ui
