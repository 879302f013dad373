#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/qt/StdoutOutput.h"

namespace murvel::linux_platform {
namespace {

// Lines written by two threads at once reach standard output whole, never mixed.
TEST(StdoutOutputTest, ConcurrentLinesStayWhole) {
  char path[] = "/tmp/murvel-stdout-XXXXXX";
  const int file = ::mkstemp(path);
  ASSERT_GE(file, 0);
  std::fflush(stdout);
  const int saved = ::dup(STDOUT_FILENO);
  ::dup2(file, STDOUT_FILENO);

  StdoutOutput output;
  auto writer = [&](char mark) {
    const std::string line =
        "[Murvel][" + std::string(8, mark) + "][client_start] " + std::string(3000, mark) + "\n";
    for (int i = 0; i < 200; ++i) output.writeLine(line);
  };
  std::thread first(writer, 'A');
  std::thread second(writer, 'B');
  first.join();
  second.join();

  std::fflush(stdout);
  ::dup2(saved, STDOUT_FILENO);
  ::close(saved);
  ::close(file);
  std::ifstream in(path);
  std::string line;
  int lines = 0;
  while (std::getline(in, line)) {
    ++lines;
    const char mark = line.at(9);
    EXPECT_EQ(line,
              "[Murvel][" + std::string(8, mark) + "][client_start] " + std::string(3000, mark));
  }
  ::unlink(path);
  EXPECT_EQ(lines, 400);
}

}  // namespace
}  // namespace murvel::linux_platform
