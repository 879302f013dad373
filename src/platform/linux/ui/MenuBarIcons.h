#pragma once

#include <QIcon>
#include <QImage>
#include <QPalette>
#include <optional>
#include <string_view>

#include "shell/controls/Color.h"
#include "shell/controls/StatusItem.h"

namespace murvel::linux_platform::ui {

// Whether this program carries a drawing for the symbol name.
bool hasSymbol(std::string_view name);

// The icon of the menu-bar button. A symbol comes from the program's own drawings; a template
// takes the theme's text colour, a tint colours it whatever its template flag; drawn text keeps
// its own colours. Nothing when the symbol is unknown.
QIcon menuBarIcon(const MenuBarImage& image, const std::optional<Color>& tint,
                  const QPalette& palette);

// The program's own drawing of a state that the panel names by an emoji, `size` pixels square
// in that state's colour; nothing for any other text. It stands in where no font has the emoji.
std::optional<QImage> stateSymbol(const QString& emoji, int size, const QPalette& palette);

// The program's own icon, for its windows.
QIcon applicationIcon();

}  // namespace murvel::linux_platform::ui
