#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "dictation/DictationState.h"
#include "hotkey/HotkeyPicker.h"
#include "platform/Platform.h"
#include "shell/controls/Box.h"
#include "shell/controls/Button.h"
#include "shell/controls/Label.h"
#include "shell/controls/PopUpButton.h"
#include "shell/controls/ProgressIndicator.h"
#include "shell/controls/ScrollView.h"
#include "shell/controls/SegmentedControl.h"
#include "shell/controls/TableView.h"
#include "shell/controls/TextView.h"
#include "shell/controls/View.h"
#include "shell/controls/ViewController.h"

namespace murvel {

class AppDelegate;

// The panel under the menu-bar item, with its Dictate, History and Account tabs. It renders what
// the session announces and keeps no copy of the state: what it shows is what was last written
// into its controls. One instance lives as long as the delegate.
class PopoverViewController : public ViewController,
                              public TableViewDataSource,
                              public std::enable_shared_from_this<PopoverViewController> {
 public:
  static constexpr int cleanupStatusTag = 99;

  explicit PopoverViewController(Platform& platform);
  PopoverViewController(const PopoverViewController&) = delete;
  PopoverViewController& operator=(const PopoverViewController&) = delete;

  std::weak_ptr<AppDelegate> appDelegate;

  SegmentedControl segControl;
  Button closeButton;
  View mainPanel;
  Label iconLabel{"\U0001F3A4"};
  Label titleLabel{"Murvel Dictation"};
  Label subtitleLabel{"Hold  Fn  to dictate \u00B7 release to transcribe"};
  Label statsLabel;
  ScrollView resultBox;
  TextView resultText;
  Button recordButton;
  Button copyButton;
  PopUpButton hotkeyPop;
  Button pickHotkeyButton;
  std::string lastText;
  View historyPanel;
  TableView historyTable;
  ScrollView historyScroll;
  Button clearHistBtn;
  View accountPanel;
  Label accountEmailLabel;
  Label accountMessageLabel;
  Label accountStatusLabel;
  Button signOutButton;
  ProgressIndicator accountSpinner;

  // The root view; the layout is built on first use, no later than the first showing.
  View& view() override;
  bool isViewLoaded() const { return viewLoaded_; }
  void loadView();
  void viewDidDisappear() override;

  void buildLayout();
  void refreshHotkeyText();
  void applyIdleInstructions();
  void buildMainPanel();
  void buildHistoryPanel();
  void buildAccountPanel();
  void segChanged();
  void refreshHistory();
  void loadAccountInfo();
  void signOut();
  void updateCleanupLabel();
  void syncHotkeyPopup();
  void stopHotkeyCapture();
  void flashPickHotkeyButton(std::string title);
  // Renders `state` on a later turn of the main queue. Callable from any thread.
  void setState(DictationState state);
  void recordTapped();
  void beginHotkeyCapture();
  void hotkeyChanged();
  void copyTapped();
  void rePaste();
  void clearHistory();
  void closeTapped();

  // The history table's rows.
  long numberOfRows(TableView& tableView) override;
  std::unique_ptr<View> viewFor(TableView& tableView, const TableColumn* column, long row) override;
  double heightOfRow(TableView& tableView, long row) override;

  // The capture state of the panel's hotkey picker.
  const HotkeyPicker& hotkeyPicker() const { return *picker_; }

  // Called after each state has been rendered: the toolkit can react, and tests follow the
  // announcements in order.
  void addRenderObserver(std::function<void(const DictationState&)> observer) {
    renderObservers_.push_back(std::move(observer));
  }

 private:
  void render(const DictationState& state);
  std::string hotkeyName();

  Platform& platform_;
  View view_;
  bool viewLoaded_ = false;
  std::shared_ptr<HotkeyPicker> picker_;
  std::vector<std::function<void(const DictationState&)>> renderObservers_;
};

}  // namespace murvel
