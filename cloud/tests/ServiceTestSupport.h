#pragma once

#include <httplib.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
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

// `text` spoken by flite in `voice`, as the app records it (16 kHz mono 16-bit WAV).
std::string spokenWav(const std::string& voice, const std::string& text);

// The service in this process on a free loopback port, with real decoders, its own data
// directory, uploads of at most 2 MiB, a clock the test sets and a log the test reads.
class RunningService {
 public:
  explicit RunningService(int decoderCount = 2, std::size_t waitingLimit = 4);
  ~RunningService();

  int port() const { return port_; }
  httplib::Client client() const;
  void advanceClock(std::int64_t seconds) { clock_ += seconds; }
  std::vector<std::string> log() const;
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

}  // namespace murvel::cloud::test
