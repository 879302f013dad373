#include "cloud/RecognitionQueue.h"

#include <time.h>

namespace murvel::cloud {

namespace {

double millisecondsSince(std::chrono::steady_clock::time_point start,
                         std::chrono::steady_clock::time_point end) {
  return std::chrono::duration<double, std::milli>(end - start).count();
}

// The processor time of the calling thread so far.
double threadCpuMs() {
  timespec now{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1000.0 + static_cast<double>(now.tv_nsec) / 1e6;
}

}  // namespace

RecognitionQueue::RecognitionQueue(std::vector<DecodeFunction> workers, std::size_t waitingLimit,
                                   SplitFunction split)
    : waitingLimit_(waitingLimit), split_(std::move(split)), decoders_(std::move(workers)) {
  threads_.reserve(decoders_.size());
  for (const DecodeFunction& decode : decoders_)
    threads_.emplace_back([this, &decode] { work(decode); });
}

RecognitionQueue::~RecognitionQueue() {
  stop();
  for (std::thread& thread : threads_) thread.join();
}

std::optional<std::future<Recognition>> RecognitionQueue::submit(
    std::vector<std::int16_t> samples) {
  const auto refused = [this] {
    return stopping_ || admitted_ >= decoders_.size() + waitingLimit_;
  };
  auto job = std::make_shared<Job>();
  job->samples = std::move(samples);
  std::size_t idle = 0;
  {
    std::lock_guard lock(mutex_);
    if (refused())
      return std::nullopt;
    // Only workers that nothing else waits for take pieces: under load a recording stays whole,
    // and each dictation keeps a worker of its own.
    idle = decoders_.size() - std::min(decoders_.size(), busy_ + waiting_.size());
  }
  if (split_ && idle >= 2)
    job->pieces = split_(job->samples, idle);
  if (job->pieces.empty())
    job->pieces.push_back(Piece{0, job->samples.size()});
  job->words.resize(job->pieces.size());
  job->piecesLeft = job->pieces.size();
  std::future<Recognition> future = job->promise.get_future();

  std::lock_guard lock(mutex_);
  if (refused())
    return std::nullopt;
  job->submitted = std::chrono::steady_clock::now();
  for (std::size_t piece = 0; piece < job->pieces.size(); ++piece)
    waiting_.push_back(Task{job, piece});
  ++admitted_;
  ++unbegun_;
  available_.notify_all();
  return future;
}

RecognitionQueue::Load RecognitionQueue::load() const {
  std::lock_guard lock(mutex_);
  return Load{decoders_.size(), busy_, unbegun_};
}

void RecognitionQueue::stop() {
  std::vector<std::pair<std::shared_ptr<Job>, Recognition>> answered;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    for (Task& task : waiting_) {
      if (!task.job->begun) {
        task.job->begun = true;
        --unbegun_;
      }
      task.job->problem = "The service is stopping; send the recording again.";
      if (auto recognition = pieceDone(*task.job))
        answered.emplace_back(task.job, std::move(*recognition));
    }
    waiting_.clear();
  }
  available_.notify_all();
  for (auto& [job, recognition] : answered) job->promise.set_value(std::move(recognition));
}

std::optional<Recognition> RecognitionQueue::pieceDone(Job& job) {
  if (--job.piecesLeft > 0)
    return std::nullopt;
  --admitted_;
  Recognition recognition;
  if (job.problem) {
    recognition.words = Outcome<std::string>::failure(*job.problem);
    return recognition;
  }
  std::string words;
  for (const std::string& part : job.words) {
    if (!part.empty())
      words += (words.empty() ? "" : " ") + part;
  }
  recognition.words = Outcome<std::string>::success(std::move(words));
  recognition.waitMs = millisecondsSince(job.submitted, job.firstStart);
  recognition.decodeMs = millisecondsSince(job.firstStart, job.lastEnd);
  recognition.decodeCpuMs = job.decodeCpuMs;
  return recognition;
}

void RecognitionQueue::work(const DecodeFunction& decode) {
  for (;;) {
    Task task;
    {
      std::unique_lock lock(mutex_);
      available_.wait(lock, [&] { return stopping_ || !waiting_.empty(); });
      if (waiting_.empty())
        return;
      task = std::move(waiting_.front());
      waiting_.pop_front();
      ++busy_;
      if (!task.job->begun) {
        task.job->begun = true;
        task.job->firstStart = std::chrono::steady_clock::now();
        --unbegun_;
      }
    }
    Job& job = *task.job;
    const Piece piece = job.pieces[task.piece];
    const double cpuAtStart = threadCpuMs();
    Outcome<std::string> words = Outcome<std::string>::success({});
    try {
      words = decode(
          std::span<const std::int16_t>(job.samples).subspan(piece.begin, piece.end - piece.begin));
    } catch (const std::exception& error) {
      words = Outcome<std::string>::failure(
          std::string("The speech decoder failed on this recording: ") + error.what() + ".");
    }
    const double cpuMs = threadCpuMs() - cpuAtStart;
    std::optional<Recognition> recognition;
    {
      std::lock_guard lock(mutex_);
      --busy_;
      job.decodeCpuMs += cpuMs;
      job.lastEnd = std::chrono::steady_clock::now();
      if (words.ok())
        job.words[task.piece] = std::move(words.value());
      else if (!job.problem)
        job.problem = words.problem();
      recognition = pieceDone(job);
    }
    if (recognition)
      job.promise.set_value(std::move(*recognition));
  }
}

}  // namespace murvel::cloud
