#pragma once

namespace murvel {

class Accessibility {
 public:
  virtual ~Accessibility() = default;
  // True when the process may listen to keys across the desktop and post synthetic ones.
  // Prompts for nothing.
  virtual bool isProcessTrusted() = 0;
};

}  // namespace murvel
