#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace murvel::linux_platform::test {

// A RIFF/WAVE file read back independently of the writer, with every size field checked.
struct WavFile {
  std::uint16_t formatTag = 0;
  std::uint16_t channels = 0;
  std::uint32_t sampleRate = 0;
  std::uint32_t byteRate = 0;
  std::uint16_t blockAlign = 0;
  std::uint16_t bitsPerSample = 0;
  std::uint64_t dataOffset = 0;  // where the samples begin
  std::vector<std::int16_t> samples;

  double seconds() const { return static_cast<double>(samples.size()) / sampleRate; }
  // Energy per second, so files at different rates compare.
  double energy() const;
  double rms() const;
};

// The parsed file, or a description of the first thing wrong with it.
struct WavReadResult {
  std::optional<WavFile> file;
  std::string problem;
};

WavReadResult readWav(const std::filesystem::path& path);

}  // namespace murvel::linux_platform::test
