#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cloud/Outcome.h"

namespace murvel::cloud {

// The only audio the recogniser takes: RIFF/WAVE, linear PCM, 16-bit little-endian samples,
// one channel, 16000 samples a second.
inline constexpr std::uint32_t recognitionSampleRate = 16000;

// Where the samples of a checked WAV file lie.
struct WavLayout {
  std::size_t dataOffset = 0;  // the first byte of the first sample
  // The length of the data chunk as the header gives it; nothing when the header leaves it open
  // (0 or 0xFFFFFFFF, as writers that stream their output leave it).
  std::optional<std::uint32_t> declaredDataBytes;

  friend bool operator==(const WavLayout&, const WavLayout&) = default;
};

struct WavHeaderCheck {
  enum class Status { complete, needMoreBytes, refused };
  Status status = Status::needMoreBytes;
  WavLayout layout;     // with `complete`
  std::string problem;  // with `refused`: a sentence for the user
};

// Reads the header at the start of `bytes`, the beginning of a file or of an upload so far,
// trusting no field of it. Chunks other than the format and the data are skipped.
WavHeaderCheck checkWavHeader(std::string_view bytes);

// Why an upload that ended while its header still wanted bytes is refused.
std::string incompleteHeaderProblem(std::size_t bytesReceived);

// The samples of a whole WAV file, or why there are none.
Outcome<std::vector<std::int16_t>> readWavSamples(std::string_view file);

// 16-bit little-endian samples from raw bytes; an odd last byte is left out.
std::vector<std::int16_t> samplesFromLittleEndian(std::string_view bytes);

}  // namespace murvel::cloud
