#pragma once

#include <chrono>

namespace murvel {

// A moment in wall-clock time. The clock itself is reached through Dispatch::now().
using Date = std::chrono::system_clock::time_point;

// Seconds from `earlier` to `later`, as a 64-bit float.
inline double secondsBetween(Date later, Date earlier) {
  return std::chrono::duration<double>(later - earlier).count();
}

// Milliseconds from `earlier` to `later`, as a 64-bit float.
inline double millisecondsBetween(Date later, Date earlier) {
  return secondsBetween(later, earlier) * 1000.0;
}

inline Date dateFromUnixSeconds(double seconds) {
  return Date(std::chrono::duration_cast<Date::duration>(std::chrono::duration<double>(seconds)));
}

inline double unixSeconds(Date date) {
  return std::chrono::duration<double>(date.time_since_epoch()).count();
}

}  // namespace murvel
