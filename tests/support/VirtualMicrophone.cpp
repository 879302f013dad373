#include "VirtualMicrophone.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace murvel::test {

namespace {

// Where the session's feeder listens.
std::string controlPath() {
  const char* path = std::getenv("MURVEL_MIC_CONTROL");
  return path == nullptr ? "" : path;
}

}  // namespace

Utterance::Utterance(const std::filesystem::path& wav) {
  const std::string path = controlPath();
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    error_ = "no virtual microphone: run under tests/linux/session.sh --pulse";
    return;
  }
  std::strcpy(address.sun_path, path.c_str());
  socket_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  // A long sentence queued behind another still answers well within this.
  const timeval limit{60, 0};
  ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  const std::string request = "play " + std::filesystem::absolute(wav).string() + "\n";
  if (::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::send(socket_, request.data(), request.size(), MSG_NOSIGNAL) != ssize_t(request.size()))
    error_ = "the microphone's feeder at " + path + " cannot be reached";
}

Utterance::~Utterance() {
  if (socket_ >= 0)
    ::close(socket_);
}

std::optional<Utterance::Instant> Utterance::next(const std::string& word) {
  while (error_.empty()) {
    if (const auto end = pending_.find('\n'); end != std::string::npos) {
      const std::string line = pending_.substr(0, end);
      pending_.erase(0, end + 1);
      if (line.starts_with("error ")) {
        error_ = line.substr(6);
        break;
      }
      const auto space = line.find(' ');
      const Instant at{std::chrono::nanoseconds(std::atoll(line.c_str() + space + 1))};
      (line.starts_with("started") ? started_ : ended_) = at;
      if (line.starts_with(word))
        return at;
      continue;
    }
    char buffer[256];
    const ssize_t got = ::recv(socket_, buffer, sizeof buffer, 0);
    if (got <= 0) {
      error_ = "the microphone's feeder did not answer";
      break;
    }
    pending_.append(buffer, std::size_t(got));
  }
  return std::nullopt;
}

std::optional<Utterance::Instant> Utterance::started() {
  return started_ ? started_ : next("started");
}

std::optional<Utterance::Instant> Utterance::ended() {
  return ended_ ? ended_ : next("ended");
}

bool say(const std::filesystem::path& wav) {
  return Utterance(wav).ended().has_value();
}

}  // namespace murvel::test
