#include "dictation/RecorderSettings.h"
#include "shell/AppDelegate.h"

namespace murvel {

RecorderSettings murvelRecorderSettings() {
  return {
      {"AVFormatIDKey", std::int64_t{1819304813}},  // 'lpcm'
      {"AVSampleRateKey", 16000.0},
      {"AVNumberOfChannelsKey", std::int64_t{1}},
      {"AVLinearPCMBitDepthKey", std::int64_t{16}},
      {"AVLinearPCMIsFloatKey", false},
      {"AVLinearPCMIsBigEndianKey", false},
      {"AVLinearPCMIsNonInterleaved", false},
  };
}

std::int64_t recordingFileSize(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error))
    return 0;
  const auto size = std::filesystem::file_size(path, error);
  if (error)
    return 0;
  return static_cast<std::int64_t>(size);
}

void AppDelegate::setupRecordingURL() {
  recordingURL = platform_.workspace.temporaryDirectory() / recordingFileName;
}

}  // namespace murvel
