#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "Speech.h"

namespace murvel::test {

// A sound played into the test session's virtual microphone (tests/linux/session.sh --pulse),
// whose feeder says when the sound's first and last samples went in.
class Utterance {
 public:
  using Instant = std::chrono::steady_clock::time_point;

  // Queues `wav` behind whatever is being said now.
  explicit Utterance(const std::filesystem::path& wav);
  ~Utterance();
  Utterance(const Utterance&) = delete;
  Utterance& operator=(const Utterance&) = delete;

  // When the first sample went into the microphone; waits for it. Nothing if the feeder refused
  // the file or did not answer in time (see error()).
  std::optional<Instant> started();
  // When the last sample went in; waits for it.
  std::optional<Instant> ended();
  // Why the sound was not played, or empty.
  const std::string& error() const { return error_; }

 private:
  std::optional<Instant> next(const std::string& word);

  int socket_ = -1;
  std::string pending_, error_;
  std::optional<Instant> started_, ended_;
};

// Plays `wav` into the microphone and returns once all of it has gone in; false if it was not.
bool say(const std::filesystem::path& wav);

}  // namespace murvel::test
