#pragma once

#include <memory>

#include "platform/AudioRecorder.h"
#include "platform/linux/audio/PulseConnection.h"

namespace murvel::linux_platform {

// Makes recorders over one server connection that stays open for the factory's life, so that a
// recording starts without connecting first.
class PulseAudioRecorderFactory final : public AudioRecorderFactory {
 public:
  PulseAudioRecorderFactory();
  explicit PulseAudioRecorderFactory(std::shared_ptr<PulseConnection> connection);

  // Checks the format, then that a server answers and has a default source; the failure says
  // which of the three was wrong. The file is not touched until record().
  Result<std::unique_ptr<AudioRecorder>> makeRecorder(const std::filesystem::path& url,
                                                      const RecorderSettings& settings) override;

 private:
  std::shared_ptr<PulseConnection> connection_;
};

}  // namespace murvel::linux_platform
