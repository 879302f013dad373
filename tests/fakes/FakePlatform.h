#pragma once

#include <filesystem>

#include "fakes/FakeAudio.h"
#include "fakes/FakeDelivery.h"
#include "fakes/FakeDesktop.h"
#include "fakes/FakeNetwork.h"
#include "fakes/FakeShell.h"
#include "fakes/FakeStores.h"
#include "fakes/VirtualDispatch.h"
#include "platform/Platform.h"
#include "support/TemporaryDirectory.h"

namespace murvel::testing {

using TemporaryDirectory = murvel::test::TemporaryDirectory;

// Families that a test puts in place of fakes.
struct RealFamilies {
  StandardOutput* standardOutput = nullptr;  // where trace lines go instead
  EventMonitors* eventMonitors = nullptr;    // monitors in front of the fake ones
};

// Every platform family as a fake, wired into one Platform. The workspace's temporary and
// data directories lie in a private temporary directory.
struct FakePlatform {
  explicit FakePlatform(RealFamilies real = {});

  TemporaryDirectory directory;
  VirtualDispatch dispatch;
  FakeUserDefaults userDefaults;
  FakeAudioRecorderFactory audioRecorders;
  FakeCaptureDevice captureDevice;
  FakeWorkspace workspace;
  FakeSounds sounds;
  FakeKeychain keychain;
  FakeEventMonitors eventMonitors;
  FakeUrlSessions urlSessions;
  FakePasteboard pasteboard;
  FakeKeyEventPoster keyEventPoster;
  FakeAccessibility accessibility;
  FakeAlerts alerts;
  FakeBundle bundle;
  FakeApplication application;
  FakeUrlEvents urlEvents;
  CapturingOutput standardOutput;
  FakeStatusBar statusBar;
  FakeWindowServer windowServer;
  FakeDateFormatter dateFormatter;
  // The calls of several families in the order they came, as far as each notes them.
  std::vector<std::string> journal;

  Platform platform;
};

}  // namespace murvel::testing
