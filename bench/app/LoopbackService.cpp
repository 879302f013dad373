#include "LoopbackService.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <strings.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace murvel::bench {

namespace {

// What recognising the upload costs the service; the service reports it with the rest of its time.
constexpr std::chrono::milliseconds recognitionTime{30};

std::string headerValue(const std::string& head, const std::string& name) {
  for (std::size_t at = head.find("\r\n"); at != std::string::npos;
       at = head.find("\r\n", at + 2)) {
    if (strncasecmp(head.c_str() + at + 2, name.c_str(), name.size()) == 0 &&
        head.compare(at + 2 + name.size(), 1, ":") == 0) {
      std::size_t start = at + 3 + name.size();
      while (start < head.size() && head[start] == ' ') ++start;
      return head.substr(start, head.find("\r\n", start) - start);
    }
  }
  return {};
}

}  // namespace

LoopbackService::LoopbackService(int port) : port_(port) {
  listenFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  stopFd_ = eventfd(0, EFD_CLOEXEC);
  const int one = 1;
  setsockopt(listenFd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  if (listenFd_ < 0 || stopFd_ < 0 ||
      bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(listenFd_, 64) != 0) {
    std::perror("the loopback service cannot listen");
    std::exit(1);
  }
  acceptor_ = std::thread([this] { acceptLoop(); });
}

LoopbackService::~LoopbackService() {
  const std::uint64_t one = 1;
  static_cast<void>(write(stopFd_, &one, sizeof one));
  acceptor_.join();
  for (std::thread& thread : connections_) thread.join();
  close(listenFd_);
  close(stopFd_);
}

std::string LoopbackService::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::size_t LoopbackService::count() const {
  std::lock_guard lock(mutex_);
  return requests_.size();
}

std::optional<ServedRequest> LoopbackService::waitFor(const std::string& prefix, std::size_t from,
                                                      std::chrono::milliseconds limit) const {
  std::unique_lock lock(mutex_);
  std::optional<ServedRequest> found;
  changed_.wait_for(lock, limit, [&] {
    for (std::size_t i = from; i < requests_.size(); ++i) {
      if (requests_[i].requestLine.starts_with(prefix)) {
        found = requests_[i];
        return true;
      }
    }
    return false;
  });
  return found;
}

bool LoopbackService::waitReadable(int fd) const {
  pollfd fds[] = {{fd, POLLIN, 0}, {stopFd_, POLLIN, 0}};
  return poll(fds, 2, -1) > 0 && !(fds[1].revents & POLLIN) && fds[0].revents != 0;
}

void LoopbackService::acceptLoop() {
  while (waitReadable(listenFd_)) {
    // The kernel has already completed the connection; its request waits unread meanwhile.
    pollfd stop{stopFd_, POLLIN, 0};
    if (poll(&stop, 1, static_cast<int>(acceptDelayMs_.load())) != 0)
      return;
    const int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0)
      continue;
    const int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    connections_.emplace_back([this, fd] { serve(fd); });
  }
}

void LoopbackService::serve(int fd) {
  std::string buffer;
  char chunk[65536];
  const auto receive = [&] {
    if (!waitReadable(fd))
      return false;
    const ssize_t got = recv(fd, chunk, sizeof chunk, 0);
    if (got <= 0)
      return false;
    buffer.append(chunk, static_cast<std::size_t>(got));
    return true;
  };
  for (bool first = true;; first = false) {
    if (buffer.empty() && !receive())
      break;
    ServedRequest request;
    request.firstByte = Clock::now();
    request.newConnection = first;
    std::size_t headEnd;
    while ((headEnd = buffer.find("\r\n\r\n")) == std::string::npos) {
      if (!receive())
        return static_cast<void>(close(fd));
    }
    const std::string head = buffer.substr(0, headEnd + 2);
    const std::size_t length =
        std::strtoull(headerValue(head, "Content-Length").c_str(), nullptr, 10);
    while (buffer.size() < headEnd + 4 + length) {
      if (!receive())
        return static_cast<void>(close(fd));
    }
    request.requestLine = head.substr(0, head.find("\r\n"));
    request.traceID = headerValue(head, "X-Murvel-Trace-ID");
    request.body = buffer.substr(headEnd + 4, length);
    buffer.erase(0, headEnd + 4 + length);

    std::string body = "{}";
    bool closeAfter = false;
    if (request.requestLine.starts_with("HEAD ")) {
      body.clear();
      closeAfter = closeAfterHead_;
    } else if (request.requestLine.starts_with("POST /api/transcribe")) {
      std::this_thread::sleep_for(recognitionTime);
      const double ownMs =
          std::chrono::duration<double, std::milli>(Clock::now() - request.firstByte).count();
      body =
          R"({"text":"Benchmark sentence.","timings":{"total_ms":)" + std::to_string(ownMs) + "}}";
    } else if (request.requestLine.starts_with("GET /api/account/info")) {
      body = R"({"email":"bench@example.com"})";
    }
    std::string reply = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                        std::to_string(body.size()) + "\r\n" +
                        (closeAfter ? "Connection: close\r\n" : "") + "\r\n";
    if (!request.requestLine.starts_with("HEAD "))
      reply += body;
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(std::move(request));
    }
    changed_.notify_all();
    if (send(fd, reply.data(), reply.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(reply.size()) ||
        closeAfter)
      break;
  }
  close(fd);
}

}  // namespace murvel::bench
