#pragma once

#include <functional>
#include <string>
#include <vector>

#include "shell/controls/Control.h"

namespace murvel {

// A row of segments of which one is selected: the tab switch of the panel.
class SegmentedControl : public Control {
 public:
  ControlKind kind() const override { return ControlKind::segmentedControl; }

  const std::vector<std::string>& labels() const { return labels_; }
  void setLabels(std::vector<std::string> labels) { assign(labels_, std::move(labels)); }
  long selectedSegment() const { return selected_; }
  void setSelectedSegment(long segment) { assign(selected_, segment); }

  std::function<void()> action;
  // The user clicked a segment.
  void choose(long segment) {
    setSelectedSegment(segment);
    if (action)
      action();
  }

 private:
  std::vector<std::string> labels_;
  long selected_ = -1;
};

}  // namespace murvel
