#pragma once

#include <string>

#include "shell/controls/Control.h"

namespace murvel {

// An editable one-line text field.
class TextField : public Control {
 public:
  const std::string& stringValue() const { return value_; }
  void setStringValue(std::string value) { assign(value_, std::move(value)); }

 private:
  std::string value_;
};

}  // namespace murvel
