#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/AudioRecorder.h"
#include "platform/CaptureDevice.h"
#include "platform/Sounds.h"

namespace murvel::testing {

// Recorders that write a real file: `record` replaces its content with nothing, `stop` leaves
// a WAV file of `bytesPerRecording` bytes. Everything asked of them goes into `log`, in order:
// "make", "record", "stop", "drop" (a recorder destroyed).
class FakeAudioRecorderFactory final : public AudioRecorderFactory {
 public:
  Result<std::unique_ptr<AudioRecorder>> makeRecorder(const std::filesystem::path& url,
                                                      const RecorderSettings& settings) override;

  std::size_t bytesPerRecording = 32044;
  std::optional<std::string> failure;  // set: creation fails with this description
  bool recordFails = false;            // set: record() returns false and writes nothing

  std::vector<std::string> log;
  std::vector<RecorderSettings> settings;
  int liveRecorders = 0;
};

class FakeCaptureDevice final : public CaptureDevice {
 public:
  int authorizationStatus() override { return status; }
  void requestAccess(std::function<void(bool)> handler) override;

  // Answers every pending prompt, as the platform would, possibly from another thread.
  void answer(bool granted);

  int status = 3;
  int requests = 0;
  std::vector<std::function<void(bool)>> pending;
};

// System sounds that count their look-ups and plays.
class FakeSounds final : public Sounds {
 public:
  std::shared_ptr<Sound> soundNamed(std::string_view name) override;

  std::vector<std::string> lookups;
  std::vector<std::string> played;
};

}  // namespace murvel::testing
