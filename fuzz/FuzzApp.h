#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Violated.h"
#include "dictation/DictationState.h"
#include "fakes/FakePlatform.h"
#include "shell/AppDelegate.h"
#include "shell/PopoverViewController.h"

namespace murvel::fuzzing {

// One delegate over fake platform families, kept for the whole run of a fuzzer, the way the
// application keeps it for a session; each input is one more reply it has to take.
// Trace lines go nowhere: kept, they would grow with every input.
class DiscardedOutput final : public StandardOutput {
 public:
  void writeLine(std::string_view) override {}
};

struct FuzzApp {
  FuzzApp()
      : fake(testing::RealFamilies{.standardOutput = &output}),
        app(std::make_shared<AppDelegate>(fake.platform, "https://murvel.test/api")) {
    fake.keychain.storeAccessKey("fuzz-key");
    // The history stays in memory: a synced file write per input would halve the speed.
    fake.workspace.applicationSupport.reset();
    app->settings.registerDefaults();
    app->setupMenuBar();
    app->setupPopover();
    app->setupRecordingURL();
    // A recording large enough to be sent; no recorder ever replaces it.
    std::ofstream(fake.workspace.temporary / "murvel_recording.wav", std::ios::binary)
        << std::string(8192, 'x');
    app->popoverVC->addRenderObserver(
        [this](const DictationState& state) { shown.push_back(state); });
  }

  // Forgets what earlier inputs left behind, so memory stays flat over millions of runs.
  void reset() {
    fake.urlSessions.tasks.clear();
    fake.pasteboard.operations.clear();
    fake.keyEventPoster.posted.clear();
    shown.clear();
  }

  // A dictation released with the given mode, its upload made and waiting for a reply.
  void upload(const char* cleanupMode) {
    reset();
    app->settings.setCleanupMode(cleanupMode);
    app->transcribeAudio();
    fake.dispatch.runUntilIdle();
  }

  // Completes the waiting request on `suffix` with the fuzzer's bytes and lets every queue run.
  void reply(const char* suffix, const std::uint8_t* data, std::size_t size) {
    fake.urlSessions.reply(suffix, std::string(reinterpret_cast<const char*>(data), size));
    settle();
  }

  void settle() {
    fake.dispatch.runUntilIdle();
    fake.dispatch.advance(0.1);
    fake.dispatch.runUntilIdle();
  }

  DiscardedOutput output;
  testing::FakePlatform fake;
  std::shared_ptr<AppDelegate> app;
  std::vector<DictationState> shown;
};

}  // namespace murvel::fuzzing
