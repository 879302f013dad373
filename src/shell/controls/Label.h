#pragma once

#include <optional>
#include <string>

#include "shell/controls/Color.h"
#include "shell/controls/Control.h"
#include "shell/controls/Font.h"

namespace murvel {

enum class TextAlignment { left, center, right };
enum class LineBreakMode { wordWrapping, truncatingTail, truncatingMiddle };

// A piece of text that the user reads but does not edit.
class Label : public Control {
 public:
  explicit Label(std::string text = {}, Color color = Color::labelColor)
      : text_(std::move(text)), textColor_(color) {}
  ControlKind kind() const override { return ControlKind::label; }

  const std::string& text() const { return text_; }
  void setText(std::string text) { assign(text_, std::move(text)); }
  Color textColor() const { return textColor_; }
  void setTextColor(Color color) { assign(textColor_, color); }
  const Font& font() const { return font_; }
  void setFont(Font font) { assign(font_, font); }
  TextAlignment alignment() const { return alignment_; }
  void setAlignment(TextAlignment alignment) { assign(alignment_, alignment); }
  LineBreakMode lineBreakMode() const { return lineBreakMode_; }
  void setLineBreakMode(LineBreakMode mode) { assign(lineBreakMode_, mode); }
  // 0: as many lines as the text needs.
  int maximumNumberOfLines() const { return maximumNumberOfLines_; }
  void setMaximumNumberOfLines(int lines) { assign(maximumNumberOfLines_, lines); }
  // A filled, rounded background behind the text (a badge), or none.
  const std::optional<Color>& backgroundColor() const { return backgroundColor_; }
  double backgroundAlpha() const { return backgroundAlpha_; }
  double cornerRadius() const { return cornerRadius_; }
  void setBackground(Color color, double alpha, double cornerRadius) {
    assign(backgroundColor_, std::optional<Color>(color));
    assign(backgroundAlpha_, alpha);
    assign(cornerRadius_, cornerRadius);
  }

 private:
  std::string text_;
  Color textColor_;
  Font font_;
  TextAlignment alignment_ = TextAlignment::left;
  LineBreakMode lineBreakMode_ = LineBreakMode::wordWrapping;
  int maximumNumberOfLines_ = 1;
  std::optional<Color> backgroundColor_;
  double backgroundAlpha_ = 1.0;
  double cornerRadius_ = 0;
};

}  // namespace murvel
