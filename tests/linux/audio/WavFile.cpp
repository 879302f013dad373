#include "WavFile.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>

namespace murvel::linux_platform::test {

namespace {

std::uint32_t little(const std::vector<unsigned char>& bytes, std::size_t at, int width) {
  std::uint32_t value = 0;
  for (int i = width - 1; i >= 0; --i)
    value = (value << 8) | bytes[at + static_cast<std::size_t>(i)];
  return value;
}

bool tagAt(const std::vector<unsigned char>& bytes, std::size_t at, const char* tag) {
  return at + 4 <= bytes.size() && std::memcmp(bytes.data() + at, tag, 4) == 0;
}

}  // namespace

double WavFile::energy() const {
  double sum = 0;
  for (auto s : samples) sum += static_cast<double>(s) * s;
  return sampleRate == 0 ? 0 : sum / sampleRate;
}

double WavFile::rms() const {
  double sum = 0;
  for (auto s : samples) sum += static_cast<double>(s) * s;
  return samples.empty() ? 0 : std::sqrt(sum / static_cast<double>(samples.size()));
}

WavReadResult readWav(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in)
    return {std::nullopt, "cannot open " + path.string()};
  const std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(in), {}};
  if (bytes.size() < 12 || !tagAt(bytes, 0, "RIFF") || !tagAt(bytes, 8, "WAVE"))
    return {std::nullopt, "not a RIFF/WAVE file"};
  if (little(bytes, 4, 4) != bytes.size() - 8)
    return {std::nullopt, "RIFF size " + std::to_string(little(bytes, 4, 4)) + " for a file of " +
                              std::to_string(bytes.size()) + " bytes"};

  WavFile wav;
  bool haveFormat = false;
  std::size_t at = 12;
  while (at + 8 <= bytes.size()) {
    const std::uint32_t size = little(bytes, at + 4, 4);
    const std::size_t body = at + 8;
    if (body + size > bytes.size())
      return {std::nullopt, "chunk at " + std::to_string(at) + " runs past the end"};
    if (tagAt(bytes, at, "fmt ") && size >= 16) {
      wav.formatTag = static_cast<std::uint16_t>(little(bytes, body, 2));
      wav.channels = static_cast<std::uint16_t>(little(bytes, body + 2, 2));
      wav.sampleRate = little(bytes, body + 4, 4);
      wav.byteRate = little(bytes, body + 8, 4);
      wav.blockAlign = static_cast<std::uint16_t>(little(bytes, body + 12, 2));
      wav.bitsPerSample = static_cast<std::uint16_t>(little(bytes, body + 14, 2));
      haveFormat = true;
    } else if (tagAt(bytes, at, "data")) {
      if (!haveFormat || wav.bitsPerSample != 16 || wav.channels != 1)
        return {std::nullopt, "samples are not 16-bit mono, or come before the format"};
      if (size % 2 != 0)
        return {std::nullopt, "odd number of sample bytes"};
      wav.dataOffset = body;
      wav.samples.resize(size / 2);
      for (std::size_t i = 0; i < wav.samples.size(); ++i)
        wav.samples[i] = static_cast<std::int16_t>(little(bytes, body + 2 * i, 2));
      if (body + size != bytes.size())
        return {std::nullopt, "bytes left after the samples"};
      return {wav, ""};
    }
    at = body + size + (size % 2);
  }
  return {std::nullopt, "no data chunk"};
}

}  // namespace murvel::linux_platform::test
