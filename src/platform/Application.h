#pragma once

#include <cstdint>
#include <optional>

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
  // The type of the input event being handled right now (2 left mouse up, 4 right mouse up, 10
  // key down, 12 modifier change), or nothing outside the handling of one.
  virtual std::optional<std::uint64_t> currentEventType() = 0;
};

}  // namespace murvel
