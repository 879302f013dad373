#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "cloud/Outcome.h"
#include "cloud/RecognizerOptions.h"

namespace murvel::cloud {

// Sends one recording of 16 kHz mono samples, as a WAV file, to the server of `options` and
// returns its text, or a sentence for the user when it refused, failed, could not be reached or
// did not answer within the timeout. `apiKey` goes in the Authorization header unless empty.
// Safe to call from several threads at once.
Outcome<std::string> recognizeRemotely(const RecognizerOptions& options, const std::string& apiKey,
                                       std::span<const std::int16_t> samples);

}  // namespace murvel::cloud
