#pragma once

#include <string>

#include "shell/controls/Color.h"
#include "shell/controls/Control.h"
#include "shell/controls/Font.h"

namespace murvel {

// A box of running text, selectable and possibly editable, shown inside a ScrollView.
class TextView : public Control {
 public:
  explicit TextView(std::string string = {}, Color color = Color::labelColor)
      : string_(std::move(string)), textColor_(color) {}
  ControlKind kind() const override { return ControlKind::textView; }

  const std::string& string() const { return string_; }
  void setString(std::string string) { assign(string_, std::move(string)); }
  Color textColor() const { return textColor_; }
  void setTextColor(Color color) { assign(textColor_, color); }
  const Font& font() const { return font_; }
  void setFont(Font font) { assign(font_, font); }
  bool isEditable() const { return editable_; }
  void setEditable(bool editable) { assign(editable_, editable); }
  bool isSelectable() const { return selectable_; }
  void setSelectable(bool selectable) { assign(selectable_, selectable); }
  Color backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(Color color) { assign(backgroundColor_, color); }
  // Space between the frame and the text, horizontally and vertically.
  Size textContainerInset() const { return inset_; }
  void setTextContainerInset(Size inset) { assign(inset_, inset); }

 private:
  std::string string_;
  Color textColor_;
  Font font_;
  bool editable_ = true;
  bool selectable_ = true;
  Color backgroundColor_ = Color::clearColor;
  Size inset_;
};

}  // namespace murvel
