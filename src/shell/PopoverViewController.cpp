#include "shell/PopoverViewController.h"

#include "shell/AppDelegate.h"

namespace murvel {

namespace {

const char* const privacyNote =
    "Encrypted in transit. Murvel only processes the dictation you choose to send and does not "
    "read what you type elsewhere on your Mac.";

constexpr Size tabSize{340, 282};

}  // namespace

PopoverViewController::PopoverViewController(Platform& platform) : platform_(platform) {
  picker_ = std::make_shared<HotkeyPicker>(
      platform, hotkeyPop, pickHotkeyButton,
      HotkeyPickerWords{"Map", "Wait", [](const MurvelHotkeyOption&) { return "Picked"; }, "Retry",
                        "Done", true, "Choose which key starts and stops dictation",
                        "Click, then press Fn, Right Command, Right Option, Right Control, or Caps "
                        "Lock"},
      HotkeyPicker::Hooks{[this] { return appDelegate.lock(); }, [this] { refreshHotkeyText(); },
                          [this] {
                            refreshHotkeyText();
                          }});
  subtitleLabel.setTextColor(Color::secondaryLabelColor);
  resultText.setTextColor(Color::secondaryLabelColor);
  copyButton.setEnabled(false);
}

View& PopoverViewController::view() {
  loadView();
  return view_;
}

void PopoverViewController::loadView() {
  if (viewLoaded_)
    return;
  viewLoaded_ = true;
  view_.setSize({340, 320});
  view_.setBackgroundColor(Color::windowBackgroundColor);
  buildLayout();
}

void PopoverViewController::buildLayout() {
  closeButton.setTitle("x");
  closeButton.setBordered(false);
  closeButton.setFont(Font::system(14, FontWeight::semibold));
  closeButton.setToolTip("Close");
  closeButton.action = [this] {
    closeTapped();
  };

  segControl.setLabels({"Dictate", "History", "Account"});
  segControl.setSelectedSegment(0);
  segControl.action = [this] {
    segChanged();
  };
  view_.addRow(LayoutRow{{&segControl}, {}, {&closeButton}});

  mainPanel.setSize(tabSize);
  view_.addRow(mainPanel);
  buildMainPanel();
  historyPanel.setSize(tabSize);
  historyPanel.setHidden(true);
  view_.addRow(historyPanel);
  buildHistoryPanel();
  accountPanel.setSize(tabSize);
  accountPanel.setHidden(true);
  view_.addRow(accountPanel);
  buildAccountPanel();
  applyIdleInstructions();
}

void PopoverViewController::buildMainPanel() {
  iconLabel.setFont(Font::system(26));
  iconLabel.setAlignment(TextAlignment::center);
  mainPanel.addRow(iconLabel);
  titleLabel.setFont(Font::bold(14));
  titleLabel.setAlignment(TextAlignment::center);
  mainPanel.addRow(titleLabel);
  subtitleLabel.setFont(Font::system(11));
  subtitleLabel.setTextColor(Color::secondaryLabelColor);
  subtitleLabel.setAlignment(TextAlignment::center);
  // The longest subtitle, after a smart re-paste, needs a second line at this size.
  subtitleLabel.setMaximumNumberOfLines(2);
  mainPanel.addRow(subtitleLabel);
  statsLabel.setFont(Font::monospacedSystem(10));
  statsLabel.setTextColor(Color::tertiaryLabelColor);
  statsLabel.setAlignment(TextAlignment::center);
  mainPanel.addRow(statsLabel);

  Box& separator = mainPanel.make<Box>(BoxType::separator);
  separator.setSize({320, 1});
  mainPanel.addRow(LayoutRow{{}, {&separator}, {}});

  resultText.setEditable(false);
  resultText.setSelectable(true);
  resultText.setBackgroundColor(Color::clearColor);
  resultText.setFont(Font::system(13));
  resultText.setTextContainerInset({4, 4});
  resultText.setString("");
  resultText.setTextColor(Color::secondaryLabelColor);
  resultBox.setDocumentView(resultText);
  resultBox.setSize({320, 114});
  resultBox.setHasVerticalScroller(true);
  resultBox.setAutohidesScrollers(true);
  resultBox.setBordered(false);
  mainPanel.addRow(LayoutRow{{}, {&resultBox}, {}});

  Label& cleanupStatusLabel = mainPanel.make<Label>("", Color::systemBlueColor);
  cleanupStatusLabel.setFont(Font::system(10));
  cleanupStatusLabel.setTag(cleanupStatusTag);
  Label& trigger = mainPanel.make<Label>("Trigger", Color::tertiaryLabelColor);
  trigger.setFont(Font::system(10, FontWeight::medium));
  trigger.setAlignment(TextAlignment::right);
  hotkeyPop.setControlSize(ControlSize::small);
  pickHotkeyButton.setControlSize(ControlSize::small);
  mainPanel.addRow(LayoutRow{{&cleanupStatusLabel}, {}, {&trigger, &hotkeyPop, &pickHotkeyButton}});

  for (Button* button : {&recordButton, &copyButton}) {
    button->setBezelStyle(BezelStyle::rounded);
    button->setSize({148, 28});
  }
  recordButton.setTitle("Record");
  recordButton.action = [this] {
    recordTapped();
  };
  copyButton.setTitle("Copy Result");
  copyButton.setEnabled(false);
  copyButton.action = [this] {
    copyTapped();
  };
  mainPanel.addRow(LayoutRow{{&recordButton}, {}, {&copyButton}});

  // The popup's items and selection come before its action, so building fires nothing.
  picker_->configureControls();
  updateCleanupLabel();
}

void PopoverViewController::segChanged() {
  const long selected = segControl.selectedSegment();
  mainPanel.setHidden(selected != 0);
  historyPanel.setHidden(selected != 1);
  accountPanel.setHidden(selected != 2);
  if (selected == 1)
    refreshHistory();
  if (selected == 2)
    loadAccountInfo();
}

void PopoverViewController::setState(DictationState state) {
  // Always a later turn, even from the main thread, so announcements show in the order made.
  platform_.dispatch.async([weakSelf = weak_from_this(), state = std::move(state)] {
    if (auto self = weakSelf.lock())
      self->render(state);
  });
}

void PopoverViewController::render(const DictationState& state) {
  updateCleanupLabel();
  switch (state.kind) {
    case DictationState::Kind::idle:
      iconLabel.setText("\U0001F3A4");
      titleLabel.setText("Murvel Dictation");
      statsLabel.setText("");
      applyIdleInstructions();
      resultText.setTextColor(Color::secondaryLabelColor);
      recordButton.setTitle("Record");
      copyButton.setEnabled(false);
      break;
    case DictationState::Kind::recording:
      iconLabel.setText("\U0001F534");
      titleLabel.setText("Listening\u2026");
      subtitleLabel.setText("Release " + hotkeyName() + " to stop and transcribe");
      statsLabel.setText("");
      resultText.setString("Recording\u2026");
      resultText.setTextColor(Color::systemRedColor);
      recordButton.setTitle("Stop");
      copyButton.setEnabled(false);
      break;
    case DictationState::Kind::transcribing:
      iconLabel.setText("\u23F3");
      titleLabel.setText("Transcribing\u2026");
      subtitleLabel.setText("Processing in Murvel Cloud");
      statsLabel.setText("");
      resultText.setString("Processing\u2026");
      resultText.setTextColor(Color::secondaryLabelColor);
      recordButton.setTitle("Record");
      break;
    case DictationState::Kind::done: {
      const std::string mode = Settings(platform_.userDefaults).cleanupMode();
      std::string suffix;
      if (mode == "fast")
        suffix = " \u00B7 Fast cleaned";
      if (mode == "smart")
        suffix = " \u00B7 Smart cleaned";
      iconLabel.setText("\u2705");
      titleLabel.setText("Pasted!");
      subtitleLabel.setText("Pasted into active window" + suffix + " \u00B7 encrypted in transit");
      statsLabel.setText(std::to_string(state.words) + " words  \u00B7  ~" +
                         std::to_string(state.wpm) + " WPM");
      resultText.setString(state.text);
      resultText.setTextColor(Color::labelColor);
      recordButton.setTitle("Record");
      copyButton.setEnabled(true);
      lastText = state.text;
      refreshHistory();
      break;
    }
    case DictationState::Kind::error:
      iconLabel.setText("\u26A0\uFE0F");
      titleLabel.setText("Error");
      subtitleLabel.setText("Something went wrong");
      statsLabel.setText("");
      resultText.setString(state.message);
      resultText.setTextColor(Color::systemOrangeColor);
      recordButton.setTitle("Record");
      copyButton.setEnabled(false);
      break;
  }
  for (const auto& observer : renderObservers_) observer(state);
}

std::string PopoverViewController::hotkeyName() {
  if (auto delegate = appDelegate.lock())
    return delegate->hotkeyDisplayName();
  return "Fn";
}

void PopoverViewController::applyIdleInstructions() {
  const std::string name = hotkeyName();
  auto delegate = appDelegate.lock();
  if (delegate && delegate->hasAccessibilityAccess()) {
    subtitleLabel.setText("Hold " + name + " to dictate \u00B7 release to transcribe");
    resultText.setString("Ready. Hold " + name + " anywhere on your Mac to start dictating.\n\n" +
                         privacyNote);
  } else {
    subtitleLabel.setText("Enable Global in Settings to use " + name + " in other apps");
    resultText.setString(
        "Murvel can only see the hotkey while it is focused. Enable Global in Settings so " + name +
        " works while you stay in Chrome, Google Meet, WhatsApp, and other apps.\n\n" +
        privacyNote);
  }
}

void PopoverViewController::refreshHotkeyText() {
  syncHotkeyPopup();
  // The title on the screen is the panel's only memory of the state it shows.
  if (titleLabel.text() == "Listening\u2026") {
    subtitleLabel.setText("Release " + hotkeyName() + " to stop and transcribe");
  } else if (titleLabel.text() == "Murvel Dictation") {
    applyIdleInstructions();
  }
}

void PopoverViewController::updateCleanupLabel() {
  auto* label = static_cast<Label*>(mainPanel.viewWithTag(cleanupStatusTag));
  if (label == nullptr)
    return;
  const std::string mode = Settings(platform_.userDefaults).cleanupMode();
  if (mode == "fast") {
    label->setText("\u2726 Fast cleanup");
  } else if (mode == "smart") {
    label->setText("\u2726 Smart cleanup");
  } else {
    label->setText("");
  }
}

void PopoverViewController::recordTapped() {
  if (auto delegate = appDelegate.lock())
    delegate->toggleRecording();
}

void PopoverViewController::copyTapped() {
  if (lastText.empty())
    return;
  platform_.pasteboard.clearContents();
  platform_.pasteboard.setString(lastText, pasteboardTypeString);
  copyButton.setTitle("Copied!");
  // Not cancellable: a second click's reset may end the first "Copied!" early.
  platform_.dispatch.asyncAfter(
      1.5, [self = shared_from_this()] { self->copyButton.setTitle("Copy Result"); });
}

void PopoverViewController::closeTapped() {
  if (auto delegate = appDelegate.lock())
    delegate->quitMurvel();
}

void PopoverViewController::viewDidDisappear() {
  stopHotkeyCapture();
}

void PopoverViewController::syncHotkeyPopup() {
  picker_->syncPopup();
}

void PopoverViewController::stopHotkeyCapture() {
  picker_->stopHotkeyCapture();
}

void PopoverViewController::flashPickHotkeyButton(std::string title) {
  picker_->flashPickHotkeyButton(std::move(title));
}

void PopoverViewController::beginHotkeyCapture() {
  picker_->beginHotkeyCapture();
}

void PopoverViewController::hotkeyChanged() {
  picker_->hotkeyChanged();
}

}  // namespace murvel
