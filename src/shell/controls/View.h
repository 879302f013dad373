#pragma once

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "shell/controls/Color.h"
#include "shell/controls/Control.h"

namespace murvel {

// One line of a view's layout, top to bottom. Controls in `leading` stand from the left edge,
// those in `center` in the middle, those in `trailing` against the right edge, each group in
// order. A lone control without a fixed width fills the line.
struct LayoutRow {
  std::vector<Control*> leading;
  std::vector<Control*> center;
  std::vector<Control*> trailing;
  // Extra space above the line, in points.
  double spacingBefore = 0;
};

// A container of controls laid out in rows. It owns the controls it makes itself (labels,
// separators, notes) and refers to those that are fields of its owner.
class View : public Control {
 public:
  ControlKind kind() const override { return ControlKind::view; }

  // Makes a control that the view owns for its lifetime.
  template <class T, class... Args>
  T& make(Args&&... args) {
    auto control = std::make_unique<T>(std::forward<Args>(args)...);
    T& made = *control;
    owned_.push_back(std::move(control));
    return made;
  }

  void addRow(LayoutRow row) {
    rows_.push_back(std::move(row));
    notify(ControlEvent::changed);
  }
  // A line holding one control.
  void addRow(Control& control, double spacingBefore = 0) {
    addRow(LayoutRow{{&control}, {}, {}, spacingBefore});
  }
  const std::vector<LayoutRow>& rows() const { return rows_; }

  // A control that stands centred over the rows rather than among them (a spinner).
  void addOverlay(Control& control) {
    overlays_.push_back(&control);
    notify(ControlEvent::changed);
  }
  const std::vector<Control*>& overlays() const { return overlays_; }

  // Every control of the layout, row by row, left to right, then the overlays.
  std::vector<Control*> subviews() const;
  // The first control with `tag`, searching nested views depth first, or null.
  Control* viewWithTag(int tag) const;

  const std::optional<Color>& backgroundColor() const { return background_; }
  void setBackgroundColor(Color color) { assign(background_, std::optional<Color>(color)); }

 private:
  std::vector<std::unique_ptr<Control>> owned_;
  std::vector<LayoutRow> rows_;
  std::vector<Control*> overlays_;
  std::optional<Color> background_;
};

}  // namespace murvel
