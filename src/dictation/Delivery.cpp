#include "common/Text.h"
#include "dictation/WordCount.h"
#include "hotkey/KeyEvent.h"
#include "shell/AppDelegate.h"
#include "shell/PopoverViewController.h"

namespace murvel {

void AppDelegate::pasteText(std::string text, std::function<void()> onPosted) {
  platform_.pasteboard.clearContents();
  platform_.pasteboard.setString(text, pasteboardTypeString);
  platform_.dispatch.asyncAfter(
      0.015, [&poster = platform_.keyEventPoster, onPosted = std::move(onPosted)] {
        auto source = poster.eventSourceCreate(eventSourceStateHIDSystemState);
        auto keyDown = poster.keyboardEventCreate(source.get(), KeyCode::v, true);
        auto keyUp = poster.keyboardEventCreate(source.get(), KeyCode::v, false);
        if (keyDown)
          keyDown->flags = ModifierFlag::command;
        if (keyUp)
          keyUp->flags = ModifierFlag::command;
        if (keyDown)
          poster.eventPost(hidEventTap, *keyDown);
        if (keyUp)
          poster.eventPost(hidEventTap, *keyUp);
        if (onPosted)
          onPosted();
      });
}

void AppDelegate::finishWithText(std::string text, double duration, bool cleanupFailed,
                                 std::optional<std::string> cleanupMode,
                                 std::optional<std::string> traceID,
                                 std::optional<Date> releasedAt) {
  pasteText(text, [weakSelf = weak_from_this(), text, cleanupMode, traceID, releasedAt] {
    if (!traceID || !releasedAt)
      return;
    auto self = weakSelf.lock();
    if (!self)
      return;
    self->logDictationTrace(
        *traceID, "paste_posted",
        {{"after_release_ms", millisecondsBetween(self->platform_.dispatch.now(), *releasedAt)},
         {"cleanup_mode", cleanupMode ? *cleanupMode : self->settings.cleanupMode()},
         {"text_chars", static_cast<std::int64_t>(userPerceivedCharacterCount(text))}});
  });

  const long long words = murvelWordCount(text);
  addHistoryEntry(HistoryEntry{text, platform_.dispatch.now(), duration, words});
  const long long wpm = murvelWordsPerMinute(words, duration);
  announce(DictationState::done(text, words, wpm));

  std::optional<std::string> subtitle;
  if (cleanupFailed) {
    subtitle = "Pasted (AI cleanup unavailable)";
  } else if (cleanupMode && *cleanupMode != "off") {
    subtitle = "Pasted into active window \u00B7 " + cleanupModeDisplayName(cleanupMode) +
               " \u00B7 encrypted in transit";
  }
  if (subtitle && popoverVC) {
    // Queued behind the rendering of `done`, so this wording is what stays on the screen.
    platform_.dispatch.async([weakPanel = std::weak_ptr<PopoverViewController>(popoverVC),
                              subtitle = std::move(*subtitle)] {
      if (auto panel = weakPanel.lock())
        panel->subtitleLabel.setText(subtitle);
    });
  }
}

}  // namespace murvel
