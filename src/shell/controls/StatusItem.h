#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "shell/controls/Color.h"
#include "shell/controls/Control.h"
#include "shell/controls/Menu.h"

namespace murvel {

// The picture on the menu-bar button: a symbol drawn by the desktop's icon set, or a short text
// drawn into a small square where the symbol does not exist.
struct MenuBarImage {
  enum class Kind { symbol, drawnText };
  Kind kind = Kind::symbol;
  // The symbol's name, or the text to draw.
  std::string name;
  std::string accessibilityDescription;
  // Symbols: point size and weight. Drawn text: the square's side and the font size.
  double pointSize = 0;
  bool bold = false;
  Size canvas;
  // A template follows the theme's text colour; otherwise the image keeps its own colours.
  bool isTemplate = true;

  friend bool operator==(const MenuBarImage&, const MenuBarImage&) = default;
};

namespace EventMask {
inline constexpr unsigned leftMouseUp = 1u << 2;   // 4
inline constexpr unsigned rightMouseUp = 1u << 4;  // 16
}  // namespace EventMask

// The button of the menu-bar item (the tray icon).
class StatusItemButton : public Control {
 public:
  ControlKind kind() const override { return ControlKind::statusItemButton; }

  const std::optional<MenuBarImage>& image() const { return image_; }
  void setImage(std::optional<MenuBarImage> image) { assign(image_, std::move(image)); }
  // Sets the template flag of the image now shown.
  void setImageTemplate(bool isTemplate) {
    if (!image_ || image_->isTemplate == isTemplate)
      return;
    image_->isTemplate = isTemplate;
    notify(ControlEvent::changed);
  }
  const std::optional<Color>& contentTintColor() const { return tint_; }
  void setContentTintColor(std::optional<Color> tint) { assign(tint_, tint); }
  // The mouse events that send the action.
  unsigned sendActionOnMask() const { return sendActionOn_; }
  void sendActionOn(unsigned mask) { assign(sendActionOn_, mask); }

  std::function<void()> action;

  // The menu attached to the item, if any.
  const std::shared_ptr<Menu>& menu() const { return menu_; }
  void setMenu(std::shared_ptr<Menu> menu) { assign(menu_, std::move(menu)); }
  // Clicks the button: with a menu attached, the toolkit opens it; with none, the action runs.
  void performClick() {
    if (menu_) {
      notify(ControlEvent::performClick);
    } else if (action) {
      action();
    }
  }

 private:
  std::optional<MenuBarImage> image_;
  std::optional<Color> tint_;
  unsigned sendActionOn_ = EventMask::leftMouseUp;
  std::shared_ptr<Menu> menu_;
};

// The item in the menu bar. It stays until it is removed.
class StatusItem {
 public:
  // -2: a square item.
  static constexpr double squareLength = -2;

  explicit StatusItem(double length = squareLength, bool hasButton = true)
      : length_(length), button_(hasButton ? std::make_unique<StatusItemButton>() : nullptr) {}

  double length() const { return length_; }
  // Null when the platform gives the item no button.
  StatusItemButton* button() const { return button_.get(); }
  bool isRemoved() const { return removed_; }
  void remove() {
    removed_ = true;
    if (button_)
      button_->setHidden(true);
  }

 private:
  double length_;
  std::unique_ptr<StatusItemButton> button_;
  bool removed_ = false;
};

}  // namespace murvel
