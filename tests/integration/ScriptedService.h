#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "RawHttpServer.h"
#include "fakes/AppHarness.h"
#include "platform/linux/net/CurlUrlSessions.h"

namespace murvel::testing {

using Server = murvel::test::RawHttpServer;

// A loopback stand-in for the service: each endpoint answers from a script the test writes,
// and every request is kept exactly as it arrived.
class ScriptedService {
 public:
  ScriptedService() : server_([this](const Server::Request& request) { return answer(request); }) {}

  // The next request on `path` (e.g. "/api/transcribe") gets this reply; with none scripted a
  // path answers 404 with an error object.
  void script(const std::string& path, std::string body, int status = 200) {
    std::lock_guard lock(mutex_);
    replies_[path].push_back(Server::Answer{status, std::move(body)});
  }

  std::string baseURL() const { return server_.url("/api"); }
  std::vector<Server::Request> requests(const std::string& path) const {
    std::vector<Server::Request> found;
    for (auto& request : server_.requests()) {
      if (pathOf(request) == path)
        found.push_back(request);
    }
    return found;
  }
  static std::string pathOf(const Server::Request& request) {
    const auto first = request.requestLine.find(' ');
    const auto second = request.requestLine.find(' ', first + 1);
    std::string target = request.requestLine.substr(first + 1, second - first - 1);
    return target.substr(0, target.find('?'));
  }
  static std::vector<std::string> fieldNames(const Server::Request& request) {
    std::vector<std::string> names;
    for (const auto& [name, value] : request.headers) names.push_back(name);
    return names;
  }
  static std::optional<std::string> field(const Server::Request& request, std::string_view name) {
    for (const auto& [field, value] : request.headers) {
      if (field == name)
        return value;
    }
    return std::nullopt;
  }

 private:
  Server::Answer answer(const Server::Request& request) {
    std::lock_guard lock(mutex_);
    auto& queue = replies_[pathOf(request)];
    if (queue.empty())
      return Server::Answer{404, R"({"error":"not scripted"})"};
    Server::Answer next = queue.front();
    queue.pop_front();
    return next;
  }

  std::mutex mutex_;
  std::map<std::string, std::deque<Server::Answer>> replies_;
  Server server_;
};

// An application whose requests go out through real libcurl sessions to a ScriptedService.
class ServiceHarness {
 public:
  explicit ServiceHarness(std::string baseURL = {})
      : h(baseURL.empty() ? service.baseURL() : baseURL, RealFamilies{&sessions}) {
    h.fake.keychain.storeAccessKey("secret-key");
    h.prepareSession();
  }

  // A dictation of `seconds` through the hotkey, its file written by the fake recorder, then
  // everything up to the end of the delivery: done or error on the panel and the keystroke.
  void dictate(double seconds = 2.0) {
    const std::size_t before = finished();
    h.app->setupHotkey();
    h.press();
    h.fake.dispatch.advance(seconds);
    h.release();
    settle(before);
  }
  // Waits for one more dictation to end, then lets the delayed keystroke go out.
  void settle(std::size_t before) {
    EXPECT_TRUE(h.fake.dispatch.runUntil([&] { return finished() > before; }))
        << "the dictation did not end";
    h.fake.dispatch.advance(0.1);
  }
  std::size_t finished() const {
    return static_cast<std::size_t>(
        std::count_if(h.shown.begin(), h.shown.end(), [](const DictationState& state) {
          return state.kind == DictationState::Kind::done ||
                 state.kind == DictationState::Kind::error;
        }));
  }
  DictationState last() const { return h.shown.empty() ? DictationState::idle() : h.shown.back(); }

  std::vector<std::string> maskedTrace() const { return h.maskedTrace(); }

  ScriptedService service;
  linux_platform::CurlUrlSessions sessions;
  AppHarness h;
};

}  // namespace murvel::testing
