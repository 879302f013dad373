#pragma once

#include <httplib.h>

namespace murvel::cloud {

// cpp-httplib's server with connections that sleep while idle: between requests a connection
// waits in one blocking poll until the client speaks, the keep-alive time runs out or the server
// stops, where the library's own loop would wake every few milliseconds for as long as the
// connection is kept.
class HttpServer : public httplib::Server {
 public:
  HttpServer();
  ~HttpServer() override;
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Stops listening and ends every connection that waits for a request; requests being served
  // finish first. Safe from any thread, also more than once.
  void shutDown();

 private:
  bool process_and_close_socket(socket_t sock) override;

  int stopSignal_ = -1;  // an eventfd that turns readable, for good, at shutDown()
};

}  // namespace murvel::cloud
