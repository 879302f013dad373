#pragma once

#include <functional>

namespace murvel {

// Whether the microphone may be used.
class CaptureDevice {
 public:
  virtual ~CaptureDevice() = default;

  // 0 not determined, 1 restricted, 2 denied, 3 authorised; any other value: unavailable.
  // Returns at once.
  virtual int authorizationStatus() = 0;

  // Asks the user for access if the status is 0, then calls `handler` once with the answer,
  // on any thread.
  virtual void requestAccess(std::function<void(bool granted)> handler) = 0;
};

}  // namespace murvel
