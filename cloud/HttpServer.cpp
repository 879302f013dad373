#include "cloud/HttpServer.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>
#include <vector>

namespace murvel::cloud {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t headBytesLimit = 32 * 1024;
constexpr std::size_t headLinesLimit = 100;
constexpr std::chrono::seconds headTime{5};
constexpr std::chrono::seconds bodyTime{60};
constexpr std::chrono::seconds lingerTime{2};
// Connections kept waiting at most; beyond them the one idle longest is closed.
constexpr std::size_t waitingLimit = 512;

// Where a request's line and headers end in `received` (one past the blank line), if they have
// come whole.
std::optional<std::size_t> headEnd(std::string_view received) {
  for (std::size_t at = received.find('\n'); at != std::string_view::npos;
       at = received.find('\n', at + 1)) {
    if (at + 1 < received.size() && received[at + 1] == '\n')
      return at + 2;
    if (at + 2 < received.size() && received[at + 1] == '\r' && received[at + 2] == '\n')
      return at + 3;
  }
  return std::nullopt;
}

// Whether `received`, with no whole head yet, has already sent more than a head may hold.
bool headTooLarge(std::string_view received) {
  return received.size() > headBytesLimit ||
         static_cast<std::size_t>(std::ranges::count(received, '\n')) > headLinesLimit;
}

int millisecondsUntil(Clock::time_point when) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(when - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, 24 * 3600 * 1000));
}

void closeSocket(int socket) {
  ::shutdown(socket, SHUT_RDWR);
  ::close(socket);
}

// One connection as the library reads and writes it, with a read buffer, since the library
// reads request lines a byte at a time.
class ConnectionStream : public httplib::Stream {
 public:
  ConnectionStream(int socket, int stopSignal, time_t readTimeoutSeconds,
                   time_t writeTimeoutSeconds, std::string received)
      : socket_(socket),
        stopSignal_(stopSignal),
        readTimeoutMs_(static_cast<int>(readTimeoutSeconds * 1000)),
        writeTimeoutMs_(static_cast<int>(writeTimeoutSeconds * 1000)),
        buffer_(std::move(received)) {}

  // A new request begins with what the buffer holds.
  void beginRequest() {
    consumed_ = 0;
    allowed_ = SIZE_MAX;
    cutOff_ = false;
    closeAfterReply_ = false;
    deadline_ = Clock::now() + bodyTime;
  }
  void limitBody(std::size_t bytes) { allowed_ = consumed_ + bytes; }
  bool cutOff() const { return cutOff_; }
  void closeAfterReply() { closeAfterReply_ = true; }
  bool closesAfterReply() const { return closeAfterReply_; }
  // What has come beyond the requests served so far.
  std::string unread() { return buffer_.substr(begin_); }

  bool is_readable() const override {
    return begin_ < buffer_.size() || wait(POLLIN, readTimeoutMs());
  }
  bool is_writable() const override { return wait(POLLOUT, writeTimeoutMs_); }

  ssize_t read(char* data, size_t size) override {
    if (consumed_ >= allowed_) {
      cutOff_ = true;
      return -1;
    }
    size = std::min(size, allowed_ - consumed_);
    if (begin_ == buffer_.size()) {
      if (!wait(POLLIN, readTimeoutMs()))
        return -1;
      buffer_.resize(16 * 1024);
      const ssize_t got = receive(buffer_.data(), buffer_.size());
      begin_ = 0;
      buffer_.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
      if (got <= 0)
        return got;
    }
    const std::size_t count = std::min(size, buffer_.size() - begin_);
    std::copy_n(buffer_.data() + begin_, count, data);
    begin_ += count;
    consumed_ += count;
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

 private:
  // The read timeout, cut short where the request's time ends.
  int readTimeoutMs() const { return std::min(readTimeoutMs_, millisecondsUntil(deadline_)); }

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
  std::string buffer_;
  std::size_t begin_ = 0;
  std::size_t consumed_ = 0;        // bytes of this request read so far
  std::size_t allowed_ = SIZE_MAX;  // where reading this request stops
  bool cutOff_ = false;
  bool closeAfterReply_ = false;
  Clock::time_point deadline_ = Clock::now() + bodyTime;
};

// The stream of the request this thread serves, for the handlers' limits.
thread_local ConnectionStream* servedHere = nullptr;

}  // namespace

// Connections between requests, and requests whose head is still coming, all watched by one
// thread; a connection whose head has come whole goes to a request thread.
class WaitingConnections {
 public:
  using Serve = std::function<void(int socket, std::string received, std::size_t requestsLeft)>;

  explicit WaitingConnections(Serve serve)
      : serve_(std::move(serve)),
        poller_(::epoll_create1(EPOLL_CLOEXEC)),
        wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = wake_;
    ::epoll_ctl(poller_, EPOLL_CTL_ADD, wake_, &event);
    watcher_ = std::thread([this] { watch(); });
  }

  ~WaitingConnections() {
    stop();
    ::close(poller_);
    ::close(wake_);
  }

  // Ends the watch and every connection that waits; connections added later are closed.
  void stop() {
    {
      std::lock_guard lock(mutex_);
      if (stopped_)
        return;
      stopped_ = true;
    }
    const std::uint64_t one = 1;
    static_cast<void>(::write(wake_, &one, sizeof one));
    watcher_.join();
    for (const auto& [socket, connection] : connections_) closeSocket(socket);
    connections_.clear();
  }

  // Waits for the next request on `socket`, which already sent `received`, for at most
  // `idleTime`.
  void add(int socket, std::string received, std::size_t requestsLeft,
           std::chrono::seconds idleTime) {
    std::unique_lock lock(mutex_);
    if (stopped_) {
      closeSocket(socket);
      return;
    }
    if (headEnd(received)) {
      lock.unlock();
      serve_(socket, std::move(received), requestsLeft);
      return;
    }
    if (connections_.size() >= waitingLimit)
      drop(std::ranges::min_element(connections_, {}, [](const auto& entry) {
             return entry.second.deadline;
           })->first);
    Connection connection{std::move(received), requestsLeft, Clock::now() + idleTime};
    if (!connection.received.empty())
      connection.deadline = std::min(connection.deadline, Clock::now() + headTime);
    watch(socket, std::move(connection));
  }

  // Closes `socket` once the client has stopped sending, or within a short time: what it still
  // sends is read and dropped, so that it gets to read the reply instead of a reset.
  void linger(int socket) {
    std::lock_guard lock(mutex_);
    if (stopped_) {
      closeSocket(socket);
      return;
    }
    ::shutdown(socket, SHUT_WR);
    watch(socket, Connection{{}, 0, Clock::now() + lingerTime, true});
  }

 private:
  struct Connection {
    std::string received;
    std::size_t requestsLeft;
    Clock::time_point deadline;  // the idle time's end, or the head's once it has begun
    bool draining = false;       // only waits for the client to stop sending
  };

  void watch(int socket, Connection connection) {
    connections_.emplace(socket, std::move(connection));
    epoll_event event{};
    event.events = EPOLLIN | EPOLLRDHUP;
    event.data.fd = socket;
    ::epoll_ctl(poller_, EPOLL_CTL_ADD, socket, &event);
  }

  void watch() {
    std::array<epoll_event, 64> events{};
    for (;;) {
      int timeoutMs = -1;
      {
        std::lock_guard lock(mutex_);
        if (stopped_)
          return;
        for (const auto& [socket, connection] : connections_) {
          const int left = millisecondsUntil(connection.deadline);
          timeoutMs = timeoutMs < 0 ? left : std::min(timeoutMs, left);
        }
      }
      const int ready =
          ::epoll_wait(poller_, events.data(), static_cast<int>(events.size()), timeoutMs);
      std::vector<std::pair<int, Connection>> whole;
      {
        std::lock_guard lock(mutex_);
        if (stopped_)
          return;
        for (int i = 0; i < ready; ++i) {
          if (events[static_cast<std::size_t>(i)].data.fd != wake_)
            receive(events[static_cast<std::size_t>(i)].data.fd, whole);
        }
        const auto now = Clock::now();
        std::vector<int> expired;
        for (const auto& [socket, connection] : connections_) {
          if (connection.deadline <= now)
            expired.push_back(socket);
        }
        for (const int socket : expired) drop(socket);
      }
      for (auto& [socket, connection] : whole)
        serve_(socket, std::move(connection.received), connection.requestsLeft);
    }
  }

  // Reads what `socket` sent; a connection whose head came whole moves to `whole`.
  void receive(int socket, std::vector<std::pair<int, Connection>>& whole) {
    const auto found = connections_.find(socket);
    if (found == connections_.end())
      return;
    Connection& connection = found->second;
    if (connection.draining) {
      std::array<char, 64 * 1024> dropped{};
      for (int pieces = 0; pieces < 16; ++pieces) {
        const ssize_t got = ::recv(socket, dropped.data(), dropped.size(), MSG_DONTWAIT);
        if (got < 0 && (errno == EAGAIN || errno == EINTR))
          return;
        if (got <= 0) {
          drop(socket);
          return;
        }
      }
      return;
    }
    std::array<char, 4096> piece{};
    const ssize_t got = ::recv(socket, piece.data(), piece.size(), MSG_DONTWAIT);
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
      return;
    if (got <= 0) {
      drop(socket);
      return;
    }
    if (connection.received.empty())
      connection.deadline = std::min(connection.deadline, Clock::now() + headTime);
    connection.received.append(piece.data(), static_cast<std::size_t>(got));
    if (headEnd(connection.received)) {
      ::epoll_ctl(poller_, EPOLL_CTL_DEL, socket, nullptr);
      whole.emplace_back(socket, std::move(connection));
      connections_.erase(found);
      return;
    }
    if (headTooLarge(connection.received)) {
      constexpr std::string_view refusal =
          "HTTP/1.1 431 Request Header Fields Too Large\r\nContent-Type: application/json\r\n"
          "Content-Length: 58\r\nConnection: close\r\n\r\n"
          "{\"error\":\"The request's address or headers are too long.\"}";
      static_cast<void>(
          ::send(socket, refusal.data(), refusal.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
      drop(socket);
    }
  }

  void drop(int socket) {
    ::epoll_ctl(poller_, EPOLL_CTL_DEL, socket, nullptr);
    closeSocket(socket);
    connections_.erase(socket);
  }

  Serve serve_;
  int poller_;
  int wake_;
  std::mutex mutex_;
  bool stopped_ = false;
  std::map<int, Connection> connections_;
  std::thread watcher_;
};

HttpServer::HttpServer(std::size_t requestThreads) : stopSignal_(::eventfd(0, EFD_CLOEXEC)) {
  new_task_queue = [this, requestThreads] {
    auto* pool = new httplib::ThreadPool(requestThreads);
    requestThreads_ = pool;
    return pool;
  };
  waiting_ = std::make_unique<WaitingConnections>(
      [this](int socket, std::string received, std::size_t requestsLeft) {
        requestThreads_->enqueue([this, socket, received = std::move(received), requestsLeft] {
          serve(socket, received, requestsLeft);
        });
      });
}

HttpServer::~HttpServer() {
  waiting_->stop();
  if (stopSignal_ >= 0)
    ::close(stopSignal_);
}

void HttpServer::shutDown() {
  const std::uint64_t one = 1;
  if (stopSignal_ >= 0)
    static_cast<void>(::write(stopSignal_, &one, sizeof one));
  waiting_->stop();
  stop();
}

void HttpServer::widenBacklog() {
  ::listen(svr_sock_, SOMAXCONN);
}

void HttpServer::limitBody(std::size_t bytes) {
  if (servedHere != nullptr)
    servedHere->limitBody(bytes);
}

bool HttpServer::bodyCutOff() {
  return servedHere != nullptr && servedHere->cutOff();
}

void HttpServer::closeAfterReply() {
  if (servedHere != nullptr)
    servedHere->closeAfterReply();
}

bool HttpServer::process_and_close_socket(socket_t sock) {
  waiting_->add(sock, {}, keep_alive_max_count_, std::chrono::seconds(keep_alive_timeout_sec_));
  return true;
}

void HttpServer::serve(int socket, std::string received, std::size_t requestsLeft) {
  ConnectionStream stream(socket, stopSignal_, read_timeout_sec_, write_timeout_sec_,
                          std::move(received));
  servedHere = &stream;
  stream.beginRequest();
  bool closedByClient = false;
  // The last request a connection may carry tells the client that it closes.
  const bool served = process_request(stream, requestsLeft == 1, closedByClient, nullptr);
  servedHere = nullptr;
  if (stream.closesAfterReply() || stream.cutOff()) {
    waiting_->linger(socket);
    return;
  }
  if (!served || closedByClient || requestsLeft == 1) {
    closeSocket(socket);
    return;
  }
  waiting_->add(socket, stream.unread(), requestsLeft - 1,
                std::chrono::seconds(keep_alive_timeout_sec_));
}

}  // namespace murvel::cloud
