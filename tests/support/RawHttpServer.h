#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/UrlSession.h"

namespace murvel::test {

// A loopback HTTP/1.1 server on plain sockets, for what a library server hides: the request
// exactly as it came (field order, empty values, every field the client added) and the number of
// connections. One thread per connection; connections are kept alive.
class RawHttpServer {
 public:
  enum class Reply {
    immediately,  // the status and body at once (after `delay`)
    never,        // reads the request and stays silent
    trickle,      // the status at once, then the body one byte every 100 ms
  };

  struct Options {
    Reply reply = Reply::immediately;
    int status = 200;
    std::string body = "{}";
    std::chrono::milliseconds delay{0};
    int port = 0;  // 0: any free port
  };

  struct Request {
    std::string requestLine;
    HttpHeaders headers;  // in the order they arrived, values without the surrounding blanks
    std::string body;
  };

  // A reply decided from its request, for servers that play a script.
  struct Answer {
    int status = 200;
    std::string body = "{}";
    Reply reply = Reply::immediately;
  };
  using Responder = std::function<Answer(const Request&)>;

  // Every request is answered by `responder` (on the connection's thread).
  explicit RawHttpServer(Responder responder, int port = 0)
      : RawHttpServer(Options{.port = port}, std::move(responder)) {}

  explicit RawHttpServer(Options options) : RawHttpServer(std::move(options), nullptr) {}
  RawHttpServer() : RawHttpServer(Options{}) {}
  ~RawHttpServer();
  RawHttpServer(const RawHttpServer&) = delete;
  RawHttpServer& operator=(const RawHttpServer&) = delete;

  std::string url(std::string_view path) const;
  // "127.0.0.1:port", what a client puts in Host.
  std::string authority() const;

  int acceptedConnections() const;
  // The most connections that were open at the same moment.
  int mostOpenAtOnce() const;
  std::vector<Request> requests() const;
  // Those whose request line starts with `start`, such as "HEAD /api/health".
  std::vector<Request> requests(std::string_view start) const;
  // Waits until `count` requests have arrived, or a generous deadline passes; false then.
  bool waitForRequests(std::size_t count) const;
  // Waits until a request whose line starts with `start` has arrived, or `limit` passes.
  bool waitForRequest(std::string_view start,
                      std::chrono::seconds limit = std::chrono::seconds(10)) const;

 private:
  RawHttpServer(Options options, Responder responder);
  void acceptLoop();
  void serve(int fd);
  // Reads more bytes into `buffer`; false when the peer closed or the server stops.
  bool readMore(int fd, std::string& buffer);
  // Waits for `duration` unless the server stops first; false then.
  bool pause(std::chrono::milliseconds duration);
  bool sendAll(int fd, std::string_view bytes);

  const Options options_;
  const Responder responder_;
  int listenFd_ = -1;
  int stopFd_ = -1;
  int port_ = 0;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  int accepted_ = 0;
  int open_ = 0;
  int mostOpen_ = 0;
  std::vector<Request> requests_;
  std::vector<std::thread> connectionThreads_;

  std::thread acceptor_;
};

}  // namespace murvel::test
