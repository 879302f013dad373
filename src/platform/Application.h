#pragma once

#include <cstdint>

namespace murvel {

// The running application as a whole.
class Application {
 public:
  virtual ~Application() = default;
  // Ends the process on the platform's terms.
  virtual void terminate() = 0;
  // Brings this application to the front.
  virtual void activateIgnoringOtherApps(bool flag) = 0;
  virtual std::int64_t processIdentifier() = 0;
};

}  // namespace murvel
