#pragma once

#include <httplib.h>

#include <cstddef>
#include <memory>

namespace murvel::cloud {

class WaitingConnections;

// cpp-httplib's server, with connections that hold no thread while they wait: between requests,
// and while a request's line and headers arrive, a connection waits with all others in one
// watcher; a request thread takes it only once its head has come whole. What a request may
// send is bounded here, below the library, which bounds neither the number of headers nor a
// body without a length:
// - its line and headers together at most 32 KiB and 100 lines, within 5 s of the first byte;
// - its whole body within 60 s, each piece within the read timeout;
// - its body at most what the handler allows with limitBody().
class HttpServer : public httplib::Server {
 public:
  explicit HttpServer(std::size_t requestThreads);
  ~HttpServer() override;
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // After a bind: lets connections queue for acceptance as deep as the system allows, where the
  // library's own queue of 5 drops the sixth connection that comes at once.
  void widenBacklog();

  // Stops listening and ends every connection that waits for a request; requests being served
  // finish first. Safe from any thread, also more than once.
  void shutDown();

  // For the request this thread serves, before its body is read: the most bytes its body may
  // take on the wire, chunk framing included. Reading beyond them fails.
  static void limitBody(std::size_t bytes);
  // Whether the request this thread serves sent more body than limitBody() allowed.
  static bool bodyCutOff();
  // Ends the connection once the reply to this thread's request is sent: for a refusal given
  // before the body was read.
  static void closeAfterReply();

 private:
  bool process_and_close_socket(socket_t sock) override;
  // Serves requests on `socket` while their heads have come whole; `received` holds what came
  // so far. Hands the connection back to the watcher when it waits again.
  void serve(int socket, std::string received, std::size_t requestsLeft);

  int stopSignal_ = -1;  // an eventfd that turns readable, for good, at shutDown()
  httplib::TaskQueue* requestThreads_ = nullptr;
  std::unique_ptr<WaitingConnections> waiting_;
};

}  // namespace murvel::cloud
