#pragma once

#include <memory>

#include "shell/controls/StatusItem.h"

namespace murvel {

// The desktop's menu bar (the system tray on Linux).
class StatusBar {
 public:
  virtual ~StatusBar() = default;
  // A new item of the given length (-2 for a square one), shown from now on.
  virtual std::shared_ptr<StatusItem> statusItemWithLength(double length) = 0;
  // Takes the item off the bar for good (`item.remove()`).
  virtual void removeStatusItem(StatusItem& item) = 0;
};

}  // namespace murvel
