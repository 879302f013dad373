#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// Programs that tests start in processes of their own: the app, murvel-cloud, helpers.
namespace murvel::test {

// Whether `done` holds within `limit`, checked every 10 ms.
bool waitFor(const std::function<bool()>& done,
             std::chrono::milliseconds limit = std::chrono::seconds(20));

// A program started in its own process with the test's environment and `env` added, found on the
// PATH unless its name has a slash. What it writes to standard output and error is appended to
// `log` when one is given. A process still running when this is destroyed is killed.
class ChildProcess {
 public:
  explicit ChildProcess(std::vector<std::string> argv, const std::filesystem::path& log = {},
                        std::vector<std::string> env = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool running();
  // The exit status (128 + the signal when one ended it), or nothing if it still runs after
  // `limit`.
  std::optional<int> waitForExit(std::chrono::milliseconds limit);
  void signal(int number);
  int pid() const { return pid_; }
  // What it has written so far.
  std::string log() const;

 private:
  int pid_ = -1;
  std::filesystem::path log_;
  std::optional<int> status_;
};

}  // namespace murvel::test
