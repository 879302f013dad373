#pragma once

#include <string>

#include "shell/controls/Color.h"
#include "shell/controls/Control.h"

namespace murvel {

class Label : public Control {
 public:
  explicit Label(std::string text = {}, Color color = Color::labelColor)
      : text_(std::move(text)), color_(color) {}

  const std::string& text() const { return text_; }
  void setText(std::string text) { assign(text_, std::move(text)); }
  Color color() const { return color_; }
  void setColor(Color color) { assign(color_, color); }

 private:
  std::string text_;
  Color color_;
};

// A scrolling text box: the same properties as a label.
using TextView = Label;

}  // namespace murvel
