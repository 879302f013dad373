#pragma once

#include <functional>
#include <string>

#include "shell/controls/Control.h"
#include "shell/controls/Font.h"

namespace murvel {

// An editable one-line text field. Return reaches `action`.
class TextField : public Control {
 public:
  ControlKind kind() const override { return ControlKind::textField; }

  const std::string& stringValue() const { return value_; }
  void setStringValue(std::string value) { assign(value_, std::move(value)); }
  const std::string& placeholderString() const { return placeholder_; }
  void setPlaceholderString(std::string placeholder) {
    assign(placeholder_, std::move(placeholder));
  }
  const Font& font() const { return font_; }
  void setFont(Font font) { assign(font_, font); }

  std::function<void()> action;
  // The user typed: the toolkit writes what the field now holds.
  void userEdited(std::string value) { setStringValue(std::move(value)); }
  void pressReturn() {
    if (action)
      action();
  }

 private:
  std::string value_;
  std::string placeholder_;
  Font font_;
};

}  // namespace murvel
