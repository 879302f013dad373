#pragma once

#include <optional>

#include "platform/AudioRecorder.h"

namespace murvel::linux_platform {

// Checks that the settings ask for the one format this recorder writes: linear PCM, 16 kHz,
// mono, 16-bit signed integer, little-endian, interleaved. Every one of the seven keys must be
// present; numbers may come as integers or floats, flags as booleans or 0 and 1. Returns the
// failure to report, or nothing when the settings are acceptable.
std::optional<PlatformError> checkRecorderSettings(const RecorderSettings& settings);

}  // namespace murvel::linux_platform
