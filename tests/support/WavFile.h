#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace murvel::test {

// A WAV file written field by field, so that a test can get any of them wrong.
struct WavShape {
  std::string riff = "RIFF";
  std::string wave = "WAVE";
  std::uint16_t format = 1;
  bool extensible = false;  // WAVE_FORMAT_EXTENSIBLE with `format` as the sub-format
  std::uint16_t channels = 1;
  std::uint32_t rate = 16000;
  std::uint16_t bits = 16;
  std::optional<std::uint16_t> blockAlign{};  // by default channels * bits / 8
  std::uint32_t formatChunkSize = 16;         // 40 when extensible
  std::vector<std::pair<std::string, std::string>> chunksBeforeFormat{};
  bool dataBeforeFormat = false;
  std::optional<std::uint32_t> declaredDataBytes{};  // by default the audio's length
  std::string audio = std::string("\x01\x00\xff\x7f\x00\x80", 6);
  std::vector<std::pair<std::string, std::string>> chunksAfterData{};
};

std::string wavFile(const WavShape& shape);

// `samples` as the bytes of 16-bit little-endian audio.
std::string pcmBytes(const std::vector<std::int16_t>& samples);

}  // namespace murvel::test
