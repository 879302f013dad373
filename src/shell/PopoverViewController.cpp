#include "shell/PopoverViewController.h"

#include "shell/AppDelegate.h"

namespace murvel {

namespace {
const char* const privacyNote =
    "Encrypted in transit. Murvel only processes the dictation you choose to send and does not "
    "read what you type elsewhere on your Mac.";
}  // namespace

PopoverViewController::PopoverViewController(Platform& platform) : platform_(platform) {
  copyButton.setEnabled(false);
}

void PopoverViewController::loadView() {
  if (isViewLoaded())
    return;
  cleanupStatusLabel.emplace("", Color::systemBlueColor);
  resultText.setText("");
  resultText.setColor(Color::secondaryLabelColor);
  recordButton.setTitle("Record");
  copyButton.setTitle("Copy Result");
  copyButton.setEnabled(false);
  updateCleanupLabel();
  applyIdleInstructions();
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
      resultText.setColor(Color::secondaryLabelColor);
      recordButton.setTitle("Record");
      copyButton.setEnabled(false);
      break;
    case DictationState::Kind::recording:
      iconLabel.setText("\U0001F534");
      titleLabel.setText("Listening\u2026");
      subtitleLabel.setText("Release " + hotkeyName() + " to stop and transcribe");
      statsLabel.setText("");
      resultText.setText("Recording\u2026");
      resultText.setColor(Color::systemRedColor);
      recordButton.setTitle("Stop");
      copyButton.setEnabled(false);
      break;
    case DictationState::Kind::transcribing:
      iconLabel.setText("\u23F3");
      titleLabel.setText("Transcribing\u2026");
      subtitleLabel.setText("Processing in Murvel Cloud");
      statsLabel.setText("");
      resultText.setText("Processing\u2026");
      resultText.setColor(Color::secondaryLabelColor);
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
      resultText.setText(state.text);
      resultText.setColor(Color::labelColor);
      recordButton.setTitle("Record");
      copyButton.setEnabled(true);
      lastText = state.text;
      break;
    }
    case DictationState::Kind::error:
      iconLabel.setText("\u26A0\uFE0F");
      titleLabel.setText("Error");
      subtitleLabel.setText("Something went wrong");
      statsLabel.setText("");
      resultText.setText(state.message);
      resultText.setColor(Color::systemOrangeColor);
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
  const bool global = delegate && delegate->hasAccessibilityAccess();
  if (global) {
    subtitleLabel.setText("Hold " + name + " to dictate \u00B7 release to transcribe");
    resultText.setText("Ready. Hold " + name + " anywhere on your Mac to start dictating.\n\n" +
                       privacyNote);
  } else {
    subtitleLabel.setText("Enable Global in Settings to use " + name + " in other apps");
    resultText.setText(
        "Murvel can only see the hotkey while it is focused. Enable Global in Settings so " + name +
        " works while you stay in Chrome, Google Meet, WhatsApp, and other apps.\n\n" +
        privacyNote);
  }
}

void PopoverViewController::refreshHotkeyText() {
  if (titleLabel.text() == "Listening\u2026") {
    subtitleLabel.setText("Release " + hotkeyName() + " to stop and transcribe");
  } else if (titleLabel.text() == "Murvel Dictation") {
    applyIdleInstructions();
  }
}

void PopoverViewController::updateCleanupLabel() {
  if (!cleanupStatusLabel)
    return;
  const std::string mode = Settings(platform_.userDefaults).cleanupMode();
  if (mode == "fast") {
    cleanupStatusLabel->setText("\u2726 Fast cleanup");
  } else if (mode == "smart") {
    cleanupStatusLabel->setText("\u2726 Smart cleanup");
  } else {
    cleanupStatusLabel->setText("");
  }
}

}  // namespace murvel
