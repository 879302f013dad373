#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>

#include "platform/AudioRecorder.h"

namespace murvel {

inline constexpr std::string_view recordingFileName = "murvel_recording.wav";

// The recorder's format: 16 kHz mono 16-bit signed little-endian linear PCM. Built anew at every
// start of a recording.
RecorderSettings murvelRecorderSettings();

// The size in bytes of the whole file at `path`, 0 when it cannot be told.
std::int64_t recordingFileSize(const std::filesystem::path& path);

// Only a recording of more than this many bytes, header included, goes to the service.
inline constexpr std::int64_t minimumRecordingBytes = 4096;

}  // namespace murvel
