#include "NetTestSupport.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <stdexcept>

namespace murvel::test {

TaskCompletion CompletionLog::record() {
  return [this](std::optional<std::string> data, std::optional<HttpResponse> response,
                std::optional<PlatformError> error) {
    // Notified under the lock: the waiter may destroy the log as soon as it sees the outcome.
    std::lock_guard lock(mutex_);
    outcomes_.push_back(
        {std::move(data), std::move(response), std::move(error), std::this_thread::get_id()});
    changed_.notify_all();
  };
}

std::vector<Outcome> CompletionLog::waitFor(std::size_t count) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::chrono::seconds(15), [&] { return outcomes_.size() >= count; });
  return outcomes_;
}

std::vector<Outcome> CompletionLog::outcomes() const {
  std::lock_guard lock(mutex_);
  return outcomes_;
}

UrlRequest makeRequest(std::string url, std::string method, HttpHeaders headers) {
  UrlRequest request;
  request.url = std::move(url);
  request.httpMethod = std::move(method);
  for (auto& [field, value] : headers) request.setValue(std::move(value), field);
  return request;
}

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "murvel-net-XXXXXX").string();
  if (!mkdtemp(pattern.data()))
    throw std::runtime_error("no temporary directory");
  path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::pair<std::filesystem::path, std::string> TemporaryDirectory::writeFile(
    const std::string& name, std::size_t size) const {
  std::mt19937 generator(static_cast<std::mt19937::result_type>(size));
  std::uniform_int_distribution<int> byte(0, 255);
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(byte(generator));
  const std::filesystem::path file = path_ / name;
  std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(size));
  return {file, bytes};
}

LibraryServer::LibraryServer() {
  port_ = server_.bind_to_any_port("127.0.0.1");
  if (port_ <= 0)
    throw std::runtime_error("the loopback test server could not listen");
}

LibraryServer::~LibraryServer() {
  server_.stop();
  if (thread_.joinable())
    thread_.join();
}

void LibraryServer::start() {
  // The socket already listens, so a client may connect before the thread gets going.
  thread_ = std::thread([this] { server_.listen_after_bind(); });
  // stop() only reaches a server that has begun to run.
  while (!server_.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

std::string LibraryServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

}  // namespace murvel::test
