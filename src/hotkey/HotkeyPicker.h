#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "hotkey/HotkeyCatalogue.h"
#include "platform/Platform.h"
#include "shell/controls/Button.h"
#include "shell/controls/PopUpButton.h"

namespace murvel {

class AppDelegate;

// What one surface shows while a key is picked; the Settings window and the panel word it
// differently.
struct HotkeyPickerWords {
  std::string restTitle;
  std::string waitingTitle;
  std::function<std::string(const MurvelHotkeyOption&)> successTitle;
  std::string unsupportedTitle;
  std::string escapeTitle;
  // The popup lists compact labels (the panel) or picker labels (the Settings window).
  bool compactItems = false;
  std::string popupToolTip;
  std::string buttonToolTip;
};

// The popup and the pick button of one surface, and the capture that the button starts: the
// next supported modifier the user presses becomes the hotkey. Owned by its surface and held in
// a shared pointer, so that the capture's monitor and delayed title reset can hold it weakly.
class HotkeyPicker : public std::enable_shared_from_this<HotkeyPicker> {
 public:
  struct Hooks {
    // The way to the delegate; nothing when it is gone.
    std::function<std::shared_ptr<AppDelegate>()> appDelegate;
    // What the surface redraws after a capture stored a key, and after the popup did.
    std::function<void()> redrawAfterCapture;
    std::function<void()> redrawAfterPopup;
  };

  HotkeyPicker(Platform& platform, PopUpButton& hotkeyPop, Button& pickHotkeyButton,
               HotkeyPickerWords words, Hooks hooks);
  ~HotkeyPicker();
  HotkeyPicker(const HotkeyPicker&) = delete;
  HotkeyPicker& operator=(const HotkeyPicker&) = delete;

  // Gives the two controls their items, titles, tool tips and actions, and selects the stored key.
  void configureControls();

  void beginHotkeyCapture();
  void stopHotkeyCapture();
  void flashPickHotkeyButton(std::string title);
  void hotkeyChanged();
  // Selects the stored hotkey in the popup; an unknown value leaves the selection alone.
  void syncPopup();

  bool isCapturing() const { return hotkeyCaptureMonitor.has_value(); }

  std::optional<MonitorToken> hotkeyCaptureMonitor;
  std::shared_ptr<WorkItem> hotkeyCaptureResetWorkItem;

 private:
  std::optional<KeyEvent> handleCaptureEvent(const KeyEvent& event);

  Platform& platform_;
  PopUpButton& hotkeyPop_;
  Button& pickHotkeyButton_;
  HotkeyPickerWords words_;
  Hooks hooks_;
};

}  // namespace murvel
