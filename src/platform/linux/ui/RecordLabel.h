#pragma once

#include <QLabel>
#include <optional>

namespace murvel::linux_platform::ui {

// A label that shows at most a given number of lines, wrapped at word boundaries, and shortens
// the last one with an ellipsis (at its end, or in its middle) rather than clipping glyphs. A
// single line first shrinks a little to fit. It can
// stand on a rounded, filled background: a badge. text() keeps the whole text.
class RecordLabel final : public QLabel {
 public:
  enum class Elide { tail, middle };

  explicit RecordLabel(QWidget* parent);

  // 0: as many lines as the text needs.
  void setLines(int maximum, Elide elide);
  void setBadge(std::optional<QColor> fill, double cornerRadius);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;
  bool hasHeightForWidth() const override;
  int heightForWidth(int width) const override;

  // The lines as they are drawn at `width`, the last one shortened if the text goes on.
  QStringList visibleLines(int width) const;
  // The font the text is drawn in at `width`.
  QFont fontAt(int width) const;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  bool wraps() const { return maximumLines_ != 1; }
  int lineCount(int width) const;

  int maximumLines_ = 1;
  Elide elide_ = Elide::tail;
  std::optional<QColor> badge_;
  double cornerRadius_ = 0;
};

}  // namespace murvel::linux_platform::ui
