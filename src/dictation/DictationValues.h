#pragma once

#include <string>

#include "platform/Date.h"

namespace murvel {

// What one dictation fixes at the release and carries by value through its later stages.
struct DictationValues {
  std::string accessKey;
  double duration = 0;
  std::string cleanupMode;
  bool shouldClean = false;
  std::string tone;
  std::string traceID;
  Date releasedAt;
};

}  // namespace murvel
