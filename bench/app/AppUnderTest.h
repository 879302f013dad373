#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace murvel::bench {

// A line the app wrote to standard output, and when it arrived.
struct OutputLine {
  std::string text;
  std::chrono::steady_clock::time_point at;
};

// The app as a process of its own, its standard output read line by line as it comes.
class AppUnderTest {
 public:
  // `widgetDump` is where the app writes its widgets on SIGUSR1; `temporary` becomes its TMPDIR.
  AppUnderTest(const std::string& program, const std::filesystem::path& widgetDump,
               const std::filesystem::path& temporary);
  ~AppUnderTest();
  AppUnderTest(const AppUnderTest&) = delete;
  AppUnderTest& operator=(const AppUnderTest&) = delete;

  pid_t pid() const { return pid_; }
  std::size_t lineCount() const;
  // The first line from index `from` on that holds `needle`, once there is one.
  std::optional<OutputLine> waitForLine(const std::string& needle, std::size_t from,
                                        std::chrono::milliseconds limit) const;
  // A fresh dump of the app's top-level widgets, as JSON text; empty if none came.
  std::string dumpWidgets();

 private:
  void readOutput(int fd);

  pid_t pid_ = -1;
  std::filesystem::path widgetDump_;
  int dumps_ = 0;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<OutputLine> lines_;
  std::thread reader_;
};

}  // namespace murvel::bench
