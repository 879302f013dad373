#pragma once

#include <optional>
#include <string>

#include "shell/controls/Color.h"
#include "shell/controls/Control.h"
#include "shell/controls/Window.h"

namespace murvel {

// The image of the menu-bar button: a symbol, with the text to draw where the symbol is missing.
struct MenuBarImage {
  std::string symbolName;
  std::string fallback;
  bool isTemplate = true;
  friend bool operator==(const MenuBarImage&, const MenuBarImage&) = default;
};

class StatusItemButton : public Control {
 public:
  const std::optional<MenuBarImage>& image() const { return image_; }
  void setImage(MenuBarImage image) {
    assign(image_, std::optional<MenuBarImage>(std::move(image)));
  }
  const std::optional<Color>& contentTintColor() const { return tint_; }
  void setContentTintColor(std::optional<Color> tint) { assign(tint_, tint); }

 private:
  std::optional<MenuBarImage> image_;
  std::optional<Color> tint_;
};

// The item in the menu bar (the tray icon on Linux). It shows while `presence` is visible;
// removing it from the bar hides it for good.
struct StatusItem {
  WindowRecord presence;
  std::optional<StatusItemButton> button{StatusItemButton{}};
};

// The host of the panel under the menu-bar item.
struct Popover {
  WindowRecord window;
  bool isShown() const { return window.isVisible(); }
};

}  // namespace murvel
