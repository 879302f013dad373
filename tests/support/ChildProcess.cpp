#include "ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace murvel::test {

bool waitFor(const std::function<bool()>& done, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

ChildProcess::ChildProcess(std::vector<std::string> argv, const std::filesystem::path& log,
                           std::vector<std::string> env)
    : log_(log) {
  std::vector<char*> arguments;
  for (auto& argument : argv) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  std::vector<char*> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) environment.push_back(*entry);
  for (auto& entry : env) environment.push_back(entry.data());
  environment.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (!log.empty()) {
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  }
  if (posix_spawnp(&pid_, arguments[0], &actions, nullptr, arguments.data(), environment.data()) !=
      0)
    pid_ = -1;
  posix_spawn_file_actions_destroy(&actions);
}

ChildProcess::~ChildProcess() {
  if (running()) {
    ::kill(pid_, SIGKILL);
    waitForExit(std::chrono::seconds(5));
  }
}

bool ChildProcess::running() {
  if (status_ || pid_ <= 0)
    return false;
  int status = 0;
  if (::waitpid(pid_, &status, WNOHANG) != pid_)
    return true;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return false;
}

std::optional<int> ChildProcess::waitForExit(std::chrono::milliseconds limit) {
  waitFor([&] { return !running(); }, limit);
  return status_;
}

void ChildProcess::signal(int number) {
  if (running())
    ::kill(pid_, number);
}

std::string ChildProcess::log() const {
  std::ifstream file(log_);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace murvel::test
