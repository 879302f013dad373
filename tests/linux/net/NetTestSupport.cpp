#include "NetTestSupport.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <stdexcept>

namespace murvel::test {

TaskCompletion CompletionLog::record(int tag, std::function<void()> then) {
  return [this, tag, then](std::optional<std::string> data, std::optional<HttpResponse> response,
                           std::optional<PlatformError> error) {
    // Notified under the lock: the waiter may destroy the log as soon as it sees the outcome.
    std::lock_guard lock(mutex_);
    outcomes_.push_back(
        {std::move(data), std::move(response), std::move(error), std::this_thread::get_id(), tag});
    changed_.notify_all();
    if (then)
      then();
  };
}

std::vector<Outcome> CompletionLog::waitFor(std::size_t count) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::chrono::seconds(15), [&] { return outcomes_.size() >= count; });
  return outcomes_;
}

Outcome CompletionLog::run(const std::shared_ptr<UrlSessionTask>& task) {
  const size_t before = outcomes().size();
  task->resume();
  const std::vector<Outcome> all = waitFor(before + 1);
  EXPECT_EQ(all.size(), before + 1);
  return all.size() > before ? all[before] : Outcome{};
}

UrlRequest makeRequest(std::string url, std::string method, HttpHeaders headers,
                       std::optional<std::string> body) {
  return {.url = std::move(url),
          .httpMethod = std::move(method),
          .headers = std::move(headers),
          .httpBody = std::move(body)};
}

UrlSessionConfiguration configuration(double requestTimeout, double resourceTimeout) {
  return {.httpMaximumConnectionsPerHost = 2,
          .timeoutIntervalForRequest = requestTimeout,
          .timeoutIntervalForResource = resourceTimeout};
}

void expectError(const Outcome& outcome, linux_platform::UrlErrorCode code,
                 const std::string& sentence) {
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->domain, linux_platform::urlErrorDomain);
  EXPECT_EQ(outcome.error->code, static_cast<long>(code));
  EXPECT_EQ(outcome.error->localizedDescription, sentence);
  EXPECT_FALSE(outcome.data);
  EXPECT_FALSE(outcome.response);
}

std::string patternBytes(std::size_t size, unsigned seed) {
  std::mt19937 generator(seed);
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(generator());
  return bytes;
}

std::filesystem::path NetTest::writeFile(const std::string& name, const std::string& bytes) const {
  const std::filesystem::path file = directory / name;
  std::ofstream(file, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
  return file;
}

}  // namespace murvel::test
