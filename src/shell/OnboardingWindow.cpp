#include "shell/OnboardingWindow.h"

#include <algorithm>

#include "shell/AppDelegate.h"
#include "stores/Keychain.h"

namespace murvel {

OnboardingWindow::OnboardingWindow(Platform& platform, std::weak_ptr<AppDelegate> appDelegate)
    : platform_(platform), appDelegate_(std::move(appDelegate)) {
  refreshAuthState(true);
  refreshPermissionState();
}

void OnboardingWindow::setStatus(std::string text, Color color) {
  statusLabel.setText(std::move(text));
  statusLabel.setColor(color);
}

void OnboardingWindow::refreshAuthState(bool resetStatus) {
  const auto key = Keychain::load(platform_.keychain, Keychain::accessKeyAccount);
  const bool signedIn = key.has_value() && !key->empty();
  const std::string email = Settings(platform_.userDefaults).signedInEmail();
  emailField.setStringValue(email);
  continueButton.setTitle("Continue with Email");
  if (!resetStatus)
    return;
  if (signedIn && !email.empty()) {
    setStatus("Signed in as " + email, Color::systemGreenColor);
  } else {
    setStatus("Enter your email and continue in the browser to sign in.");
  }
}

void OnboardingWindow::refreshPermissionState() {
  auto delegate = appDelegate_.lock();
  if (!delegate)
    return;
  const auto states = delegate->permissionStates();
  const auto missing = std::count_if(states.begin(), states.end(),
                                     [](const MurvelPermissionState& s) { return !s.isGranted; });
  if (missing == 0) {
    permissionSummaryLabel.setText("All required permissions are enabled.");
    permissionSummaryLabel.setColor(Color::systemGreenColor);
  } else if (missing == 1) {
    permissionSummaryLabel.setText("1 permission still needs attention.");
    permissionSummaryLabel.setColor(Color::systemOrangeColor);
  } else {
    permissionSummaryLabel.setText(std::to_string(missing) + " permissions still need attention.");
    permissionSummaryLabel.setColor(Color::systemOrangeColor);
  }
  for (const auto& state : states) {
    const bool microphone = state.kind == MurvelPermissionKind::microphone;
    Label& status = microphone ? microphoneStatusLabel : accessibilityStatusLabel;
    Button& button = microphone ? microphoneButton : accessibilityButton;
    status.setText(state.detail);
    status.setColor(state.isGranted ? Color::systemGreenColor : Color::secondaryLabelColor);
    button.setTitle(state.actionTitle);
    button.setEnabled(!state.isGranted);
    button.setAlphaValue(state.isGranted ? 0.55 : 1.0);
  }
  permissionsPopupButton.setTitle(missing == 0 ? "Review Permissions"
                                               : "Review Missing Permissions");
}

}  // namespace murvel
