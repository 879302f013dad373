#include "ProcessActivity.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace murvel::bench {

namespace {

// The number after "<field>:" in a /proc status file, or -1.
std::int64_t statusField(const std::filesystem::path& file, const std::string& field) {
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with(field + ":"))
      return std::stoll(line.substr(field.size() + 1));
  }
  return -1;
}

}  // namespace

std::map<pid_t, ThreadActivity> threadActivity(pid_t pid) {
  std::map<pid_t, ThreadActivity> threads;
  std::error_code error;
  const std::filesystem::path tasks = "/proc/" + std::to_string(pid) + "/task";
  for (const auto& entry : std::filesystem::directory_iterator(tasks, error)) {
    ThreadActivity activity;
    std::getline(std::ifstream(entry.path() / "comm"), activity.name);
    const auto voluntary = statusField(entry.path() / "status", "voluntary_ctxt_switches");
    const auto involuntary = statusField(entry.path() / "status", "nonvoluntary_ctxt_switches");
    std::ifstream(entry.path() / "schedstat") >> activity.cpuNs;
    if (voluntary < 0 || involuntary < 0)
      continue;  // the thread ended while being read
    activity.wakeups = voluntary + involuntary;
    threads[static_cast<pid_t>(std::stol(entry.path().filename().string()))] = activity;
  }
  return threads;
}

std::map<pid_t, ThreadActivity> activityBetween(const std::map<pid_t, ThreadActivity>& before,
                                                const std::map<pid_t, ThreadActivity>& after) {
  std::map<pid_t, ThreadActivity> done;
  for (const auto& [tid, now] : after) {
    ThreadActivity delta = now;
    if (const auto earlier = before.find(tid); earlier != before.end()) {
      delta.wakeups -= earlier->second.wakeups;
      delta.cpuNs -= earlier->second.cpuNs;
    }
    done[tid] = delta;
  }
  return done;
}

double residentMB(pid_t pid) {
  const auto kib = statusField("/proc/" + std::to_string(pid) + "/status", "VmRSS");
  return kib < 0 ? -1.0 : static_cast<double>(kib) * 1024.0 / 1e6;
}

}  // namespace murvel::bench
