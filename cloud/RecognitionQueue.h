#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "cloud/Outcome.h"

namespace murvel::cloud {

// What one worker does with the samples of one recording: the words heard, or a problem.
using DecodeFunction = std::function<Outcome<std::string>(std::span<const std::int16_t>)>;

// The result of one recognition and the time it took.
struct Recognition {
  Outcome<std::string> words = Outcome<std::string>::success({});
  double waitMs = 0;    // from submission until a worker took it
  double decodeMs = 0;  // the decoding alone
  // The processor time the decoding took, which other work on the machine does not stretch.
  double decodeCpuMs = 0;
};

// Recognition off the request threads: a fixed set of workers, each with its own decoder, and
// a bounded list of recordings that wait for one. What does not fit is refused at once, so a
// full service answers "busy" rather than queueing without end.
class RecognitionQueue {
 public:
  // One worker thread per function; at most `waitingLimit` recordings wait beyond those.
  RecognitionQueue(std::vector<DecodeFunction> workers, std::size_t waitingLimit);
  // Refuses what still waits and lets the running recognitions finish.
  ~RecognitionQueue();
  RecognitionQueue(const RecognitionQueue&) = delete;
  RecognitionQueue& operator=(const RecognitionQueue&) = delete;

  // The future recognition of `samples`; nothing when every worker is busy and the waiting list
  // is full, or the queue has stopped.
  std::optional<std::future<Recognition>> submit(std::vector<std::int16_t> samples);

  struct Load {
    std::size_t workers = 0;
    std::size_t busy = 0;
    std::size_t waiting = 0;
  };
  Load load() const;

  // Refuses what waits ("the service is stopping") and takes nothing new.
  void stop();

 private:
  struct Job {
    std::vector<std::int16_t> samples;
    std::promise<Recognition> promise;
    std::chrono::steady_clock::time_point submitted;
  };

  void work(const DecodeFunction& decode);

  const std::size_t waitingLimit_;
  mutable std::mutex mutex_;
  std::condition_variable available_;
  std::deque<Job> waiting_;
  std::size_t busy_ = 0;
  bool stopping_ = false;
  std::vector<DecodeFunction> decoders_;
  std::vector<std::thread> threads_;
};

}  // namespace murvel::cloud
