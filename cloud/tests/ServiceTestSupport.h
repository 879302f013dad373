#pragma once

#include <httplib.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "TemporaryDirectory.h"
#include "cloud/RecognitionQueue.h"
#include "cloud/Service.h"
#include "cloud/Store.h"

namespace murvel::cloud::test {

// Speech spoken by flite in `voice`, as the app records it (16 kHz mono 16-bit WAV).
struct Speech {
  static std::string wav(const std::string& voice, const std::string& text);
  // Several texts of one voice, one after the other, in one file.
  static std::string joined(const std::string& voice, const std::vector<std::string>& texts);
};

// The service in this process on a free loopback port, with real decoders, its own data
// directory, a clock the test sets and a log the test reads.
class RunningService {
 public:
  struct Settings {
    int decoders = 2;
    std::size_t waitingLimit = 4;
    std::uint64_t maxUploadBytes = 2 * 1024 * 1024;
  };
  explicit RunningService(Settings settings);
  RunningService() : RunningService(Settings{}) {}
  ~RunningService();

  int port() const { return port_; }
  httplib::Client client() const;
  void advanceClock(std::int64_t seconds) { clock_ += seconds; }
  std::vector<std::string> log() const;
  Store& store() { return *store_; }
  // An access key for an account of `email`, as the operator option makes one.
  std::string accessKey(const std::string& email = "tester@example.com");

 private:
  murvel::test::TemporaryDirectory directory_;
  std::atomic<std::int64_t> clock_{1'700'000'000};
  mutable std::mutex logMutex_;
  std::vector<std::string> log_;
  std::unique_ptr<Store> store_;
  std::unique_ptr<RecognitionQueue> recognition_;
  std::unique_ptr<Service> service_;
  int port_ = 0;
  std::thread serving_;
};

// A new connection to `port` on loopback; -1 when none could be made.
int loopbackConnection(int port);

// One exchange on a new loopback connection, byte for byte: sends `head`, then `bodyPiece`
// `repeats` times as long as no reply has come and the service reads, and reads until the
// service closes or 15 s pass.
struct RawReply {
  std::string text;           // all that came back
  bool repliedEarly = false;  // the reply came before the whole body was sent
  int status() const { return text.size() > 12 ? std::atoi(text.c_str() + 9) : 0; }
};
RawReply rawExchange(int port, const std::string& head, const std::string& bodyPiece = {},
                     std::size_t repeats = 0);

// Headers of a transcription as the app sends them.
httplib::Headers transcribeHeaders(const std::string& key, const std::string& mode,
                                   const std::string& tone, const std::string& trace = "1A2B3C4D");

}  // namespace murvel::cloud::test
