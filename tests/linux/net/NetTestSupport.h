#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "TemporaryDirectory.h"
#include "common/Files.h"
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
  TaskCompletion record(int tag = 0, std::function<void()> then = {}) {
    return [this, tag, then](std::optional<std::string> data, std::optional<HttpResponse> response,
                             std::optional<PlatformError> error) {
      // Notified under the lock: the waiter may destroy the log as soon as it sees the outcome.
      std::lock_guard lock(mutex_);
      outcomes_.push_back({std::move(data), std::move(response), std::move(error),
                           std::this_thread::get_id(), tag});
      changed_.notify_all();
      if (then)
        then();
    };
  }

  // Waits until `count` completions have come, or a generous deadline passes; returns all so far.
  std::vector<Outcome> waitFor(std::size_t count) const {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(15), [&] { return outcomes_.size() >= count; });
    return outcomes_;
  }
  std::vector<Outcome> outcomes() const { return waitFor(0); }

  // Resumes `task` and returns what its completion got (which must be the next to come).
  Outcome run(const std::shared_ptr<UrlSessionTask>& task) {
    const size_t before = outcomes().size();
    task->resume();
    const std::vector<Outcome> all = waitFor(before + 1);
    EXPECT_EQ(all.size(), before + 1);
    return all.size() > before ? all[before] : Outcome{};
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Outcome> outcomes_;
};

inline UrlRequest makeRequest(std::string url, std::string method, HttpHeaders headers = {},
                              std::optional<std::string> body = std::nullopt) {
  return {.url = std::move(url),
          .httpMethod = std::move(method),
          .headers = std::move(headers),
          .httpBody = std::move(body)};
}

inline UrlSessionConfiguration configuration(double requestTimeout = 30.0,
                                             double resourceTimeout = 7 * 86400.0) {
  return {.httpMaximumConnectionsPerHost = 2,
          .timeoutIntervalForRequest = requestTimeout,
          .timeoutIntervalForResource = resourceTimeout};
}

inline void expectError(const Outcome& outcome, linux_platform::UrlErrorCode code,
                        const std::string& sentence) {
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->domain, linux_platform::urlErrorDomain);
  EXPECT_EQ(outcome.error->code, static_cast<long>(code));
  EXPECT_EQ(outcome.error->localizedDescription, sentence);
  EXPECT_FALSE(outcome.data);
  EXPECT_FALSE(outcome.response);
}

// `size` bytes of a pseudo-random pattern that `seed` picks.
inline std::string patternBytes(std::size_t size, unsigned seed = 1) {
  std::mt19937 generator(seed);
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(generator());
  return bytes;
}

// The log, a session with two connections per host that a test may replace, and a private
// directory for files to upload.
class NetTest : public ::testing::Test {
 protected:
  // Writes `bytes` to a new file of that name in the directory.
  std::filesystem::path writeFile(const std::string& name, const std::string& bytes) const {
    const std::filesystem::path file = directory / name;
    EXPECT_TRUE(writeFileAtomically(file, bytes, false));
    return file;
  }

  TemporaryDirectory temporary;
  std::filesystem::path directory = temporary.path();
  CompletionLog log;
  linux_platform::CurlUrlSessions sessions;
  std::shared_ptr<UrlSession> session = sessions.sessionWithConfiguration(configuration());
};

}  // namespace murvel::test
