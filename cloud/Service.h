#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "cloud/Outcome.h"

namespace murvel::cloud {

class RecognitionQueue;
class Store;
class HttpServer;

// Writes one line of the service's log; called from any thread.
using LogSink = std::function<void(std::string_view line)>;

struct ServiceSettings {
  std::string bindAddress = "127.0.0.1";
  int port = 8787;  // 0: any free port
  std::uint64_t maxUploadBytes = 50ull * 1024 * 1024;
  int keepAliveSeconds = 120;
  // Threads that serve connections, each one connection at a time, also while it is idle or
  // waits for its recognition; more connections wait for one to be free.
  std::size_t requestThreads = 32;
  // Where uploads wait for recognition, as files without names.
  std::filesystem::path spoolDirectory = "/tmp";
  // Seconds since the epoch: when tokens are issued and when they expire.
  std::function<std::int64_t()> secondsNow;
};

// The HTTP service under /api: health, transcribe, cleanup, auth/start, auth/continue (the
// sign-in page's button), auth/exchange and account/info.
class Service {
 public:
  Service(ServiceSettings settings, Store& store, RecognitionQueue& recognition, LogSink log);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // Binds the address and port; the port bound, or why not.
  Outcome<int> bind();
  // Serves until shutDown(); blocks the calling thread. False when it could not serve.
  bool serve();
  // Stops taking connections, ends idle ones and lets requests under way finish.
  void shutDown();

  struct Context;

 private:
  std::unique_ptr<Context> context_;
  std::unique_ptr<HttpServer> server_;
};

}  // namespace murvel::cloud
