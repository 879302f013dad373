#include "ServiceTestSupport.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>

#include "Speech.h"
#include "cloud/Recognizer.h"
#include "common/Files.h"

namespace murvel::cloud::test {

int loopbackConnection(int port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    ::close(socket);
    return -1;
  }
  return socket;
}

RawReply rawExchange(int port, const std::string& head, const std::string& bodyPiece,
                     std::size_t repeats) {
  RawReply reply;
  const int socket = loopbackConnection(port);
  if (socket < 0)
    return reply;
  const auto readable = [&](int timeoutMs) {
    pollfd watched{socket, POLLIN, 0};
    return ::poll(&watched, 1, timeoutMs) > 0;
  };
  bool sending = ::send(socket, head.data(), head.size(), MSG_NOSIGNAL) >= 0;
  for (std::size_t i = 0; sending && i < repeats; ++i) {
    if (readable(0)) {
      reply.repliedEarly = true;
      break;
    }
    sending = ::send(socket, bodyPiece.data(), bodyPiece.size(), MSG_NOSIGNAL) >= 0;
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  std::array<char, 64 * 1024> piece{};
  while (std::chrono::steady_clock::now() < end && readable(1000)) {
    const ssize_t got = ::recv(socket, piece.data(), piece.size(), 0);
    if (got <= 0)
      break;
    reply.text.append(piece.data(), static_cast<std::size_t>(got));
  }
  ::close(socket);
  return reply;
}

std::string spokenWav(const std::string& voice, const std::string& text) {
  static murvel::test::TemporaryDirectory directory;
  static std::atomic<int> made{0};
  const auto file =
      murvel::test::speech(text, directory.path(), voice + "-" + std::to_string(made++), voice);
  EXPECT_FALSE(file.empty()) << "flite could not say: " << text;
  return readWholeFile(file).value_or("");
}

RunningService::RunningService(int decoderCount, std::size_t waitingLimit) {
  auto store = Store::open(directory_.path() / "accounts.db");
  if (!store.ok()) {
    ADD_FAILURE() << store.problem();
    return;
  }
  store_ = std::move(store.value());
  std::vector<DecodeFunction> decoders;
  for (int i = 0; i < decoderCount; ++i) {
    auto recognizer = Recognizer::load("/usr/share/pocketsphinx/model/en-us");
    if (!recognizer.ok()) {
      ADD_FAILURE() << recognizer.problem();
      return;
    }
    std::shared_ptr<Recognizer> shared = std::move(recognizer.value());
    decoders.push_back(
        [shared](std::span<const std::int16_t> samples) { return shared->recognize(samples); });
  }
  recognition_ = std::make_unique<RecognitionQueue>(std::move(decoders), waitingLimit);
  ServiceSettings serviceSettings;
  serviceSettings.port = 0;
  serviceSettings.maxUploadBytes = 2 * 1024 * 1024;
  serviceSettings.spoolDirectory = directory_.path();
  serviceSettings.secondsNow = [this] {
    return clock_.load();
  };
  service_ = std::make_unique<Service>(serviceSettings, *store_, *recognition_,
                                       [this](std::string_view line) {
                                         std::lock_guard lock(logMutex_);
                                         log_.emplace_back(line);
                                       });
  const auto port = service_->bind();
  if (!port.ok()) {
    ADD_FAILURE() << port.problem();
    return;
  }
  port_ = port.value();
  serving_ = std::thread([this] { service_->serve(); });
}

RunningService::~RunningService() {
  if (recognition_)
    recognition_->stop();
  if (service_)
    service_->shutDown();
  if (serving_.joinable())
    serving_.join();
}

httplib::Client RunningService::client() const {
  httplib::Client client("127.0.0.1", port_);
  client.set_keep_alive(true);
  // Decoding under the sanitizers takes several times as long.
  client.set_read_timeout(120, 0);
  client.set_write_timeout(30, 0);
  return client;
}

std::vector<std::string> RunningService::log() const {
  std::lock_guard lock(logMutex_);
  return log_;
}

std::string RunningService::accessKey(const std::string& email) {
  auto issued = store_->issueAccessKey(email, clock_);
  EXPECT_TRUE(issued.ok());
  return issued.ok() ? issued.value().accessKey : std::string();
}

}  // namespace murvel::cloud::test
