#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

#include "shell/controls/Color.h"
#include "shell/controls/Control.h"
#include "shell/controls/Font.h"

namespace murvel::linux_platform::ui {

// Whether the palette is a dark theme: light text on a dark window.
bool isDark(const QPalette& palette);

// The semantic colour in the given palette, chosen to stay readable on that palette's window in
// dark and light themes alike.
QColor colorFor(Color color, const QPalette& palette);

// The desktop's interface font (or its fixed-width companion) at the record's size. Sizes are
// taken as pixels, so that the fixed layouts of the panel and the window keep their proportions.
QFont fontFor(const Font& font);

// The font of a control that has no font of its own, at its control size.
QFont fontFor(ControlSize size);

}  // namespace murvel::linux_platform::ui
