#pragma once

#include <string>

#include "platform/Date.h"

namespace murvel {

// Dates in the user's own locale.
class DateFormatter {
 public:
  virtual ~DateFormatter() = default;
  // The time of day in the locale's short style, without the date ("14:05", "2:05 PM").
  virtual std::string shortTimeString(Date date) = 0;
};

}  // namespace murvel
