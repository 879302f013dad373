#pragma once

#include "shell/controls/Control.h"

namespace murvel {

// A window, or the popover: whether it is on screen.
class WindowRecord : public Control {
 public:
  bool isVisible() const { return visible_; }
  void setVisible(bool visible) { assign(visible_, visible); }

 private:
  bool visible_ = false;
};

}  // namespace murvel
