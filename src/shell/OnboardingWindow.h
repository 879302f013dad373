#pragma once

#include <memory>
#include <string>

#include "hotkey/HotkeyPicker.h"
#include "platform/Platform.h"
#include "shell/controls/Button.h"
#include "shell/controls/Label.h"
#include "shell/controls/PopUpButton.h"
#include "shell/controls/TabView.h"
#include "shell/controls/TextField.h"
#include "shell/controls/Window.h"

namespace murvel {

class AppDelegate;

// The Settings window: sign-in, preferences, permissions and about, in four tabs. Made at its
// first showing and kept for the life of the process; its close button only hides it.
class OnboardingWindow {
 public:
  OnboardingWindow(Platform& platform, std::weak_ptr<AppDelegate> appDelegate);
  OnboardingWindow(const OnboardingWindow&) = delete;
  OnboardingWindow& operator=(const OnboardingWindow&) = delete;

  Window window;
  TabView tabView;
  TextField emailField;
  Button continueButton;
  Label statusLabel;
  Label permissionSummaryLabel;
  Label microphoneStatusLabel;
  Label accessibilityStatusLabel;
  Button microphoneButton;
  Button accessibilityButton;
  Button permissionsPopupButton;
  Button permissionsRefreshButton;
  PopUpButton hotkeyPop;
  Button pickHotkeyButton;
  PopUpButton cleanupModePop;
  PopUpButton tonePop;

  bool isVisible() const { return window.isVisible(); }
  void makeKeyAndOrderFront() { window.makeKeyAndOrderFront(); }
  void orderOut() { window.orderOut(); }
  // Hides the window without asking windowShouldClose.
  void close() { window.close(); }

  void buildLayout();
  void buildSetupTab();
  void buildSettingsTab();
  void buildPermissionsTab();
  void buildAboutTab();
  void setStatus(std::string text, Color color = Color::secondaryLabelColor);
  void refreshAuthState(bool resetStatus = false);
  void refreshPermissionState();
  void addSectionLabel(const std::string& text, View& view);
  void addDivider(View& view);
  void addStep(View& view, int number, const std::string& text);
  void continueInBrowser();
  void requestMicrophonePermission();
  void requestAccessibilityPermission();
  void reviewMissingPermissions();
  void refreshPermissions();
  void syncHotkeyPicker();
  void stopHotkeyCapture();
  void flashPickHotkeyButton(std::string title);
  void beginHotkeyCapture();
  void hotkeyChanged();
  void cleanupModeChanged();
  void toneChanged();
  // Hides the window and answers false: the window is never closed for good.
  bool windowShouldClose();

  // The version string of the application, or "1.0".
  static std::string appVersion(Bundle& bundle) { return shortVersionString(bundle); }

  // The capture state of the window's hotkey picker.
  const HotkeyPicker& hotkeyPicker() const { return *picker_; }

 private:
  Label& addNote(View& view, const std::string& text);

  Platform& platform_;
  std::weak_ptr<AppDelegate> appDelegate_;
  std::shared_ptr<HotkeyPicker> picker_;
};

}  // namespace murvel
