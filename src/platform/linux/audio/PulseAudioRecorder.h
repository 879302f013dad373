#pragma once

#include <pulse/pulseaudio.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

#include "platform/AudioRecorder.h"
#include "platform/linux/audio/PulseConnection.h"
#include "platform/linux/audio/WavWriter.h"

namespace murvel::linux_platform {

// Records the default source into one WAV file, 16 kHz mono 16-bit, through the shared server
// connection. The samples are written on the connection's event thread as they arrive.
class PulseAudioRecorder final : public AudioRecorder {
 public:
  PulseAudioRecorder(std::shared_ptr<PulseConnection> connection, std::filesystem::path path);
  // A recording still running is stopped, so the file is left complete.
  ~PulseAudioRecorder() override;

  // Replaces the file with an empty recording and asks the server for the capture; returns
  // without waiting for the first audio. False when no capture could be requested: the file is
  // then a valid recording of nothing.
  bool record() override;
  void stop() override;

  // When the first audio of the present take reached the recorder, if it did. For measurements.
  std::optional<std::chrono::steady_clock::time_point> firstAudioTime() const;

 private:
  static void onReadable(pa_stream* stream, std::size_t bytes, void* self);
  void takeReadable();
  void releaseStream();

  std::shared_ptr<PulseConnection> connection_;
  std::filesystem::path path_;
  WavWriter file_;
  pa_stream* stream_ = nullptr;
  std::atomic<std::chrono::steady_clock::rep> firstAudio_{0};
};

}  // namespace murvel::linux_platform
