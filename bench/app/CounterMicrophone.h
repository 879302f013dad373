#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

namespace murvel::bench {

// A microphone whose every sample says when it was heard. It is a PulseAudio pipe source, made
// the default, fed in real time (16 kHz mono, 10 ms blocks on absolute deadlines) with a
// counter: sample k carries (k mod 32000) + 1. The first sample of a recording thus tells, to
// the block, when the recorder began to hear the microphone.
class CounterMicrophone {
 public:
  using Clock = std::chrono::steady_clock;

  explicit CounterMicrophone(const std::filesystem::path& directory);
  ~CounterMicrophone();
  CounterMicrophone(const CounterMicrophone&) = delete;
  CounterMicrophone& operator=(const CounterMicrophone&) = delete;

  // Why the microphone could not be set up, or empty.
  const std::string& error() const { return error_; }

  // When the sample carrying `value` went into the microphone, taking the one nearest `near`;
  // nothing for a value the counter never carries (silence from another source, for instance).
  std::optional<Clock::time_point> heardAt(std::int16_t value, Clock::time_point near) const;

 private:
  void feed(int fd, int drain);

  std::string error_;
  std::string moduleIndex_;
  std::atomic<bool> stop_{false};
  Clock::time_point start_;
  std::thread feeder_;
};

}  // namespace murvel::bench
