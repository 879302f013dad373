#pragma once

#include "shell/controls/Control.h"

namespace murvel {

enum class ProgressIndicatorStyle { bar, spinning };

// A spinner that turns while something is fetched.
class ProgressIndicator : public Control {
 public:
  ControlKind kind() const override { return ControlKind::progressIndicator; }

  ProgressIndicatorStyle style() const { return style_; }
  void setStyle(ProgressIndicatorStyle style) { assign(style_, style); }
  ControlSize controlSize() const { return controlSize_; }
  void setControlSize(ControlSize size) { assign(controlSize_, size); }
  bool isDisplayedWhenStopped() const { return displayedWhenStopped_; }
  void setDisplayedWhenStopped(bool displayed) { assign(displayedWhenStopped_, displayed); }
  bool isAnimating() const { return animating_; }
  void startAnimation() { assign(animating_, true); }
  void stopAnimation() { assign(animating_, false); }

 private:
  ProgressIndicatorStyle style_ = ProgressIndicatorStyle::bar;
  ControlSize controlSize_ = ControlSize::regular;
  bool displayedWhenStopped_ = true;
  bool animating_ = false;
};

}  // namespace murvel
