#include "cloud/HttpServer.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

namespace murvel::cloud {

namespace {

// One connection as the library reads and writes it, with a read buffer, since the library
// reads request lines a byte at a time.
class ConnectionStream : public httplib::Stream {
 public:
  ConnectionStream(int socket, int stopSignal, time_t readTimeoutSeconds,
                   time_t writeTimeoutSeconds)
      : socket_(socket),
        stopSignal_(stopSignal),
        readTimeoutMs_(static_cast<int>(readTimeoutSeconds * 1000)),
        writeTimeoutMs_(static_cast<int>(writeTimeoutSeconds * 1000)) {}

  bool is_readable() const override { return begin_ < end_ || wait(POLLIN, readTimeoutMs_); }
  bool is_writable() const override { return wait(POLLOUT, writeTimeoutMs_); }

  ssize_t read(char* data, size_t size) override {
    if (begin_ == end_) {
      if (!wait(POLLIN, readTimeoutMs_))
        return -1;
      const ssize_t got = receive(buffer_.data(), buffer_.size());
      if (got <= 0)
        return got;
      begin_ = 0;
      end_ = static_cast<std::size_t>(got);
    }
    const std::size_t count = std::min(size, end_ - begin_);
    std::copy_n(buffer_.data() + begin_, count, data);
    begin_ += count;
    return static_cast<ssize_t>(count);
  }

  ssize_t write(const char* data, size_t size) override {
    if (!wait(POLLOUT, writeTimeoutMs_))
      return -1;
    for (;;) {
      const ssize_t sent = ::send(socket_, data, size, MSG_NOSIGNAL);
      if (sent < 0 && errno == EINTR)
        continue;
      return sent;
    }
  }

  void get_remote_ip_and_port(std::string& ip, int& port) const override {
    describe(::getpeername, ip, port);
  }
  void get_local_ip_and_port(std::string& ip, int& port) const override {
    describe(::getsockname, ip, port);
  }
  socket_t socket() const override { return socket_; }

  // Sleeps until the client sends its next request (true), or the idle time ends, the client
  // goes away or the server stops (false).
  bool waitForNextRequest(time_t idleSeconds) const {
    return begin_ < end_ || wait(POLLIN, static_cast<int>(idleSeconds * 1000));
  }

 private:
  // Waits for `events` on the socket; false on a timeout, an error or the server's stop.
  bool wait(short events, int timeoutMs) const {
    std::array<pollfd, 2> watched{pollfd{socket_, events, 0}, pollfd{stopSignal_, POLLIN, 0}};
    for (;;) {
      const int ready = ::poll(watched.data(), watched.size(), timeoutMs);
      if (ready < 0 && errno == EINTR)
        continue;
      if (ready <= 0 || (watched[1].revents & POLLIN) != 0)
        return false;
      return (watched[0].revents & (events | POLLHUP | POLLERR)) != 0;
    }
  }

  ssize_t receive(char* data, std::size_t size) {
    for (;;) {
      const ssize_t got = ::recv(socket_, data, size, 0);
      if (got < 0 && errno == EINTR)
        continue;
      return got;
    }
  }

  template <class Query>
  void describe(Query query, std::string& ip, int& port) const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (query(socket_, reinterpret_cast<sockaddr*>(&address), &length) != 0)
      return;
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address.ss_family == AF_INET) {
      const auto* v4 = reinterpret_cast<const sockaddr_in*>(&address);
      ::inet_ntop(AF_INET, &v4->sin_addr, text.data(), text.size());
      port = ntohs(v4->sin_port);
    } else if (address.ss_family == AF_INET6) {
      const auto* v6 = reinterpret_cast<const sockaddr_in6*>(&address);
      ::inet_ntop(AF_INET6, &v6->sin6_addr, text.data(), text.size());
      port = ntohs(v6->sin6_port);
    }
    ip = text.data();
  }

  int socket_;
  int stopSignal_;
  int readTimeoutMs_;
  int writeTimeoutMs_;
  std::array<char, 16 * 1024> buffer_{};
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

}  // namespace

HttpServer::HttpServer() : stopSignal_(::eventfd(0, EFD_CLOEXEC)) {}

HttpServer::~HttpServer() {
  if (stopSignal_ >= 0)
    ::close(stopSignal_);
}

void HttpServer::shutDown() {
  const std::uint64_t one = 1;
  if (stopSignal_ >= 0)
    static_cast<void>(::write(stopSignal_, &one, sizeof one));
  stop();
}

bool HttpServer::process_and_close_socket(socket_t sock) {
  ConnectionStream stream(sock, stopSignal_, read_timeout_sec_, write_timeout_sec_);
  bool served = false;
  for (std::size_t left = keep_alive_max_count_; left > 0; --left) {
    if (!stream.waitForNextRequest(keep_alive_timeout_sec_))
      break;
    bool closedByClient = false;
    // The last request a connection may carry tells the client that it closes.
    served = process_request(stream, left == 1, closedByClient, nullptr);
    if (!served || closedByClient)
      break;
  }
  ::shutdown(sock, SHUT_RDWR);
  ::close(sock);
  return served;
}

}  // namespace murvel::cloud
