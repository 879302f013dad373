#include "platform/linux/qt/StdoutOutput.h"

#include <cstdio>

namespace murvel::linux_platform {

void StdoutOutput::writeLine(std::string_view line) {
  // One fwrite holds the stream's lock for the whole line, so lines never interleave.
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

}  // namespace murvel::linux_platform
