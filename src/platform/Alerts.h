#pragma once

#include <string>
#include <vector>

namespace murvel {

inline constexpr long alertFirstButtonReturn = 1000;

struct Alert {
  std::string messageText;
  std::string informativeText;
  std::vector<std::string> buttonTitles;

  friend bool operator==(const Alert&, const Alert&) = default;
};

class Alerts {
 public:
  virtual ~Alerts() = default;
  // Shows the alert modally and returns 1000 + the index of the chosen button.
  virtual long runModal(const Alert& alert) = 0;
};

}  // namespace murvel
