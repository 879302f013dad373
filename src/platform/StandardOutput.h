#pragma once

#include <string_view>

namespace murvel {

class StandardOutput {
 public:
  virtual ~StandardOutput() = default;
  // Writes `line`, which ends in a line feed, in one piece: lines written at the same time from
  // different threads never mix.
  virtual void writeLine(std::string_view line) = 0;
};

}  // namespace murvel
