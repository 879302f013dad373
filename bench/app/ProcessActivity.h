#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>

namespace murvel::bench {

// What one thread of a process has done so far, as /proc tells it.
struct ThreadActivity {
  std::string name;
  std::int64_t wakeups = 0;  // voluntary and involuntary context switches
  std::int64_t cpuNs = 0;    // time on a CPU
};

// Every live thread of `pid`, by thread id.
std::map<pid_t, ThreadActivity> threadActivity(pid_t pid);

// What each thread did between two readings; a thread born in between counts from zero.
std::map<pid_t, ThreadActivity> activityBetween(const std::map<pid_t, ThreadActivity>& before,
                                                const std::map<pid_t, ThreadActivity>& after);

// The process's resident memory in MB (10^6 bytes), or a negative number if it cannot be read.
double residentMB(pid_t pid);

}  // namespace murvel::bench
