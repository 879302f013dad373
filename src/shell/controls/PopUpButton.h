#pragma once

#include <functional>
#include <string>
#include <vector>

#include "shell/controls/Control.h"

namespace murvel {

// A button that opens a list of items, one of which is selected.
class PopUpButton : public Control {
 public:
  ControlKind kind() const override { return ControlKind::popUpButton; }

  const std::vector<std::string>& itemTitles() const { return items_; }
  // Replaces the items; the first one becomes the selection.
  void setItemTitles(std::vector<std::string> titles) {
    items_ = std::move(titles);
    selected_ = items_.empty() ? -1 : 0;
    notify(ControlEvent::changed);
  }
  // -1 when nothing is selected.
  long indexOfSelectedItem() const { return selected_; }
  // Out-of-range indices select nothing.
  void selectItem(long index) {
    assign(selected_, index >= 0 && index < static_cast<long>(items_.size()) ? index : -1);
  }
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled) { assign(enabled_, enabled); }
  ControlSize controlSize() const { return controlSize_; }
  void setControlSize(ControlSize size) { assign(controlSize_, size); }

  std::function<void()> action;
  // The user picked the item at `index`.
  void choose(long index) {
    if (!enabled_)
      return;
    selectItem(index);
    if (action)
      action();
  }

 private:
  std::vector<std::string> items_;
  long selected_ = -1;
  bool enabled_ = true;
  ControlSize controlSize_ = ControlSize::regular;
};

}  // namespace murvel
