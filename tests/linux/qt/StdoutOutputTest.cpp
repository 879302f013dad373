#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <thread>

#include "platform/linux/qt/StdoutOutput.h"

namespace murvel::linux_platform {
namespace {

// Lines written by two threads at once reach standard output whole, never mixed.
TEST(StdoutOutputTest, ConcurrentLinesStayWhole) {
  const auto lineOf = [](char mark) {
    return "[Murvel][" + std::string(8, mark) + "][client_start] " + std::string(3000, mark);
  };
  ::testing::internal::CaptureStdout();
  StdoutOutput output;
  auto writer = [&](char mark) {
    for (int i = 0; i < 200; ++i) output.writeLine(lineOf(mark) + "\n");
  };
  std::thread first(writer, 'A');
  std::thread second(writer, 'B');
  first.join();
  second.join();

  std::istringstream written(::testing::internal::GetCapturedStdout());
  int lines = 0;
  for (std::string line; std::getline(written, line); ++lines) EXPECT_EQ(line, lineOf(line.at(9)));
  EXPECT_EQ(lines, 400);
}

}  // namespace
}  // namespace murvel::linux_platform
