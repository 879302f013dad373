#include "ServiceTestSupport.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include <fstream>

#include "cloud/Recognizer.h"

extern char** environ;

namespace murvel::cloud::test {

int runProgram(const std::vector<std::string>& arguments) {
  std::vector<std::string> copies = arguments;
  std::vector<char*> argv;
  for (std::string& argument : copies) argv.push_back(argument.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
    return -1;
  int status = 0;
  if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
    return -1;
  return WEXITSTATUS(status);
}

std::string fileContent(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

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

std::mutex speechMutex;
std::map<std::string, std::filesystem::path>& madeSpeech() {
  static std::map<std::string, std::filesystem::path> made;
  return made;
}
const std::filesystem::path& speechDirectory() {
  static murvel::test::TemporaryDirectory directory;
  return directory.path();
}

}  // namespace

std::filesystem::path Speech::make(const std::string& voice, const std::string& text,
                                   const std::vector<std::string>& options) {
  std::string key = voice + "|" + text;
  for (const auto& option : options) key += "|" + option;
  std::lock_guard lock(speechMutex);
  auto& made = madeSpeech();
  if (auto found = made.find(key); found != made.end())
    return found->second;
  const auto number = std::to_string(made.size());
  const auto spoken = speechDirectory() / ("spoken-" + number + ".wav");
  const auto file = speechDirectory() / ("speech-" + number + ".wav");
  EXPECT_EQ(runProgram({"flite", "-voice", voice, "-t", text, "-o", spoken.string()}), 0);
  std::vector<std::string> sox{"sox", spoken.string()};
  if (options.empty()) {
    for (const char* option : {"-r", "16000", "-c", "1", "-b", "16", "-e", "signed-integer"})
      sox.push_back(option);
  } else {
    sox.insert(sox.end(), options.begin(), options.end());
  }
  sox.push_back(file.string());
  EXPECT_EQ(runProgram(sox), 0);
  made[key] = file;
  return file;
}

std::string Speech::wav(const std::string& voice, const std::string& text) {
  return fileContent(make(voice, text, {}));
}

std::string Speech::converted(const std::string& voice, const std::string& text,
                              const std::vector<std::string>& options) {
  return fileContent(make(voice, text, options));
}

std::string Speech::joined(const std::string& voice, const std::vector<std::string>& texts) {
  std::vector<std::string> sox{"sox"};
  for (const auto& text : texts) sox.push_back(make(voice, text, {}).string());
  const auto file = speechDirectory() / ("joined-" + voice + std::to_string(texts.size()) + ".wav");
  sox.push_back(file.string());
  EXPECT_EQ(runProgram(sox), 0);
  return fileContent(file);
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
