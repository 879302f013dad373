#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"
#include "shell/controls/Button.h"
#include "shell/controls/Label.h"
#include "shell/controls/TextField.h"
#include "shell/controls/Window.h"

namespace murvel {

class AppDelegate;

// The Settings window: sign-in, preferences, permissions. Made at its first showing and kept
// for the life of the process; closing only hides it.
class OnboardingWindow {
 public:
  OnboardingWindow(Platform& platform, std::weak_ptr<AppDelegate> appDelegate);

  WindowRecord window;
  TextField emailField;
  Button continueButton{"Continue with Email"};
  Label statusLabel{"", Color::secondaryLabelColor};
  Label permissionSummaryLabel;
  Label microphoneStatusLabel;
  Button microphoneButton;
  Label accessibilityStatusLabel;
  Button accessibilityButton;
  Button permissionsPopupButton{"Review Missing Permissions"};

  bool isVisible() const { return window.isVisible(); }
  void makeKeyAndOrderFront() { window.setVisible(true); }
  void orderOut() { window.setVisible(false); }
  void close() { window.setVisible(false); }

  void setStatus(std::string text, Color color = Color::secondaryLabelColor);
  void refreshAuthState(bool resetStatus = false);
  void refreshPermissionState();

 private:
  Platform& platform_;
  std::weak_ptr<AppDelegate> appDelegate_;
};

}  // namespace murvel
