#include "ServiceTestSupport.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>

#include "ChildProcess.h"
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

namespace {

// A new file name for speech, in a directory kept for the test program's life.
std::filesystem::path speechFile(const std::string& name) {
  static murvel::test::TemporaryDirectory directory;
  static std::atomic<int> made{0};
  return directory.path() / (name + "-" + std::to_string(made++));
}

std::filesystem::path spoken(const std::string& voice, const std::string& text) {
  const auto file = speechFile(voice);
  const auto made = murvel::test::speech(text, file.parent_path(), file.filename().string(), voice);
  EXPECT_FALSE(made.empty()) << "flite could not say: " << text;
  return made;
}

}  // namespace

std::string Speech::wav(const std::string& voice, const std::string& text) {
  return readWholeFile(spoken(voice, text)).value_or("");
}

std::string Speech::joined(const std::string& voice, const std::vector<std::string>& texts) {
  std::vector<std::string> sox{"sox"};
  for (const auto& text : texts) sox.push_back(spoken(voice, text).string());
  const auto file = speechFile("joined").replace_extension(".wav");
  sox.push_back(file.string());
  EXPECT_EQ(murvel::test::ChildProcess(sox).waitForExit(std::chrono::seconds(60)), 0);
  return readWholeFile(file).value_or("");
}

RunningService::RunningService(Settings settings) {
  auto store = Store::open(directory_.path() / "accounts.db");
  if (!store.ok()) {
    ADD_FAILURE() << store.problem();
    return;
  }
  store_ = std::move(store.value());
  std::vector<DecodeFunction> decoders;
  for (int i = 0; i < settings.decoders; ++i) {
    auto recognizer = Recognizer::load("/usr/share/pocketsphinx/model/en-us");
    if (!recognizer.ok()) {
      ADD_FAILURE() << recognizer.problem();
      return;
    }
    std::shared_ptr<Recognizer> shared = std::move(recognizer.value());
    decoders.push_back(
        [shared](std::span<const std::int16_t> samples) { return shared->recognize(samples); });
  }
  recognition_ = std::make_unique<RecognitionQueue>(std::move(decoders), settings.waitingLimit);
  ServiceSettings serviceSettings;
  serviceSettings.port = 0;
  serviceSettings.maxUploadBytes = settings.maxUploadBytes;
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

httplib::Headers transcribeHeaders(const std::string& key, const std::string& mode,
                                   const std::string& tone, const std::string& trace) {
  httplib::Headers headers{{"Authorization", "Bearer " + key},
                           {"X-Murvel-Audio-Filename", "audio.wav"},
                           {"X-Murvel-Trace-ID", trace},
                           {"X-Murvel-Cleanup-Mode", mode}};
  if (mode != "off" && !tone.empty())
    headers.emplace("X-Murvel-Tone", tone);
  return headers;
}

}  // namespace murvel::cloud::test
