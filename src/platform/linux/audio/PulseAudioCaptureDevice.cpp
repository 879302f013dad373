#include "platform/linux/audio/PulseAudioCaptureDevice.h"

#include <chrono>
#include <utility>

namespace murvel::linux_platform {

namespace {

using namespace std::chrono_literals;

// The status is read on the main thread at every press: a server that does not answer in this
// time is treated as absent.
constexpr auto statusTimeout = 250ms;

}  // namespace

PulseAudioCaptureDevice::PulseAudioCaptureDevice()
    : PulseAudioCaptureDevice(std::make_shared<PulseConnection>()) {}

PulseAudioCaptureDevice::PulseAudioCaptureDevice(std::shared_ptr<PulseConnection> connection)
    : connection_(std::move(connection)) {}

int PulseAudioCaptureDevice::authorizationStatus() {
  const auto state = connection_->defaultSourceState(statusTimeout);
  return state == PulseConnection::SourceState::available ? authorized : unavailable;
}

void PulseAudioCaptureDevice::requestAccess(std::function<void(bool granted)> handler) {
  const bool granted = authorizationStatus() == authorized;
  if (handler)
    handler(granted);
}

}  // namespace murvel::linux_platform
