#include "RawHttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

namespace murvel::test {

namespace {

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

}  // namespace

RawHttpServer::RawHttpServer(Options options, Responder responder)
    : options_(std::move(options)), responder_(std::move(responder)) {
  listenFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  stopFd_ = eventfd(0, EFD_CLOEXEC);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(options_.port));
  const int reuse = 1;
  if (listenFd_ >= 0)
    setsockopt(listenFd_, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
  socklen_t length = sizeof address;
  if (listenFd_ < 0 || stopFd_ < 0 ||
      bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(listenFd_, 64) != 0 ||
      getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::runtime_error("the loopback test server could not listen");
  }
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { acceptLoop(); });
}

RawHttpServer::~RawHttpServer() {
  const std::uint64_t one = 1;
  static_cast<void>(write(stopFd_, &one, sizeof one));
  acceptor_.join();
  // No new connection thread appears once the acceptor is gone.
  for (std::thread& thread : connectionThreads_) thread.join();
  close(listenFd_);
  close(stopFd_);
}

std::string RawHttpServer::url(std::string_view path) const {
  return "http://" + authority() + std::string(path);
}

std::string RawHttpServer::authority() const {
  return "127.0.0.1:" + std::to_string(port_);
}

int RawHttpServer::acceptedConnections() const {
  std::lock_guard lock(mutex_);
  return accepted_;
}

int RawHttpServer::mostOpenAtOnce() const {
  std::lock_guard lock(mutex_);
  return mostOpen_;
}

std::vector<RawHttpServer::Request> RawHttpServer::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<RawHttpServer::Request> RawHttpServer::requests(std::string_view start) const {
  std::vector<Request> found;
  for (Request& request : requests()) {
    if (request.requestLine.starts_with(start))
      found.push_back(std::move(request));
  }
  return found;
}

bool RawHttpServer::waitForRequest(std::string_view start, std::chrono::seconds limit) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, limit, [&] {
    return std::any_of(requests_.begin(), requests_.end(), [&](const Request& request) {
      return request.requestLine.starts_with(start);
    });
  });
}

bool RawHttpServer::waitForRequests(std::size_t count) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::seconds(10),
                           [&] { return requests_.size() >= count; });
}

void RawHttpServer::acceptLoop() {
  for (;;) {
    pollfd fds[] = {{listenFd_, POLLIN, 0}, {stopFd_, POLLIN, 0}};
    if (poll(fds, 2, -1) < 0 || (fds[1].revents & POLLIN))
      return;
    const int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0)
      continue;
    std::lock_guard lock(mutex_);
    ++accepted_;
    mostOpen_ = std::max(mostOpen_, ++open_);
    connectionThreads_.emplace_back([this, fd] { serve(fd); });
  }
}

void RawHttpServer::serve(int fd) {
  std::string buffer;
  for (bool alive = true; alive;) {
    size_t headEnd = std::string::npos;
    while ((headEnd = buffer.find("\r\n\r\n")) == std::string::npos &&
           (alive = readMore(fd, buffer))) {
    }
    if (!alive)
      break;

    Request request;
    const std::string head = buffer.substr(0, headEnd);
    buffer.erase(0, headEnd + 4);
    size_t lineStart = 0;
    size_t contentLength = 0;
    for (size_t lineEnd; lineStart <= head.size(); lineStart = lineEnd + 2) {
      lineEnd = std::min(head.find("\r\n", lineStart), head.size());
      const std::string_view line = std::string_view(head).substr(lineStart, lineEnd - lineStart);
      if (request.requestLine.empty()) {
        request.requestLine = line;
      } else if (const size_t colon = line.find(':'); colon != std::string_view::npos) {
        const auto name = std::string(line.substr(0, colon));
        const auto value = std::string(trimmed(line.substr(colon + 1)));
        if (strcasecmp(name.c_str(), "Content-Length") == 0)
          contentLength = std::strtoull(value.c_str(), nullptr, 10);
        request.headers.emplace_back(name, value);
      }
    }
    while (buffer.size() < contentLength && (alive = readMore(fd, buffer))) {
    }
    if (!alive)
      break;
    request.body = buffer.substr(0, contentLength);
    buffer.erase(0, contentLength);
    const bool isHead = request.requestLine.starts_with("HEAD ");
    const Answer answer =
        responder_ ? responder_(request) : Answer{options_.status, options_.body, options_.reply};
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(std::move(request));
    }
    changed_.notify_all();

    const std::string statusLine = "HTTP/1.1 " + std::to_string(answer.status) + " Reply\r\n";
    const std::string fields =
        "Content-Type: application/json\r\nContent-Length: " + std::to_string(answer.body.size()) +
        "\r\n\r\n";
    switch (answer.reply) {
      case Reply::immediately:
        alive = pause(options_.delay) &&
                sendAll(fd, statusLine + fields + (isHead ? std::string() : answer.body));
        break;
      case Reply::never:
        while (readMore(fd, buffer)) {
        }
        alive = false;
        break;
      case Reply::trickle:
        alive = sendAll(fd, statusLine + fields);
        for (size_t i = 0; alive && !isHead && i < answer.body.size(); ++i)
          alive = pause(std::chrono::milliseconds(100)) && sendAll(fd, answer.body.substr(i, 1));
        break;
    }
  }
  close(fd);
  std::lock_guard lock(mutex_);
  --open_;
}

bool RawHttpServer::readMore(int fd, std::string& buffer) {
  pollfd fds[] = {{fd, POLLIN, 0}, {stopFd_, POLLIN, 0}};
  if (poll(fds, 2, -1) < 0 || (fds[1].revents & POLLIN))
    return false;
  char chunk[65536];
  const ssize_t received = recv(fd, chunk, sizeof chunk, 0);
  if (received <= 0)
    return false;
  buffer.append(chunk, static_cast<size_t>(received));
  return true;
}

bool RawHttpServer::pause(std::chrono::milliseconds duration) {
  pollfd stop{stopFd_, POLLIN, 0};
  return poll(&stop, 1, static_cast<int>(duration.count())) == 0;
}

bool RawHttpServer::sendAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0)
      return false;
    bytes.remove_prefix(static_cast<size_t>(sent));
  }
  return true;
}

}  // namespace murvel::test
