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

RecognitionQueue::RecognitionQueue(std::vector<DecodeFunction> workers, std::size_t waitingLimit)
    : waitingLimit_(waitingLimit), decoders_(std::move(workers)) {
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
  std::lock_guard lock(mutex_);
  if (stopping_ || busy_ + waiting_.size() >= decoders_.size() + waitingLimit_)
    return std::nullopt;
  Job job{std::move(samples), {}, std::chrono::steady_clock::now()};
  std::future<Recognition> future = job.promise.get_future();
  waiting_.push_back(std::move(job));
  available_.notify_one();
  return future;
}

RecognitionQueue::Load RecognitionQueue::load() const {
  std::lock_guard lock(mutex_);
  return Load{decoders_.size(), busy_, waiting_.size()};
}

void RecognitionQueue::stop() {
  std::deque<Job> refused;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    refused.swap(waiting_);
  }
  available_.notify_all();
  for (Job& job : refused) {
    job.promise.set_value(Recognition{
        Outcome<std::string>::failure("The service is stopping; send the recording again."), 0, 0,
        0});
  }
}

void RecognitionQueue::work(const DecodeFunction& decode) {
  for (;;) {
    Job job;
    {
      std::unique_lock lock(mutex_);
      available_.wait(lock, [&] { return stopping_ || !waiting_.empty(); });
      if (waiting_.empty())
        return;
      job = std::move(waiting_.front());
      waiting_.pop_front();
      ++busy_;
    }
    const auto started = std::chrono::steady_clock::now();
    const double cpuAtStart = threadCpuMs();
    Recognition recognition;
    recognition.waitMs = millisecondsSince(job.submitted, started);
    try {
      recognition.words = decode(job.samples);
    } catch (const std::exception& error) {
      recognition.words = Outcome<std::string>::failure(
          std::string("The speech decoder failed on this recording: ") + error.what() + ".");
    }
    recognition.decodeMs = millisecondsSince(started, std::chrono::steady_clock::now());
    recognition.decodeCpuMs = threadCpuMs() - cpuAtStart;
    {
      std::lock_guard lock(mutex_);
      --busy_;
    }
    job.promise.set_value(std::move(recognition));
  }
}

}  // namespace murvel::cloud
