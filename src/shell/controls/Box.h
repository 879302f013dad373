#pragma once

#include "shell/controls/Control.h"

namespace murvel {

enum class BoxType { primary = 0, separator = 2 };

// A box; as a separator, a one-point line across its width.
class Box : public Control {
 public:
  explicit Box(BoxType type = BoxType::separator) : type_(type) {}
  ControlKind kind() const override { return ControlKind::box; }
  BoxType boxType() const { return type_; }

 private:
  BoxType type_;
};

}  // namespace murvel
