#include "hotkey/HotkeyCatalogue.h"
#include "shell/AppDelegate.h"

namespace murvel {

std::string AppDelegate::hotkeyDisplayName() {
  if (auto option = murvelHotkeyOption(settings.hotkey()))
    return option->displayName;
  return "Fn";
}

void AppDelegate::setupHotkey(bool showPermissionPrompt) {
  removeEventMonitors();
  hotkeyPressed = false;
  installLocalEventMonitors();
  if (hasAccessibilityAccess()) {
    installGlobalEventMonitors();
  } else if (showPermissionPrompt) {
    showPermissionsPopup(true, false);
  }
  refreshPermissionUI();
}

void AppDelegate::reinstallHotkey() {
  setupHotkey();
}

void AppDelegate::setHotkeyCaptureActive(bool active) {
  hotkeyCaptureActive = active;
  if (active)
    hotkeyPressed = false;
}

void AppDelegate::removeEventMonitors() {
  for (MonitorToken token : globalMonitors) platform_.eventMonitors.removeMonitor(token);
  for (MonitorToken token : localMonitors) platform_.eventMonitors.removeMonitor(token);
  globalMonitors.clear();
  localMonitors.clear();
}

void AppDelegate::installLocalEventMonitors() {
  auto token = platform_.eventMonitors.addLocalMonitor(
      KeyEventMask::flagsChanged,
      [weakSelf = weak_from_this()](const KeyEvent& event) -> std::optional<KeyEvent> {
        if (auto self = weakSelf.lock())
          self->handleModifierFlags(event);
        return event;  // only listening: the event goes on unchanged
      });
  if (token)
    localMonitors.push_back(*token);
}

void AppDelegate::installGlobalEventMonitors() {
  auto token = platform_.eventMonitors.addGlobalMonitor(
      KeyEventMask::flagsChanged, [weakSelf = weak_from_this()](const KeyEvent& event) {
        if (auto self = weakSelf.lock())
          self->handleModifierFlags(event);
      });
  if (token)
    globalMonitors.push_back(*token);
}

void AppDelegate::handleModifierFlags(const KeyEvent& event) {
  if (hotkeyCaptureActive)
    return;
  // The chosen key is read afresh at every event, so a new setting holds from the next one.
  const auto option = murvelHotkeyOption(settings.hotkey());
  if (!option)
    return;
  if (event.keyCode != option->keyCode)
    return;
  const bool down =
      (event.modifierFlags & ModifierFlag::deviceIndependentMask & option->modifierFlag) != 0;
  if (down && !hotkeyPressed) {
    hotkeyPressed = true;
    startRecording();
  } else if (!down && hotkeyPressed) {
    hotkeyPressed = false;
    stopRecording();
  }
}

}  // namespace murvel
