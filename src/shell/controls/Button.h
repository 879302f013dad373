#pragma once

#include <string>

#include "shell/controls/Control.h"

namespace murvel {

class Button : public Control {
 public:
  explicit Button(std::string title = {}) : title_(std::move(title)) {}

  const std::string& title() const { return title_; }
  void setTitle(std::string title) { assign(title_, std::move(title)); }
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled) { assign(enabled_, enabled); }
  double alphaValue() const { return alpha_; }
  void setAlphaValue(double alpha) { assign(alpha_, alpha); }
  const std::string& toolTip() const { return toolTip_; }
  void setToolTip(std::string toolTip) { assign(toolTip_, std::move(toolTip)); }

 private:
  std::string title_;
  bool enabled_ = true;
  double alpha_ = 1.0;
  std::string toolTip_;
};

}  // namespace murvel
