#include "shell/AppDelegate.h"
#include "shell/OnboardingWindow.h"
#include "shell/PopoverViewController.h"
#include "shell/controls/Popover.h"
#include "shell/controls/StatusItem.h"
#include "stores/Keychain.h"

namespace murvel {

namespace {
constexpr std::string_view bundleIdentifier = "com.murvel.mac";
}  // namespace

void AppDelegate::applicationWillFinishLaunching() {
  // In place before anything else, so a URL that starts the application is not lost.
  platform_.urlEvents.setEventHandler([weakSelf = weak_from_this()](const UrlEvent& event) {
    if (auto self = weakSelf.lock())
      self->handleGetURLEvent(event);
  });
}

void AppDelegate::applicationDidFinishLaunching() {
  const std::int64_t ownPid = platform_.application.processIdentifier();
  for (const RunningApplication& running : platform_.workspace.runningApplications()) {
    if (running.bundleIdentifier == bundleIdentifier && running.processIdentifier != ownPid) {
      // Another copy runs: this one ends and leaves that one as it is.
      platform_.application.terminate();
      return;
    }
  }
  settings.registerDefaults();
  setupMenuBar();
  setupPopover();
  setupRecordingURL();
  loadHistory();
  prewarmAPIConnection();
  if (Keychain::load(platform_.keychain, Keychain::accessKeyAccount)) {
    setupHotkey(false);
    maybePromptPermissionsIfNeeded();
    maybeShowLaunchHint();
  } else {
    platform_.dispatch.asyncAfter(0.3, [weakSelf = weak_from_this()] {
      if (auto self = weakSelf.lock())
        self->showOnboarding();
    });
  }
}

void AppDelegate::applicationDidBecomeActive() {
  if (Keychain::load(platform_.keychain, Keychain::accessKeyAccount)) {
    // Reinstalling is how a permission granted meanwhile takes effect.
    setupHotkey(false);
  } else {
    refreshPermissionUI();
  }
}

void AppDelegate::maybeShowLaunchHint() {
  const std::string version = currentAppVersion();
  if (version == settings.lastLaunchHintVersion())
    return;
  settings.setLastLaunchHintVersion(version);
  platform_.dispatch.asyncAfter(0.4, [weakSelf = weak_from_this()] {
    auto self = weakSelf.lock();
    if (!self)
      return;
    self->togglePopover();
    self->announce(DictationState::idle());
  });
}

void AppDelegate::showOnboarding() {
  if (!onboardingWindow) {
    onboardingWindow = std::make_shared<OnboardingWindow>(platform_, weak_from_this());
  }
  onboardingWindow->refreshAuthState(true);
  onboardingWindow->refreshPermissionState();
  onboardingWindow->makeKeyAndOrderFront();
  platform_.application.activateIgnoringOtherApps(true);
  maybePromptPermissionsIfNeeded();
}

void AppDelegate::openSettings() {
  showOnboarding();
}

void AppDelegate::closeSettingsWindow() {
  if (onboardingWindow)
    onboardingWindow->close();
}

void AppDelegate::quitMurvel() {
  removeEventMonitors();
  hotkeyPressed = false;
  if (isRecording) {
    // The recording is abandoned: nothing is uploaded and no sound plays.
    if (audioRecorder)
      audioRecorder->stop();
    audioRecorder.reset();
    isRecording = false;
  }
  stopPulse();
  if (popover)
    popover->performClose();
  if (onboardingWindow)
    onboardingWindow->orderOut();
  if (statusItem)
    platform_.statusBar.removeStatusItem(*statusItem);
  // Terminate on a later turn, after the action that called this has returned.
  platform_.dispatch.async([&application = platform_.application] { application.terminate(); });
}

}  // namespace murvel
