#pragma once

#include <chrono>
#include <deque>

namespace murvel::linux_platform {

// The keys this process is sending through XTest and has not yet seen come back.
// XTest events of every client come from one shared device, so the poster writes each key
// here before it sends it, and the monitors drop exactly those when they come back: keys that
// other clients send are still heard. One ledger is shared by the poster and the monitors of a
// process; main thread only.
class SyntheticKeyLedger {
 public:
  using Clock = std::chrono::steady_clock;

  void expect(unsigned keycode, bool press, Clock::time_point now = Clock::now());

  // True, and the entry is gone, when this key was expected.
  bool claim(unsigned keycode, bool press, Clock::time_point now = Clock::now());

 private:
  // A key that never came back (the server dropped it, or nobody listened) must not swallow
  // a later key of another client for long.
  static constexpr auto lifetime = std::chrono::seconds(2);
  static constexpr std::size_t capacity = 64;

  struct Entry {
    unsigned keycode;
    bool press;
    Clock::time_point at;
  };
  void expire(Clock::time_point now);

  std::deque<Entry> entries_;
};

}  // namespace murvel::linux_platform
