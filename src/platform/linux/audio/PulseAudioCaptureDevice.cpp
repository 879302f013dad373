#include "platform/linux/audio/PulseAudioCaptureDevice.h"

#include <utility>

namespace murvel::linux_platform {

PulseAudioCaptureDevice::PulseAudioCaptureDevice()
    : PulseAudioCaptureDevice(std::make_shared<PulseConnection>()) {}

PulseAudioCaptureDevice::PulseAudioCaptureDevice(std::shared_ptr<PulseConnection> connection)
    : connection_(std::move(connection)) {}

int PulseAudioCaptureDevice::authorizationStatus() {
  // Read on the main thread at every press: never a round trip to the server.
  const auto state = connection_->knownSourceState();
  return state == PulseConnection::SourceState::available ? authorized : unavailable;
}

void PulseAudioCaptureDevice::requestAccess(std::function<void(bool granted)> handler) {
  const bool granted = authorizationStatus() == authorized;
  if (handler)
    handler(granted);
}

}  // namespace murvel::linux_platform
