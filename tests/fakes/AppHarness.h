#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "fakes/FakePlatform.h"
#include "hotkey/HotkeyCatalogue.h"
#include "shell/AppDelegate.h"
#include "shell/PopoverViewController.h"

namespace murvel::testing {

// Where a refused microphone sends the person.
inline const std::string microphonePane =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone";

// An AppDelegate over fake platform families, with the panel's announcements collected in the
// order they were rendered.
class AppHarness {
 public:
  explicit AppHarness(std::string baseURL = "https://murvel.test/api", RealFamilies real = {})
      : fake(real), app(std::make_shared<AppDelegate>(fake.platform, std::move(baseURL))) {}

  // The delegate goes before the fakes it uses, and queued blocks may hold it.
  ~AppHarness() {
    app.reset();
    fake.dispatch.discardAll();
  }
  AppHarness(const AppHarness&) = delete;
  AppHarness& operator=(const AppHarness&) = delete;

  // The full launch, as the platform runs it.
  void launch() {
    app->applicationWillFinishLaunching();
    app->applicationDidFinishLaunching();
    observePanel();
    fake.dispatch.runUntilIdle();
  }

  // A launch of someone signed in who has seen this version's hint and permission prompt.
  void launchSignedIn() {
    fake.keychain.storeAccessKey("key");
    fake.userDefaults.stored["lastLaunchHintVersion"] = "2.3";
    fake.userDefaults.stored["lastPermissionsPromptVersion"] = "2.3";
    launch();
  }

  // What launch sets up for a dictation, without the rest of launch.
  void prepareSession() {
    app->settings.registerDefaults();
    app->setupMenuBar();
    app->setupPopover();
    app->setupRecordingURL();
    observePanel();
  }
  // A signed-in session whose hotkey is in place, without the rest of launch.
  void prepareDictation(const std::string& accessKey = "key") {
    fake.keychain.storeAccessKey(accessKey);
    prepareSession();
    app->setupHotkey();
  }

  void observePanel() {
    if (observing_ || !app->popoverVC)
      return;
    observing_ = true;
    app->popoverVC->addRenderObserver(
        [this](const DictationState& state) { shown.push_back(state); });
  }

  static KeyEvent flagsChanged(std::uint16_t keyCode, std::uint64_t flags) {
    return KeyEvent{KeyEventType::flagsChanged, keyCode, flags};
  }
  static const MurvelHotkeyOption& option(const std::string& token) {
    for (const auto& option : murvelHotkeyOptions()) {
      if (option.value == token)
        return option;
    }
    throw std::invalid_argument(token);
  }
  // The chosen key going down and up, heard by the global monitor, with no other modifier held.
  void press(const std::string& token = "fn") {
    const auto& key = option(token);
    fake.eventMonitors.sendGlobal(flagsChanged(key.keyCode, key.modifierFlag));
  }
  void release(const std::string& token = "fn") {
    fake.eventMonitors.sendGlobal(flagsChanged(option(token).keyCode, 0));
  }
  // The key held for `seconds` of speech, then released and what the release queued run.
  void dictate(double seconds = 2.0) {
    press();
    fake.dispatch.advance(seconds);
    release();
    fake.dispatch.runUntilIdle();
  }

  std::vector<std::string> trace() const { return fake.standardOutput.lines(); }
  // The trace with every time field's value masked, so trails compare line by line.
  std::vector<std::string> maskedTrace() const {
    static const std::regex times(R"((_ms=)-?[0-9]+\.[0-9])");
    static const std::regex id(R"(\]\[[0-9A-F]{8}\]\[)");
    std::vector<std::string> lines;
    for (const auto& line : trace()) {
      lines.push_back(std::regex_replace(std::regex_replace(line, times, "$1#"), id, "][ID]["));
    }
    return lines;
  }
  std::filesystem::path recordingFile() const {
    return fake.workspace.temporary / "murvel_recording.wav";
  }
  void writeRecording(std::size_t bytes) const {
    std::ofstream out(recordingFile(), std::ios::binary | std::ios::trunc);
    out << std::string(bytes, 'x');
  }

  FakePlatform fake;
  std::shared_ptr<AppDelegate> app;
  std::vector<DictationState> shown;

 private:
  bool observing_ = false;
};

}  // namespace murvel::testing
