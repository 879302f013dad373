#pragma once

#include "platform/Alerts.h"

namespace murvel::linux_platform {

// Alerts as modal message boxes. Needs a QApplication on the main thread.
class QtAlerts final : public Alerts {
 public:
  // The buttons stand left to right in the order given; the first is the default, the last
  // answers Escape and the window's close button. The main thread's event loop keeps running
  // inside, as it does for any modal dialog.
  long runModal(const Alert& alert) override;
};

}  // namespace murvel::linux_platform
