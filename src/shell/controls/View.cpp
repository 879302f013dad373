#include "shell/controls/View.h"

namespace murvel {

std::vector<Control*> View::subviews() const {
  std::vector<Control*> all;
  for (const LayoutRow& row : rows_) {
    for (const auto* group : {&row.leading, &row.center, &row.trailing})
      all.insert(all.end(), group->begin(), group->end());
  }
  all.insert(all.end(), overlays_.begin(), overlays_.end());
  return all;
}

Control* View::viewWithTag(int tag) const {
  for (Control* control : subviews()) {
    if (control->tag() == tag)
      return control;
    if (control->kind() == ControlKind::view) {
      if (Control* found = static_cast<const View*>(control)->viewWithTag(tag))
        return found;
    }
  }
  return nullptr;
}

}  // namespace murvel
