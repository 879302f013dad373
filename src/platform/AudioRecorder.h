#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <variant>

#include "platform/PlatformError.h"

namespace murvel {

using RecorderSettingValue = std::variant<std::int64_t, double, bool>;
using RecorderSettings = std::map<std::string, RecorderSettingValue>;

// One recording into one file.
class AudioRecorder {
 public:
  virtual ~AudioRecorder() = default;

  // Starts capturing from the default microphone at once, replacing what the file held.
  // False when the capture could not start.
  virtual bool record() = 0;

  // Ends the recording. When it returns the file is complete and its size final.
  virtual void stop() = 0;
};

class AudioRecorderFactory {
 public:
  virtual ~AudioRecorderFactory() = default;

  // A recorder for the file at `url` in the format the settings describe, or a failure whose
  // localized description says why none could be made.
  virtual Result<std::unique_ptr<AudioRecorder>> makeRecorder(const std::filesystem::path& url,
                                                              const RecorderSettings& settings) = 0;
};

}  // namespace murvel
