#include "platform/linux/x11/SyntheticKeyLedger.h"

namespace murvel::linux_platform {

void SyntheticKeyLedger::expect(unsigned keycode, bool press, Clock::time_point now) {
  expire(now);
  if (entries_.size() == capacity)
    entries_.pop_front();
  entries_.push_back({keycode, press, now});
}

bool SyntheticKeyLedger::claim(unsigned keycode, bool press, Clock::time_point now) {
  expire(now);
  for (auto it = entries_.begin(); it != entries_.end(); ++it) {
    if (it->keycode == keycode && it->press == press) {
      entries_.erase(it);
      return true;
    }
  }
  return false;
}

void SyntheticKeyLedger::expire(Clock::time_point now) {
  while (!entries_.empty() && now - entries_.front().at > lifetime) entries_.pop_front();
}

}  // namespace murvel::linux_platform
