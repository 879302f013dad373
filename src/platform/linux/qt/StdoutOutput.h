#pragma once

#include "platform/StandardOutput.h"

namespace murvel::linux_platform {

class StdoutOutput final : public StandardOutput {
 public:
  void writeLine(std::string_view line) override;
};

}  // namespace murvel::linux_platform
