#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/Accessibility.h"
#include "platform/Alerts.h"
#include "platform/Application.h"
#include "platform/Bundle.h"
#include "platform/EventMonitors.h"
#include "platform/UrlEvents.h"
#include "platform/Workspace.h"

namespace murvel::testing {

class FakeWorkspace final : public Workspace {
 public:
  std::optional<RunningApplication> frontmostApplication() override { return frontmost; }
  std::vector<RunningApplication> runningApplications() override {
    note("runningApplications");
    return running;
  }
  void activate(const RunningApplication& application) override {
    activated.push_back(application);
  }
  bool openURL(const std::string& url) override {
    opened.push_back(url);
    return true;
  }
  std::filesystem::path temporaryDirectory() override { return temporary; }
  std::optional<std::filesystem::path> applicationSupportDirectory() override {
    note("applicationSupportDirectory");
    return applicationSupport;
  }

  std::optional<RunningApplication> frontmost;
  std::vector<RunningApplication> running;
  std::vector<RunningApplication> activated;
  std::vector<std::string> opened;
  std::filesystem::path temporary;
  std::optional<std::filesystem::path> applicationSupport;
  std::vector<std::string>* journal = nullptr;  // gets the name of each call that is noted

 private:
  void note(const char* call) const {
    if (journal)
      journal->push_back(call);
  }
};

class FakeApplication final : public Application {
 public:
  void terminate() override { ++terminations; }
  void activateIgnoringOtherApps(bool) override { ++activations; }
  std::int64_t processIdentifier() override { return pid; }
  std::optional<std::uint64_t> currentEventType() override { return currentEvent; }

  std::optional<std::uint64_t> currentEvent;
  int terminations = 0;
  int activations = 0;
  std::int64_t pid = 4242;
};

class FakeBundle final : public Bundle {
 public:
  std::optional<PropertyValue> objectForInfoDictionaryKey(std::string_view key) override {
    auto found = info.find(std::string(key));
    if (found == info.end())
      return std::nullopt;
    return found->second;
  }
  std::map<std::string, PropertyValue> info{{"CFBundleShortVersionString", "2.3"}};
};

class FakeAccessibility final : public Accessibility {
 public:
  bool isProcessTrusted() override { return trusted; }
  bool trusted = true;
};

// Alerts answered from a script: each shown alert takes the next answer, "Later"-like 1000 + the
// last index when the script runs dry.
class FakeAlerts final : public Alerts {
 public:
  long runModal(const Alert& alert) override;
  std::vector<Alert> shown;
  std::deque<long> answers;
};

class FakeUrlEvents final : public UrlEvents {
 public:
  void setEventHandler(std::function<void(const UrlEvent&)> newHandler) override {
    handler = std::move(newHandler);
  }
  void deliver(const std::string& url) const {
    if (handler)
      handler(UrlEvent{url});
  }
  std::function<void(const UrlEvent&)> handler;
};

// Monitors whose events the test sends: `sendLocal` and `sendGlobal` reach the handlers that
// are installed for that kind and whose mask includes the event's type.
class FakeEventMonitors final : public EventMonitors {
 public:
  std::optional<MonitorToken> addLocalMonitor(
      std::uint64_t mask, std::function<std::optional<KeyEvent>(const KeyEvent&)> handler) override;
  std::optional<MonitorToken> addGlobalMonitor(
      std::uint64_t mask, std::function<void(const KeyEvent&)> handler) override;
  void removeMonitor(MonitorToken token) override;

  // What the local handlers made of the event: nothing once one of them swallowed it.
  std::optional<KeyEvent> sendLocal(const KeyEvent& event);
  void sendGlobal(const KeyEvent& event);

  std::size_t localCount() const { return local_.size(); }
  std::size_t globalCount() const { return global_.size(); }
  std::vector<std::uint64_t> localMasks() const;

 private:
  struct Local {
    std::uint64_t mask;
    std::function<std::optional<KeyEvent>(const KeyEvent&)> handler;
  };
  struct Global {
    std::uint64_t mask;
    std::function<void(const KeyEvent&)> handler;
  };
  std::map<MonitorToken, Local> local_;
  std::map<MonitorToken, Global> global_;
  MonitorToken next_ = 1;
};

}  // namespace murvel::testing
