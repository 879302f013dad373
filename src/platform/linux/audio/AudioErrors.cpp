#include "platform/linux/audio/AudioErrors.h"

namespace murvel::linux_platform {

PlatformError unsupportedFormatError(const std::string& detail) {
  return {audioErrorDomain, static_cast<long>(AudioErrorCode::unsupportedFormat),
          "This recording format is not supported (" + detail + ")."};
}

PlatformError noSoundServerError() {
  return {audioErrorDomain, static_cast<long>(AudioErrorCode::noSoundServer),
          "No sound server is running, so no microphone can be reached."};
}

PlatformError noMicrophoneError() {
  return {audioErrorDomain, static_cast<long>(AudioErrorCode::noMicrophone),
          "No microphone was found."};
}

}  // namespace murvel::linux_platform
