#pragma once

#include <functional>
#include <string>

#include "shell/controls/Control.h"
#include "shell/controls/Font.h"

namespace murvel {

enum class BezelStyle { rounded, plain };

// A push button. `action` is the operation a click reaches; the toolkit only forwards clicks.
class Button : public Control {
 public:
  explicit Button(std::string title = {}) : title_(std::move(title)) {}
  ControlKind kind() const override { return ControlKind::button; }

  const std::string& title() const { return title_; }
  void setTitle(std::string title) { assign(title_, std::move(title)); }
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled) { assign(enabled_, enabled); }
  bool isBordered() const { return bordered_; }
  void setBordered(bool bordered) { assign(bordered_, bordered); }
  BezelStyle bezelStyle() const { return bezelStyle_; }
  void setBezelStyle(BezelStyle style) { assign(bezelStyle_, style); }
  const Font& font() const { return font_; }
  void setFont(Font font) { assign(font_, font); }
  ControlSize controlSize() const { return controlSize_; }
  void setControlSize(ControlSize size) { assign(controlSize_, size); }
  // "\r" for Return; empty for none.
  const std::string& keyEquivalent() const { return keyEquivalent_; }
  void setKeyEquivalent(std::string key) { assign(keyEquivalent_, std::move(key)); }

  std::function<void()> action;
  // A click by the user: nothing happens while the button is disabled.
  void performClick() {
    if (enabled_ && action)
      action();
  }

 private:
  std::string title_;
  bool enabled_ = true;
  bool bordered_ = true;
  BezelStyle bezelStyle_ = BezelStyle::rounded;
  Font font_;
  ControlSize controlSize_ = ControlSize::regular;
  std::string keyEquivalent_;
};

}  // namespace murvel
