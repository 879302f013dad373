#pragma once

#include "platform/DateFormatter.h"

namespace murvel::linux_platform::ui {

// Times of day in the user's locale, in its short format, in the local time zone.
class QtDateFormatter final : public DateFormatter {
 public:
  std::string shortTimeString(Date date) override;
};

}  // namespace murvel::linux_platform::ui
