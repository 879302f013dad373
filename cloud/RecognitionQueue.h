#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "cloud/Outcome.h"
#include "cloud/Pauses.h"

namespace murvel::cloud {

// What one worker does with the samples of one recording: the words heard, or a problem.
using DecodeFunction = std::function<Outcome<std::string>(std::span<const std::int16_t>)>;
// Cuts a recording into at most `count` pieces that may be decoded apart from each other.
using SplitFunction =
    std::function<std::vector<Piece>(std::span<const std::int16_t> samples, std::size_t count)>;

// The result of one recognition and the time it took.
struct Recognition {
  Outcome<std::string> words = Outcome<std::string>::success({});
  double waitMs = 0;    // from submission until a worker took it
  double decodeMs = 0;  // the decoding alone, from its first piece's start to its last's end
  // The processor time the decoding took, which other work on the machine does not stretch.
  double decodeCpuMs = 0;
};

// Recognition off the request threads: a fixed set of workers, each with its own decoder, and
// a bounded list of recordings that wait for one. What does not fit is refused at once, so a
// full service answers "busy" rather than queueing without end. With a `split`, a recording that
// comes while workers are free is cut into as many pieces, decoded side by side and joined, so
// that one person's dictation uses every processor of an idle service.
class RecognitionQueue {
 public:
  // One worker thread per function; at most `waitingLimit` recordings wait beyond those.
  RecognitionQueue(std::vector<DecodeFunction> workers, std::size_t waitingLimit,
                   SplitFunction split = {});
  // Refuses what still waits and lets the running recognitions finish.
  ~RecognitionQueue();
  RecognitionQueue(const RecognitionQueue&) = delete;
  RecognitionQueue& operator=(const RecognitionQueue&) = delete;

  // The future recognition of `samples`; nothing when every worker is busy and the waiting list
  // is full, or the queue has stopped.
  std::optional<std::future<Recognition>> submit(std::vector<std::int16_t> samples);

  struct Load {
    std::size_t workers = 0;
    std::size_t busy = 0;     // workers decoding
    std::size_t waiting = 0;  // recordings that no worker has begun
  };
  Load load() const;

  // Refuses what waits ("the service is stopping") and takes nothing new.
  void stop();

 private:
  // One recording, from its submission until its last piece is decoded.
  struct Job {
    std::vector<std::int16_t> samples;
    std::vector<Piece> pieces;
    std::vector<std::string> words;  // per piece
    std::optional<std::string> problem;
    std::size_t piecesLeft = 0;
    bool begun = false;
    std::promise<Recognition> promise;
    std::chrono::steady_clock::time_point submitted, firstStart, lastEnd;
    double decodeCpuMs = 0;
  };
  // A piece that waits for a worker.
  struct Task {
    std::shared_ptr<Job> job;
    std::size_t piece = 0;
  };

  void work(const DecodeFunction& decode);
  // Counts a piece as done, under the lock; the job's recognition once it was its last.
  std::optional<Recognition> pieceDone(Job& job);

  const std::size_t waitingLimit_;
  const SplitFunction split_;
  mutable std::mutex mutex_;
  std::condition_variable available_;
  std::deque<Task> waiting_;
  std::size_t busy_ = 0;
  std::size_t admitted_ = 0;  // recordings submitted and not yet answered
  std::size_t unbegun_ = 0;   // of those, the ones that no worker has begun
  bool stopping_ = false;
  std::vector<DecodeFunction> decoders_;
  std::vector<std::thread> threads_;
};

}  // namespace murvel::cloud
