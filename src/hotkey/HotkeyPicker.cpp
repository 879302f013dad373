#include "hotkey/HotkeyPicker.h"

#include "shell/AppDelegate.h"

namespace murvel {

HotkeyPicker::HotkeyPicker(Platform& platform, PopUpButton& hotkeyPop, Button& pickHotkeyButton,
                           HotkeyPickerWords words, Hooks hooks)
    : platform_(platform),
      hotkeyPop_(hotkeyPop),
      pickHotkeyButton_(pickHotkeyButton),
      words_(std::move(words)),
      hooks_(std::move(hooks)) {}

HotkeyPicker::~HotkeyPicker() {
  // A capture that outlives its surface would keep the dictation hotkey switched off.
  if (hotkeyCaptureMonitor)
    platform_.eventMonitors.removeMonitor(*hotkeyCaptureMonitor);
  if (hotkeyCaptureResetWorkItem)
    hotkeyCaptureResetWorkItem->cancel();
}

void HotkeyPicker::configureControls() {
  std::vector<std::string> titles;
  for (const auto& option : murvelHotkeyOptions())
    titles.push_back(words_.compactItems ? option.compactLabel : option.pickerLabel);
  hotkeyPop_.setItemTitles(std::move(titles));
  hotkeyPop_.setToolTip(words_.popupToolTip);
  pickHotkeyButton_.setTitle(words_.restTitle);
  pickHotkeyButton_.setToolTip(words_.buttonToolTip);
  syncPopup();
  hotkeyPop_.action = [this] {
    hotkeyChanged();
  };
  pickHotkeyButton_.action = [this] {
    beginHotkeyCapture();
  };
}

void HotkeyPicker::syncPopup() {
  const std::string stored = Settings(platform_.userDefaults).hotkey();
  const auto& options = murvelHotkeyOptions();
  for (std::size_t i = 0; i < options.size(); ++i) {
    if (options[i].value == stored) {
      hotkeyPop_.selectItem(static_cast<long>(i));
      return;
    }
  }
}

void HotkeyPicker::hotkeyChanged() {
  const long index = hotkeyPop_.indexOfSelectedItem();
  const auto& options = murvelHotkeyOptions();
  if (index < 0 || index >= static_cast<long>(options.size()))
    return;
  Settings(platform_.userDefaults).setHotkey(options[static_cast<std::size_t>(index)].value);
  if (auto delegate = hooks_.appDelegate())
    delegate->reinstallHotkey();
  if (hooks_.redrawAfterPopup)
    hooks_.redrawAfterPopup();
}

void HotkeyPicker::beginHotkeyCapture() {
  stopHotkeyCapture();
  pickHotkeyButton_.setTitle(words_.waitingTitle);
  hotkeyPop_.setEnabled(false);
  if (auto delegate = hooks_.appDelegate())
    delegate->setHotkeyCaptureActive(true);
  hotkeyCaptureMonitor = platform_.eventMonitors.addLocalMonitor(
      KeyEventMask::flagsChanged | KeyEventMask::keyDown,
      [weakSelf = weak_from_this()](const KeyEvent& event) -> std::optional<KeyEvent> {
        auto self = weakSelf.lock();
        if (!self)
          return event;
        return self->handleCaptureEvent(event);
      });
}

std::optional<KeyEvent> HotkeyPicker::handleCaptureEvent(const KeyEvent& event) {
  if (event.type == KeyEventType::keyDown) {
    // Every key-down is swallowed, so typing reaches no control while a key is picked.
    if (event.keyCode == KeyCode::escape) {
      stopHotkeyCapture();
      flashPickHotkeyButton(words_.escapeTitle);
    } else {
      flashPickHotkeyButton(words_.unsupportedTitle);
    }
    return std::nullopt;
  }
  const auto option = murvelHotkeyCaptureOption(event);
  if (!option)
    return event;
  Settings(platform_.userDefaults).setHotkey(option->value);
  // The reinstall comes before the capture ends, so the new key is live at once.
  if (auto delegate = hooks_.appDelegate())
    delegate->reinstallHotkey();
  if (hooks_.redrawAfterCapture)
    hooks_.redrawAfterCapture();
  stopHotkeyCapture();
  flashPickHotkeyButton(words_.successTitle(*option));
  return std::nullopt;
}

void HotkeyPicker::stopHotkeyCapture() {
  if (hotkeyCaptureMonitor) {
    platform_.eventMonitors.removeMonitor(*hotkeyCaptureMonitor);
    hotkeyCaptureMonitor.reset();
  }
  if (hotkeyCaptureResetWorkItem)
    hotkeyCaptureResetWorkItem->cancel();
  hotkeyCaptureResetWorkItem.reset();
  pickHotkeyButton_.setTitle(words_.restTitle);
  hotkeyPop_.setEnabled(true);
  if (auto delegate = hooks_.appDelegate())
    delegate->setHotkeyCaptureActive(false);
}

void HotkeyPicker::flashPickHotkeyButton(std::string title) {
  if (hotkeyCaptureResetWorkItem)
    hotkeyCaptureResetWorkItem->cancel();
  pickHotkeyButton_.setTitle(std::move(title));
  hotkeyCaptureResetWorkItem = std::make_shared<WorkItem>([weakSelf = weak_from_this()] {
    if (auto self = weakSelf.lock())
      self->pickHotkeyButton_.setTitle(self->words_.restTitle);
  });
  platform_.dispatch.asyncAfter(1.0, hotkeyCaptureResetWorkItem);
}

}  // namespace murvel
