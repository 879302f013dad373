#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/UrlSession.h"

namespace murvel::test {

// What one completion received, and on which thread.
struct Outcome {
  std::optional<std::string> data;
  std::optional<HttpResponse> response;
  std::optional<PlatformError> error;
  std::thread::id thread;
};

// Collects completions from any thread. Declare it before the session, so that it outlives
// any completion that comes late.
class CompletionLog {
 public:
  TaskCompletion record();
  // Waits until `count` completions have come, or a generous deadline passes, and returns all
  // that came.
  std::vector<Outcome> waitFor(std::size_t count) const;
  std::vector<Outcome> outcomes() const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Outcome> outcomes_;
};

UrlRequest makeRequest(std::string url, std::string method, HttpHeaders headers = {});

// A private directory under the system's temporary directory, removed with everything in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // Writes `size` bytes of a fixed pseudo-random pattern to a new file and returns its path and
  // the bytes.
  std::pair<std::filesystem::path, std::string> writeFile(const std::string& name,
                                                          std::size_t size) const;

 private:
  std::filesystem::path path_;
};

// A cpp-httplib server on a free loopback port, serving from its own thread.
class LibraryServer {
 public:
  LibraryServer();
  ~LibraryServer();
  LibraryServer(const LibraryServer&) = delete;
  LibraryServer& operator=(const LibraryServer&) = delete;

  // Routes must be added before start().
  httplib::Server& server() { return server_; }
  void start();
  std::string url(const std::string& path) const;

 private:
  httplib::Server server_;
  int port_ = 0;
  std::thread thread_;
};

}  // namespace murvel::test
