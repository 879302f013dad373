#pragma once

#include "platform/Accessibility.h"

namespace murvel::linux_platform {

// Trusted when keys can be heard across the whole desktop and synthetic ones sent: the X
// display opens and offers XInput 2 and XTest. Asks the display afresh at each call.
class X11Accessibility final : public Accessibility {
 public:
  bool isProcessTrusted() override;
};

}  // namespace murvel::linux_platform
