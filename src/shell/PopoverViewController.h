#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "dictation/DictationState.h"
#include "platform/Platform.h"
#include "shell/controls/Button.h"
#include "shell/controls/Label.h"

namespace murvel {

class AppDelegate;

// The panel under the menu-bar item. It renders what the session announces and keeps no copy
// of the state: what it shows is what was last written into its controls.
class PopoverViewController : public std::enable_shared_from_this<PopoverViewController> {
 public:
  explicit PopoverViewController(Platform& platform);

  std::weak_ptr<AppDelegate> appDelegate;

  Label iconLabel{"\U0001F3A4"};
  Label titleLabel{"Murvel Dictation"};
  Label subtitleLabel{"Hold  Fn  to dictate \u00B7 release to transcribe",
                      Color::secondaryLabelColor};
  Label statsLabel{"", Color::tertiaryLabelColor};
  TextView resultText{"", Color::secondaryLabelColor};
  Button recordButton{"Record"};
  Button copyButton{"Copy Result"};
  // Made with the layout; until then cleanup wording has nowhere to go.
  std::optional<Label> cleanupStatusLabel;
  std::string lastText;

  // Builds the layout of the Dictate tab once, no later than the first showing.
  void loadView();
  bool isViewLoaded() const { return cleanupStatusLabel.has_value(); }

  // Renders `state` on a later turn of the main queue. Callable from any thread.
  void setState(DictationState state);

  // Called after each state has been rendered: the toolkit can react (a notification while the
  // panel is closed), and tests follow the announcements in order.
  void addRenderObserver(std::function<void(const DictationState&)> observer) {
    renderObservers_.push_back(std::move(observer));
  }

  void refreshHotkeyText();
  void applyIdleInstructions();
  void updateCleanupLabel();

 private:
  void render(const DictationState& state);
  std::string hotkeyName();

  Platform& platform_;
  std::vector<std::function<void(const DictationState&)>> renderObservers_;
};

}  // namespace murvel
