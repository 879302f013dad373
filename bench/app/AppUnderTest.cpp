#include "AppUnderTest.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

extern char** environ;

namespace murvel::bench {

AppUnderTest::AppUnderTest(const std::string& program, const std::filesystem::path& widgetDump,
                           const std::filesystem::path& temporary)
    : widgetDump_(widgetDump) {
  std::vector<std::string> settings{"MURVEL_WIDGET_DUMP=" + widgetDump.string(),
                                    "TMPDIR=" + temporary.string()};
  std::vector<char*> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view name(*entry);
    if (!name.starts_with("MURVEL_WIDGET_DUMP=") && !name.starts_with("TMPDIR="))
      environment.push_back(*entry);
  }
  for (auto& setting : settings) environment.push_back(setting.data());
  environment.push_back(nullptr);

  int output[2];
  if (pipe2(output, O_CLOEXEC) != 0)
    return;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  // MURVEL_BENCH_WRAPPER runs the app under a tool, "strace -f -tt -o trace" for instance.
  std::vector<std::string> words;
  std::istringstream wrapper(
      std::getenv("MURVEL_BENCH_WRAPPER") ? std::getenv("MURVEL_BENCH_WRAPPER") : "");
  for (std::string word; wrapper >> word;) words.push_back(word);
  words.push_back(program);
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  if (posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), environment.data()) != 0)
    pid_ = -1;
  posix_spawn_file_actions_destroy(&actions);
  close(output[1]);
  reader_ = std::thread([this, fd = output[0]] { readOutput(fd); });
}

AppUnderTest::~AppUnderTest() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  if (reader_.joinable())
    reader_.join();
}

void AppUnderTest::readOutput(int fd) {
  std::string pending;
  char chunk[4096];
  for (;;) {
    const ssize_t got = read(fd, chunk, sizeof chunk);
    if (got <= 0)
      break;
    const auto at = std::chrono::steady_clock::now();
    pending.append(chunk, static_cast<std::size_t>(got));
    std::size_t end;
    bool added = false;
    while ((end = pending.find('\n')) != std::string::npos) {
      std::lock_guard lock(mutex_);
      lines_.push_back({pending.substr(0, end), at});
      pending.erase(0, end + 1);
      added = true;
    }
    if (added)
      changed_.notify_all();
  }
  close(fd);
}

std::size_t AppUnderTest::lineCount() const {
  std::lock_guard lock(mutex_);
  return lines_.size();
}

std::optional<OutputLine> AppUnderTest::waitForLine(const std::string& needle, std::size_t from,
                                                    std::chrono::milliseconds limit) const {
  std::unique_lock lock(mutex_);
  std::optional<OutputLine> found;
  changed_.wait_for(lock, limit, [&] {
    for (std::size_t i = from; i < lines_.size(); ++i) {
      if (lines_[i].text.find(needle) != std::string::npos) {
        found = lines_[i];
        return true;
      }
    }
    return false;
  });
  return found;
}

std::string AppUnderTest::dumpWidgets() {
  const int wanted = ++dumps_;
  kill(pid_, SIGUSR1);
  // The app writes the dump by replacing the file; its sequence number says which dump it is.
  for (int i = 0; i < 300; ++i) {
    std::ifstream in(widgetDump_);
    std::stringstream text;
    text << in.rdbuf();
    const auto parsed = nlohmann::json::parse(text.str(), nullptr, false);
    if (!parsed.is_discarded() && parsed.value("sequence", 0) >= wanted)
      return text.str();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return {};
}

}  // namespace murvel::bench
