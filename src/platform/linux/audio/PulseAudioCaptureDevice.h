#pragma once

#include <memory>

#include "platform/CaptureDevice.h"
#include "platform/linux/audio/PulseConnection.h"

namespace murvel::linux_platform {

// This desktop has no per-application microphone permission: the microphone counts as
// authorised (3) whenever the sound server has a default source, and as unavailable (-1) when
// no server or no source can be reached. The answer is what the shared connection last heard
// from the server, which it keeps current by itself, so asking never waits for the server.
class PulseAudioCaptureDevice final : public CaptureDevice {
 public:
  static constexpr int authorized = 3;
  static constexpr int unavailable = -1;

  PulseAudioCaptureDevice();
  explicit PulseAudioCaptureDevice(std::shared_ptr<PulseConnection> connection);

  // Answers at once, even when the server is stuck.
  int authorizationStatus() override;
  // There is nobody to ask: calls `handler` before returning, with whether a source is there.
  void requestAccess(std::function<void(bool granted)> handler) override;

 private:
  std::shared_ptr<PulseConnection> connection_;
};

}  // namespace murvel::linux_platform
