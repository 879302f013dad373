#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace murvel::bench {

using Clock = std::chrono::steady_clock;

// One request as the service saw it.
struct ServedRequest {
  std::string requestLine;
  std::string traceID;  // X-Murvel-Trace-ID, when sent
  std::string body;
  Clock::time_point firstByte;  // when its first byte was read off the socket
  bool newConnection = false;   // the first request of its connection
};

// The dictation service on loopback, as far as the app needs one: it answers the warm-up HEAD,
// replies to an upload with a fixed transcript and its own time, and notes when each request's
// first byte arrived. It can make every new connection cost a fixed delay on accept, as a TLS
// handshake to a distant service would, and close a connection after the warm-up so that the
// upload has to open a new one.
class LoopbackService {
 public:
  explicit LoopbackService(int port);
  ~LoopbackService();
  LoopbackService(const LoopbackService&) = delete;
  LoopbackService& operator=(const LoopbackService&) = delete;

  void setAcceptDelay(std::chrono::milliseconds delay) { acceptDelayMs_ = delay.count(); }
  void setCloseAfterHead(bool close) { closeAfterHead_ = close; }
  std::string url(const std::string& path) const;

  std::size_t count() const;
  // The first request from index `from` on whose request line starts with `prefix`, once there
  // is one; nothing after `limit`.
  std::optional<ServedRequest> waitFor(const std::string& prefix, std::size_t from,
                                       std::chrono::milliseconds limit) const;

 private:
  void acceptLoop();
  void serve(int fd);
  bool waitReadable(int fd) const;

  int port_;
  int listenFd_ = -1;
  int stopFd_ = -1;
  std::atomic<long> acceptDelayMs_{0};
  std::atomic<bool> closeAfterHead_{false};
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<ServedRequest> requests_;
  std::vector<std::thread> connections_;
  std::thread acceptor_;
};

}  // namespace murvel::bench
