#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

namespace murvel::linux_platform::ui {

// Where a panel of `size` opens for a menu-bar button at `anchor`, on a screen whose usable area
// is `screen`: centred under the button; above it when there is no room below (a panel at the
// bottom edge of the screen); at `pointer` when the tray does not tell where the button is
// (`anchor` empty). The panel always lies inside the screen.
QRect popoverFrame(const QRect& anchor, const QSize& size, const QRect& screen,
                   const QPoint& pointer);

}  // namespace murvel::linux_platform::ui
