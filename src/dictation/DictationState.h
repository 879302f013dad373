#pragma once

#include <ostream>
#include <string>

namespace murvel {

// What the session tells the panel. An announcement: stored nowhere and never read back.
struct DictationState {
  enum class Kind { idle, recording, transcribing, done, error };

  Kind kind = Kind::idle;
  std::string text;     // done: the delivered text
  long long words = 0;  // done
  long long wpm = 0;    // done
  std::string message;  // error: for the user

  static DictationState idle() { return {Kind::idle, {}, 0, 0, {}}; }
  static DictationState recording() { return {Kind::recording, {}, 0, 0, {}}; }
  static DictationState transcribing() { return {Kind::transcribing, {}, 0, 0, {}}; }
  static DictationState done(std::string text, long long words, long long wpm) {
    return {Kind::done, std::move(text), words, wpm, {}};
  }
  static DictationState error(std::string message) {
    return {Kind::error, {}, 0, 0, std::move(message)};
  }

  friend bool operator==(const DictationState&, const DictationState&) = default;
};

std::ostream& operator<<(std::ostream& out, const DictationState& state);

}  // namespace murvel
