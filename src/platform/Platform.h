#pragma once

#include "platform/Accessibility.h"
#include "platform/Alerts.h"
#include "platform/Application.h"
#include "platform/AudioRecorder.h"
#include "platform/Bundle.h"
#include "platform/CaptureDevice.h"
#include "platform/DateFormatter.h"
#include "platform/Dispatch.h"
#include "platform/EventMonitors.h"
#include "platform/KeyEventPoster.h"
#include "platform/KeychainBackend.h"
#include "platform/Pasteboard.h"
#include "platform/Sounds.h"
#include "platform/StandardOutput.h"
#include "platform/StatusBar.h"
#include "platform/UrlEvents.h"
#include "platform/UrlSession.h"
#include "platform/UserDefaults.h"
#include "platform/WindowServer.h"
#include "platform/Workspace.h"

namespace murvel {

// Everything the system reaches outside itself, one family each. The families outlive the
// AppDelegate that is built over them.
struct Platform {
  Dispatch& dispatch;
  UserDefaults& userDefaults;
  AudioRecorderFactory& audioRecorders;
  CaptureDevice& captureDevice;
  Workspace& workspace;
  Sounds& sounds;
  KeychainBackend& keychain;
  EventMonitors& eventMonitors;
  UrlSessions& urlSessions;
  Pasteboard& pasteboard;
  KeyEventPoster& keyEventPoster;
  Accessibility& accessibility;
  Alerts& alerts;
  Bundle& bundle;
  Application& application;
  UrlEvents& urlEvents;
  StandardOutput& standardOutput;
  StatusBar& statusBar;
  WindowServer& windowServer;
  DateFormatter& dateFormatter;
};

}  // namespace murvel
