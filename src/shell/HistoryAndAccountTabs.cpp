// The panel's History and Account tabs.

#include "shell/AppDelegate.h"
#include "shell/PopoverViewController.h"

namespace murvel {

namespace {
constexpr double historyRowHeight = 44;
}  // namespace

void PopoverViewController::buildHistoryPanel() {
  historyTable.addTableColumn(TableColumn{"entry", "Recent Dictations", 280});
  historyTable.setHeaderView(false);
  historyTable.dataSource = this;
  historyTable.setRowHeight(historyRowHeight);
  historyTable.doubleAction = [this] {
    rePaste();
  };
  historyTable.setUsesAlternatingRowBackgroundColors(true);
  historyScroll.setDocumentView(historyTable);
  historyScroll.setHasVerticalScroller(true);
  historyScroll.setAutohidesScrollers(true);
  historyScroll.setSize({0, 244});
  historyPanel.addRow(historyScroll);

  clearHistBtn.setTitle("Clear History");
  clearHistBtn.setBezelStyle(BezelStyle::rounded);
  clearHistBtn.setFont(Font::system(11));
  clearHistBtn.setSize({120, 22});
  clearHistBtn.action = [this] {
    clearHistory();
  };
  Label& hint = historyPanel.make<Label>("Double-click to re-paste", Color::tertiaryLabelColor);
  hint.setFont(Font::system(10));
  hint.setAlignment(TextAlignment::right);
  historyPanel.addRow(LayoutRow{{&clearHistBtn}, {}, {&hint}});
}

void PopoverViewController::buildAccountPanel() {
  Label& heading = accountPanel.make<Label>("SIGNED IN AS", Color::tertiaryLabelColor);
  heading.setFont(Font::system(9, FontWeight::semibold));
  accountPanel.addRow(heading);
  accountEmailLabel.setFont(Font::system(13, FontWeight::medium));
  accountEmailLabel.setTextColor(Color::labelColor);
  accountEmailLabel.setLineBreakMode(LineBreakMode::truncatingMiddle);
  accountPanel.addRow(accountEmailLabel);
  accountPanel.addRow(accountPanel.make<Box>(BoxType::separator));
  accountMessageLabel.setFont(Font::system(13, FontWeight::medium));
  accountMessageLabel.setTextColor(Color::labelColor);
  accountPanel.addRow(accountMessageLabel);
  accountStatusLabel.setFont(Font::system(11));
  accountStatusLabel.setTextColor(Color::secondaryLabelColor);
  accountPanel.addRow(accountStatusLabel);
  accountPanel.addRow(accountPanel.make<Box>(BoxType::separator));
  signOutButton.setTitle("Sign Out");
  signOutButton.setBezelStyle(BezelStyle::rounded);
  signOutButton.setSize({300, 28});
  signOutButton.action = [this] {
    signOut();
  };
  accountPanel.addRow(LayoutRow{{}, {&signOutButton}, {}});

  accountSpinner.setStyle(ProgressIndicatorStyle::spinning);
  accountSpinner.setControlSize(ControlSize::regular);
  accountSpinner.setDisplayedWhenStopped(false);
  accountPanel.addOverlay(accountSpinner);
}

void PopoverViewController::refreshHistory() {
  historyTable.reloadData();
}

long PopoverViewController::numberOfRows(TableView&) {
  auto delegate = appDelegate.lock();
  return delegate ? static_cast<long>(delegate->history.size()) : 0;
}

std::unique_ptr<View> PopoverViewController::viewFor(TableView&, const TableColumn*, long row) {
  auto delegate = appDelegate.lock();
  if (!delegate || row < 0 || row >= static_cast<long>(delegate->history.size()))
    return nullptr;
  const HistoryEntry& entry = delegate->history[static_cast<std::size_t>(row)];
  auto cell = std::make_unique<View>();
  cell->setSize({320, historyRowHeight});
  Label& text = cell->make<Label>(entry.text, Color::labelColor);
  text.setFont(Font::system(12));
  text.setLineBreakMode(LineBreakMode::truncatingTail);
  text.setMaximumNumberOfLines(2);
  cell->addRow(text);
  Label& detail = cell->make<Label>(platform_.dateFormatter.shortTimeString(entry.date) +
                                        " \u00B7 " + std::to_string(entry.wordCount) + " words",
                                    Color::tertiaryLabelColor);
  detail.setFont(Font::system(10));
  cell->addRow(detail);
  return cell;
}

double PopoverViewController::heightOfRow(TableView&, long) {
  return historyRowHeight;
}

void PopoverViewController::rePaste() {
  const long row = historyTable.selectedRow();
  if (row < 0)
    return;
  auto delegate = appDelegate.lock();
  // The history may have shrunk behind the selection.
  if (!delegate || row >= static_cast<long>(delegate->history.size()))
    return;
  const HistoryEntry entry = delegate->history[static_cast<std::size_t>(row)];
  delegate->pasteText(entry.text);
  setState(DictationState::done(entry.text, entry.wordCount, 0));
  segControl.setSelectedSegment(0);
  segChanged();
}

void PopoverViewController::clearHistory() {
  if (auto delegate = appDelegate.lock())
    delegate->clearHistory();
  historyTable.reloadData();
}

void PopoverViewController::loadAccountInfo() {
  const std::string email = Settings(platform_.userDefaults).signedInEmail();
  accountEmailLabel.setText(email.empty() ? "\u2014" : email);
  accountMessageLabel.setText("");
  accountStatusLabel.setText("");
  accountSpinner.startAnimation();
  auto delegate = appDelegate.lock();
  auto completion = [weakSelf = weak_from_this()](Result<AppDelegate::AccountInfo> result) {
    auto self = weakSelf.lock();
    if (!self)
      return;
    self->accountSpinner.stopAnimation();
    if (result.ok()) {
      self->accountEmailLabel.setText(result.value().email);
    } else {
      self->accountMessageLabel.setText("Unable to load");
      self->accountStatusLabel.setText("Check your connection and try again.");
    }
  };
  if (delegate) {
    delegate->fetchAccountInfo(std::move(completion));
  } else {
    // Without the delegate there is nobody to ask: the tab shows the failure lines at once.
    completion(
        Result<AppDelegate::AccountInfo>::failure(PlatformError{"Murvel", 401, "Not signed in"}));
  }
}

void PopoverViewController::signOut() {
  const long answer = [&] {
    Alert alert{"Sign out of Murvel?",
                "You will need to sign in again to use dictation.",
                {"Sign Out", "Cancel"}};
    platform_.application.activateIgnoringOtherApps(true);
    return platform_.alerts.runModal(alert);
  }();
  if (answer != alertFirstButtonReturn)
    return;
  if (auto delegate = appDelegate.lock())
    delegate->signOut();
}

}  // namespace murvel
