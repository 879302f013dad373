#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "TemporaryDirectory.h"
#include "platform/linux/net/CurlUrlSessions.h"
#include "platform/linux/net/UrlErrors.h"

namespace murvel::test {

// What one completion received, on which thread, and the tag its task was given.
struct Outcome {
  std::optional<std::string> data;
  std::optional<HttpResponse> response;
  std::optional<PlatformError> error;
  std::thread::id thread;
  int tag = 0;
};

// Collects completions from any thread. Declare it before the session, so that it outlives
// any completion that comes late.
class CompletionLog {
 public:
  // `then` runs after the outcome is in, before a waiter can see it.
  TaskCompletion record(int tag = 0, std::function<void()> then = {});
  // Waits until `count` completions have come, or a generous deadline passes; returns all so far.
  std::vector<Outcome> waitFor(std::size_t count) const;
  std::vector<Outcome> outcomes() const { return waitFor(0); }
  // Resumes `task` and returns what its completion got (which must be the next to come).
  Outcome run(const std::shared_ptr<UrlSessionTask>& task);

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Outcome> outcomes_;
};

UrlRequest makeRequest(std::string url, std::string method, HttpHeaders headers = {},
                       std::optional<std::string> body = std::nullopt);
UrlSessionConfiguration configuration(double requestTimeout = 30.0,
                                      double resourceTimeout = 7 * 86400.0);
void expectError(const Outcome& outcome, linux_platform::UrlErrorCode code,
                 const std::string& sentence);
// `size` bytes of a pseudo-random pattern that `seed` picks.
std::string patternBytes(std::size_t size, unsigned seed = 1);

// The log, a session with two connections per host that a test may replace, and a private
// directory for files to upload.
class NetTest : public ::testing::Test {
 protected:
  // Writes `bytes` to a new file of that name in the directory.
  std::filesystem::path writeFile(const std::string& name, const std::string& bytes) const;

  TemporaryDirectory temporary;
  std::filesystem::path directory = temporary.path();
  CompletionLog log;
  linux_platform::CurlUrlSessions sessions;
  std::shared_ptr<UrlSession> session = sessions.sessionWithConfiguration(configuration());
};

}  // namespace murvel::test
