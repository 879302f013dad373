#include "dictation/WordCount.h"

#include <cmath>
#include <limits>

namespace murvel {

long long murvelWordCount(std::string_view text) {
  long long count = 0;
  bool inWord = false;
  for (char c : text) {
    if (c == ' ') {
      inWord = false;
    } else if (!inWord) {
      inWord = true;
      ++count;
    }
  }
  return count;
}

long long murvelWordsPerMinute(long long words, double duration) {
  if (!(duration > 0))
    return 0;
  const double perMinute = static_cast<double>(words) / duration * 60.0;
  // A recording of next to no length must not overflow the integer.
  if (!std::isfinite(perMinute) ||
      perMinute >= static_cast<double>(std::numeric_limits<long long>::max())) {
    return std::numeric_limits<long long>::max();
  }
  return static_cast<long long>(perMinute);
}

}  // namespace murvel
