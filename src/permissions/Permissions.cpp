#include "shell/AppDelegate.h"
#include "shell/OnboardingWindow.h"
#include "shell/PopoverViewController.h"

namespace murvel {

namespace {

const char* const microphoneBlockedMessage =
    "Microphone access is off. Opening System Settings > Privacy & Security > Microphone.";
const char* const microphoneSettingsLink =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone";
const char* const accessibilitySettingsLink =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility";

MurvelPermissionState microphoneState(int status) {
  MurvelPermissionState state{MurvelPermissionKind::microphone, "Microphone", "", false, ""};
  switch (status) {
    case 0:
      state.detail = "Not granted yet. Allow this so Murvel can record your voice.";
      state.actionTitle = "Allow";
      break;
    case 1:
    case 2:
      state.detail = "Off. Enable this in System Settings > Privacy & Security > Microphone.";
      state.actionTitle = "Open Settings";
      break;
    case 3:
      state.detail = "Enabled. Murvel can hear you and start recording immediately.";
      state.isGranted = true;
      state.actionTitle = "Enabled";
      break;
    default:
      state.detail = "Unavailable on this Mac right now.";
      state.actionTitle = "Open Settings";
      break;
  }
  return state;
}

MurvelPermissionState accessibilityState(bool trusted, const std::string& hotkeyName) {
  if (trusted) {
    return {MurvelPermissionKind::accessibility, "Accessibility",
            "Enabled. " + hotkeyName +
                " can work while you stay in Chrome, Meet, WhatsApp, and other apps.",
            true, "Enabled"};
  }
  return {MurvelPermissionKind::accessibility, "Accessibility",
          "Off. Enable this so " + hotkeyName + " works while you stay in other apps.", false,
          "Open Settings"};
}

}  // namespace

int AppDelegate::microphoneAuthorizationStatus() {
  return platform_.captureDevice.authorizationStatus();
}

bool AppDelegate::hasAccessibilityAccess() {
  return platform_.accessibility.isProcessTrusted();
}

std::vector<MurvelPermissionState> AppDelegate::permissionStates() {
  return {microphoneState(microphoneAuthorizationStatus()),
          accessibilityState(hasAccessibilityAccess(), hotkeyDisplayName())};
}

std::vector<MurvelPermissionState> AppDelegate::missingPermissionStates() {
  std::vector<MurvelPermissionState> missing;
  for (auto& state : permissionStates()) {
    if (!state.isGranted)
      missing.push_back(std::move(state));
  }
  return missing;
}

void AppDelegate::refreshPermissionUI() {
  if (onboardingWindow)
    onboardingWindow->refreshPermissionState();
  if (popoverVC)
    popoverVC->refreshHotkeyText();
}

void AppDelegate::requestPermission(MurvelPermissionKind kind) {
  if (kind == MurvelPermissionKind::accessibility) {
    openAccessibilityPrivacySettings();
    return;
  }
  switch (microphoneAuthorizationStatus()) {
    case 0:
      requestMicrophoneAccess([weakSelf = weak_from_this()](bool granted) {
        if (granted)
          return;
        if (auto self = weakSelf.lock())
          self->handleBlockedMicrophonePermission();
      });
      break;
    case 3:
      refreshPermissionUI();
      break;
    default:
      openMicrophonePrivacySettings();
      break;
  }
}

void AppDelegate::showPermissionsPopup(bool force, bool showSuccessWhenClear) {
  const auto missing = missingPermissionStates();
  if (missing.empty()) {
    refreshPermissionUI();
    if (!showSuccessWhenClear)
      return;
    platform_.application.activateIgnoringOtherApps(true);
    platform_.alerts.runModal(
        {"All permissions are enabled", "Murvel already has the permissions it needs.", {"OK"}});
    return;
  }

  Alert alert;
  alert.messageText = missing.size() == 1
                          ? std::string("Murvel needs 1 permission")
                          : "Murvel needs " + std::to_string(missing.size()) + " permissions";
  for (std::size_t i = 0; i < missing.size(); ++i) {
    if (i > 0)
      alert.informativeText += '\n';
    alert.informativeText += "\u2022 " + missing[i].title + ": " + missing[i].detail;
  }
  std::vector<MurvelPermissionKind> kinds;
  for (const auto& state : missing) {
    if (state.kind == MurvelPermissionKind::accessibility) {
      alert.buttonTitles.push_back("Open Accessibility");
      kinds.push_back(MurvelPermissionKind::accessibility);
    }
  }
  for (const auto& state : missing) {
    if (state.kind == MurvelPermissionKind::microphone) {
      alert.buttonTitles.push_back(state.actionTitle == "Allow" ? "Allow Microphone"
                                                                : "Open Microphone");
      kinds.push_back(MurvelPermissionKind::microphone);
    }
  }
  alert.buttonTitles.push_back("Later");

  platform_.application.activateIgnoringOtherApps(true);
  const long index = platform_.alerts.runModal(alert) - alertFirstButtonReturn;
  if (index >= 0 && static_cast<std::size_t>(index) < kinds.size()) {
    requestPermission(kinds[static_cast<std::size_t>(index)]);
    if (force)
      refreshPermissionUI();
  } else {
    refreshPermissionUI();
  }
}

void AppDelegate::requestMicrophoneAccess(std::function<void(bool)> completion) {
  platform_.application.activateIgnoringOtherApps(true);
  // The platform answers on any thread; everything after the answer runs on the main queue.
  platform_.captureDevice.requestAccess(
      [self = shared_from_this(), completion = std::move(completion)](bool granted) {
        self->platform_.dispatch.async([self, completion, granted] {
          self->refreshPermissionUI();
          if (completion)
            completion(granted);
        });
      });
}

void AppDelegate::handleBlockedMicrophonePermission() {
  refreshPermissionUI();
  announce(DictationState::error(microphoneBlockedMessage));
  openMicrophonePrivacySettings();
}

void AppDelegate::openMicrophonePrivacySettings() {
  platform_.workspace.openURL(microphoneSettingsLink);
}

void AppDelegate::openAccessibilityPrivacySettings() {
  platform_.workspace.openURL(accessibilitySettingsLink);
}

void AppDelegate::maybePromptPermissionsIfNeeded() {
  if (missingPermissionStates().empty())
    return;
  const std::string version = currentAppVersion();
  if (version == settings.lastPermissionsPromptVersion())
    return;
  // Stored before the delay: this version counts as prompted even if no alert comes.
  settings.setLastPermissionsPromptVersion(version);
  platform_.dispatch.asyncAfter(0.6, [self = shared_from_this()] {
    if (self->missingPermissionStates().empty())
      return;
    self->showPermissionsPopup(true, false);
  });
}

std::string AppDelegate::currentAppVersion() {
  return shortVersionString(platform_.bundle);
}

}  // namespace murvel
