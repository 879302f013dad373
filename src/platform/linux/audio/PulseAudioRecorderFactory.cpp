#include "platform/linux/audio/PulseAudioRecorderFactory.h"

#include <chrono>
#include <utility>

#include "platform/linux/audio/AudioErrors.h"
#include "platform/linux/audio/PulseAudioRecorder.h"
#include "platform/linux/audio/RecorderFormat.h"

namespace murvel::linux_platform {

namespace {

using namespace std::chrono_literals;

// A local server answers in a millisecond; this only bounds a server that is stuck.
constexpr auto serverTimeout = 500ms;

}  // namespace

PulseAudioRecorderFactory::PulseAudioRecorderFactory()
    : PulseAudioRecorderFactory(std::make_shared<PulseConnection>()) {}

PulseAudioRecorderFactory::PulseAudioRecorderFactory(std::shared_ptr<PulseConnection> connection)
    : connection_(std::move(connection)) {}

Result<std::unique_ptr<AudioRecorder>> PulseAudioRecorderFactory::makeRecorder(
    const std::filesystem::path& url, const RecorderSettings& settings) {
  using Made = Result<std::unique_ptr<AudioRecorder>>;
  if (auto refusal = checkRecorderSettings(settings))
    return Made::failure(std::move(*refusal));
  switch (connection_->defaultSourceState(serverTimeout)) {
    case PulseConnection::SourceState::noServer:
      return Made::failure(noSoundServerError());
    case PulseConnection::SourceState::noSource:
      return Made::failure(noMicrophoneError());
    case PulseConnection::SourceState::available:
      break;
  }
  return Made::success(std::make_unique<PulseAudioRecorder>(connection_, url));
}

}  // namespace murvel::linux_platform
