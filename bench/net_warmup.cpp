// Measures what the connection warm-up buys a dictation: the time from resuming an upload of a
// recording to its reply, on a fresh session, once straight away ("cold") and once after a HEAD
// on the same session has completed ("warm").
//
// The server runs on loopback, where a connection costs next to nothing. To stand for the set-up
// of a connection to a distant service (round trips, TLS), it can accept each new connection a
// fixed time late: the first request on a connection then waits that long, a reused connection
// never does. The figures are printed for no delay and for the given delay.
//
//   murvel_bench_net_warmup [iterations=30] [accept-delay-ms=80] [upload-kib=160]

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <mutex>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/net/CurlUrlSessions.h"

namespace {

using Clock = std::chrono::steady_clock;

// Answers every request at once with a small JSON reply, keeping connections alive.
class DelayedAcceptServer {
 public:
  explicit DelayedAcceptServer(std::chrono::milliseconds acceptDelay) : acceptDelay_(acceptDelay) {
    listenFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    stopFd_ = eventfd(0, EFD_CLOEXEC);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (listenFd_ < 0 || stopFd_ < 0 ||
        bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listenFd_, 64) != 0 ||
        getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      std::perror("listen");
      std::exit(1);
    }
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { acceptLoop(); });
  }

  ~DelayedAcceptServer() {
    const std::uint64_t one = 1;
    static_cast<void>(write(stopFd_, &one, sizeof one));
    acceptor_.join();
    for (std::thread& thread : connections_) thread.join();
    close(listenFd_);
    close(stopFd_);
  }

  std::string url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
  }
  // Uploads that came as the first request of their connection, so paid for its set-up.
  int uploadsOnNewConnections() const { return uploadsOnNewConnections_; }

 private:
  bool waitReadable(int fd, int timeoutMs) const {
    pollfd fds[] = {{fd, POLLIN, 0}, {stopFd_, POLLIN, 0}};
    return poll(fds, 2, timeoutMs) > 0 && !(fds[1].revents & POLLIN) && (fds[0].revents != 0);
  }

  void acceptLoop() {
    while (waitReadable(listenFd_, -1)) {
      // The connection is already established by the kernel; its requests wait unread.
      pollfd stop{stopFd_, POLLIN, 0};
      if (poll(&stop, 1, static_cast<int>(acceptDelay_.count())) != 0)
        return;
      const int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
      if (fd < 0)
        continue;
      connections_.emplace_back([this, fd] { serve(fd); });
    }
  }

  void serve(int fd) {
    static const std::string reply =
        "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 15\r\n\r\n"
        "{\"text\":\"ok!\"}\n";
    std::string buffer;
    char chunk[65536];
    for (bool first = true;; first = false) {
      size_t headEnd;
      while ((headEnd = buffer.find("\r\n\r\n")) == std::string::npos) {
        if (!waitReadable(fd, -1))
          return finish(fd);
        const ssize_t got = recv(fd, chunk, sizeof chunk, 0);
        if (got <= 0)
          return finish(fd);
        buffer.append(chunk, static_cast<size_t>(got));
      }
      size_t length = 0;
      if (const size_t at = buffer.find("Content-Length:"); at < headEnd)
        length = std::strtoull(buffer.c_str() + at + 15, nullptr, 10);
      const bool head = buffer.starts_with("HEAD ");
      if (first && buffer.starts_with("POST "))
        ++uploadsOnNewConnections_;
      while (buffer.size() < headEnd + 4 + length) {
        if (!waitReadable(fd, -1))
          return finish(fd);
        const ssize_t got = recv(fd, chunk, sizeof chunk, 0);
        if (got <= 0)
          return finish(fd);
        buffer.append(chunk, static_cast<size_t>(got));
      }
      buffer.erase(0, headEnd + 4 + length);
      const std::string out = head ? reply.substr(0, reply.find("\r\n\r\n") + 4) : reply;
      if (send(fd, out.data(), out.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(out.size()))
        return finish(fd);
    }
  }

  static void finish(int fd) { close(fd); }

  const std::chrono::milliseconds acceptDelay_;
  int listenFd_ = -1;
  int stopFd_ = -1;
  int port_ = 0;
  std::atomic<int> uploadsOnNewConnections_ = 0;
  std::vector<std::thread> connections_;
  std::thread acceptor_;
};

murvel::UrlSessionConfiguration dictationConfiguration() {
  murvel::UrlSessionConfiguration configuration;
  configuration.httpMaximumConnectionsPerHost = 2;
  configuration.timeoutIntervalForRequest = 30.0;
  configuration.waitsForConnectivity = false;
  return configuration;
}

// Runs the task and waits for its completion; false on a transport failure.
bool runToEnd(const std::shared_ptr<murvel::UrlSessionTask>& task, std::promise<bool>& done) {
  std::future<bool> outcome = done.get_future();
  task->resume();
  return outcome.get();
}

murvel::TaskCompletion settle(std::promise<bool>& done) {
  return [&done](auto, auto, std::optional<murvel::PlatformError> error) {
    if (error)
      std::fprintf(stderr, "request failed: %s\n", error->localizedDescription.c_str());
    done.set_value(!error);
  };
}

// Milliseconds from resuming the upload to its completion, on a fresh session.
double timeUpload(murvel::UrlSessions& sessions, const DelayedAcceptServer& server,
                  const std::filesystem::path& recording, bool warmFirst) {
  const std::shared_ptr<murvel::UrlSession> session =
      sessions.sessionWithConfiguration(dictationConfiguration());
  if (warmFirst) {
    murvel::UrlRequest health;
    health.url = server.url("/api/health");
    health.httpMethod = "HEAD";
    health.timeoutInterval = 5.0;
    std::promise<bool> done;
    runToEnd(session->dataTask(health, settle(done)), done);
  }
  murvel::UrlRequest upload;
  upload.url = server.url("/api/transcribe");
  upload.httpMethod = "POST";
  upload.setValue("Bearer bench", "Authorization");
  upload.setValue("audio/wav", "Content-Type");
  upload.setValue(std::to_string(std::filesystem::file_size(recording)), "Content-Length");
  std::promise<bool> done;
  const Clock::time_point start = Clock::now();
  if (!runToEnd(session->uploadTask(upload, recording, settle(done)), done))
    std::exit(1);
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void report(const char* label, std::vector<double> samples, int uploadsOnNewConnections) {
  std::sort(samples.begin(), samples.end());
  const double mean = std::accumulate(samples.begin(), samples.end(), 0.0) / samples.size();
  const auto at = [&](double q) {
    return samples[static_cast<size_t>(q * (samples.size() - 1))];
  };
  std::printf(
      "  %-4s median %7.2f ms  mean %7.2f  min %7.2f  p90 %7.2f  max %7.2f  "
      "(uploads on a new connection: %d/%zu)\n",
      label, at(0.5), mean, samples.front(), at(0.9), samples.back(), uploadsOnNewConnections,
      samples.size());
}

}  // namespace

int main(int argc, char** argv) {
  const int iterations = argc > 1 ? std::max(1, std::atoi(argv[1])) : 30;
  const int delayMs = argc > 2 ? std::max(0, std::atoi(argv[2])) : 80;
  const int uploadKib = argc > 3 ? std::max(1, std::atoi(argv[3])) : 160;

  const std::filesystem::path recording = std::filesystem::temp_directory_path() /
                                          ("murvel-bench-" + std::to_string(getpid()) + ".wav");
  {
    std::ofstream out(recording, std::ios::binary);
    const std::string bytes(static_cast<size_t>(uploadKib) * 1024, '\x5a');
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }

  murvel::linux_platform::CurlUrlSessions sessions;
  std::printf(
      "upload of %d KiB over plain HTTP on loopback, %d runs each, a fresh session per run\n",
      uploadKib, iterations);
  for (const int delay : {0, delayMs}) {
    std::printf("server accepts new connections %d ms late:\n", delay);
    for (const bool warm : {false, true}) {
      DelayedAcceptServer server{std::chrono::milliseconds(delay)};
      std::vector<double> samples;
      for (int i = 0; i < iterations; ++i)
        samples.push_back(timeUpload(sessions, server, recording, warm));
      report(warm ? "warm" : "cold", std::move(samples), server.uploadsOnNewConnections());
    }
    if (delay == delayMs)
      break;
  }
  std::filesystem::remove(recording);
  return 0;
}
