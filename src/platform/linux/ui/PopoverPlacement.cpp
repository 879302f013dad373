#include "platform/linux/ui/PopoverPlacement.h"

#include <algorithm>

namespace murvel::linux_platform::ui {

namespace {
// Space between the button and the panel.
constexpr int gap = 2;
}  // namespace

QRect popoverFrame(const QRect& anchor, const QSize& size, const QRect& screen,
                   const QPoint& pointer) {
  const QRect from = anchor.isEmpty() ? QRect(pointer, QSize(1, 1)) : anchor;
  const int roomBelow = screen.bottom() - from.bottom() - gap;
  const int roomAbove = from.top() - screen.top() - gap;
  const bool below = roomBelow >= size.height() || roomBelow >= roomAbove;
  int x = from.x() + from.width() / 2 - size.width() / 2;
  int y = below ? from.bottom() + 1 + gap : from.top() - gap - size.height();
  x = std::clamp(x, screen.left(), std::max(screen.left(), screen.right() + 1 - size.width()));
  y = std::clamp(y, screen.top(), std::max(screen.top(), screen.bottom() + 1 - size.height()));
  return {QPoint(x, y), size};
}

}  // namespace murvel::linux_platform::ui
