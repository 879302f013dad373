#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "shell/controls/View.h"

namespace murvel {

// Tabs along the top, each with a label and a view of its own.
class TabView : public Control {
 public:
  struct Item {
    std::string label;
    std::unique_ptr<View> view;
  };

  ControlKind kind() const override { return ControlKind::tabView; }

  // Adds a tab and returns its view. The first tab added is the one selected.
  View& addTabViewItem(std::string label) {
    items_.push_back(Item{std::move(label), std::make_unique<View>()});
    if (selected_ < 0)
      selected_ = 0;
    notify(ControlEvent::changed);
    return *items_.back().view;
  }
  const std::vector<Item>& items() const { return items_; }
  long indexOfSelectedItem() const { return selected_; }
  void selectItem(long index) {
    if (index >= 0 && index < static_cast<long>(items_.size()))
      assign(selected_, index);
  }

 private:
  std::vector<Item> items_;
  long selected_ = -1;
};

}  // namespace murvel
