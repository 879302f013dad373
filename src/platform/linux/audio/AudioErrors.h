#pragma once

#include <string>

#include "platform/PlatformError.h"

namespace murvel::linux_platform {

inline constexpr const char* audioErrorDomain = "murvel.audio";

enum class AudioErrorCode : long { unsupportedFormat = 1, noSoundServer = 2, noMicrophone = 3 };

// Failures of recorder creation, worded for the user: the session shows them after
// "Mic unavailable: ".
PlatformError unsupportedFormatError(const std::string& detail);
PlatformError noSoundServerError();
PlatformError noMicrophoneError();

}  // namespace murvel::linux_platform
