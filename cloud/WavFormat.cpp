#include "cloud/WavFormat.h"

#include <array>

namespace murvel::cloud {

namespace {

using Status = WavHeaderCheck::Status;

std::uint16_t littleEndian16(std::string_view bytes, std::size_t at) {
  return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[at]) |
                                    static_cast<unsigned char>(bytes[at + 1]) << 8);
}

std::uint32_t littleEndian32(std::string_view bytes, std::size_t at) {
  return static_cast<std::uint32_t>(littleEndian16(bytes, at)) |
         static_cast<std::uint32_t>(littleEndian16(bytes, at + 2)) << 16;
}

WavHeaderCheck refused(std::string problem) {
  return WavHeaderCheck{Status::refused, {}, std::move(problem)};
}

WavHeaderCheck needMore() {
  return WavHeaderCheck{};
}

std::string formatName(std::uint16_t tag) {
  switch (tag) {
    case 2:
      return "ADPCM";
    case 3:
      return "floating-point";
    case 6:
      return "A-law";
    case 7:
      return "mu-law";
    case 0x55:
      return "MP3";
    default:
      return "format " + std::to_string(tag);
  }
}

// The tail that every WAVE_FORMAT_EXTENSIBLE sub-format GUID shares after its format code.
constexpr std::array<unsigned char, 14> extensibleGuidTail{
    0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

// Checks one format chunk whose body starts at `body`; nothing when it is what recognition takes.
std::optional<WavHeaderCheck> checkFormat(std::string_view bytes, std::size_t body,
                                          std::uint32_t size) {
  if (size < 16)
    return refused("The WAV file's format chunk is too short.");
  std::uint16_t tag = littleEndian16(bytes, body);
  if (tag == 0xFFFE) {
    if (size < 40)
      return refused("The WAV file's extended format chunk is too short.");
    if (bytes.size() < body + 40)
      return needMore();
    for (std::size_t i = 0; i < extensibleGuidTail.size(); ++i) {
      if (static_cast<unsigned char>(bytes[body + 26 + i]) != extensibleGuidTail[i])
        return refused("The WAV file holds audio of an unknown kind; send 16-bit linear PCM.");
    }
    tag = littleEndian16(bytes, body + 24);
  }
  const std::uint16_t channels = littleEndian16(bytes, body + 2);
  const std::uint32_t rate = littleEndian32(bytes, body + 4);
  const std::uint16_t blockAlign = littleEndian16(bytes, body + 12);
  const std::uint16_t bits = littleEndian16(bytes, body + 14);
  if (tag != 1)
    return refused("The WAV file holds " + formatName(tag) + " audio; send 16-bit linear PCM.");
  if (channels != 1) {
    return refused("The WAV file has " + std::to_string(channels) +
                   " channels; send mono audio (one channel).");
  }
  if (rate != recognitionSampleRate) {
    return refused("The WAV file is sampled at " + std::to_string(rate) +
                   " Hz; send audio sampled at 16000 Hz.");
  }
  if (bits != 16) {
    return refused("The WAV file has " + std::to_string(bits) +
                   "-bit samples; send 16-bit samples.");
  }
  if (blockAlign != 2) {
    return refused(
        "The WAV file's format chunk contradicts itself: mono 16-bit audio has "
        "2 bytes a frame, not " +
        std::to_string(blockAlign) + ".");
  }
  return std::nullopt;
}

}  // namespace

WavHeaderCheck checkWavHeader(std::string_view bytes) {
  static constexpr std::string_view riff = "RIFF";
  if (bytes.size() < 12) {
    // Refuse as soon as the first bytes show that this cannot become a WAV file.
    const std::size_t known = std::min(bytes.size(), riff.size());
    if (bytes.substr(0, known) != riff.substr(0, known) &&
        bytes.substr(0, known) != std::string_view("RIFX").substr(0, known) &&
        bytes.substr(0, known) != std::string_view("RF64").substr(0, known)) {
      return refused("The upload is not a WAV file: it does not begin with RIFF.");
    }
    return needMore();
  }
  const std::string_view magic = bytes.substr(0, 4);
  if (magic == "RIFX")
    return refused("The WAV file is big-endian (RIFX); send it little-endian.");
  if (magic == "RF64")
    return refused("The WAV file is in the RF64 format; send a plain RIFF WAV file.");
  if (magic != riff)
    return refused("The upload is not a WAV file: it does not begin with RIFF.");
  if (bytes.substr(8, 4) != "WAVE")
    return refused("The upload is a RIFF file but not WAVE audio.");

  bool haveFormat = false;
  std::uint64_t at = 12;
  for (;;) {
    if (bytes.size() < at + 8)
      return needMore();
    const std::size_t chunk = static_cast<std::size_t>(at);
    const std::string_view id = bytes.substr(chunk, 4);
    const std::uint32_t size = littleEndian32(bytes, chunk + 4);
    const std::size_t body = chunk + 8;
    if (id == "fmt ") {
      if (size >= 16 && bytes.size() < body + 16)
        return needMore();
      if (auto problem = checkFormat(bytes, body, size))
        return *problem;
      haveFormat = true;
    } else if (id == "data") {
      if (!haveFormat)
        return refused("The WAV file has its audio before its format chunk.");
      WavLayout layout{body, size};
      if (size == 0 || size == 0xFFFFFFFFu)
        layout.declaredDataBytes.reset();
      return WavHeaderCheck{Status::complete, layout, {}};
    }
    // Chunks are padded to an even length.
    at = body + std::uint64_t{size} + (size & 1u);
  }
}

std::string incompleteHeaderProblem(std::size_t bytesReceived) {
  if (bytesReceived == 0)
    return "The upload is empty: send the recording as a WAV file.";
  return "The upload ends inside the WAV header.";
}

Outcome<std::vector<std::int16_t>> readWavSamples(std::string_view file) {
  const WavHeaderCheck check = checkWavHeader(file);
  if (check.status == Status::refused)
    return Outcome<std::vector<std::int16_t>>::failure(check.problem);
  if (check.status == Status::needMoreBytes)
    return Outcome<std::vector<std::int16_t>>::failure(incompleteHeaderProblem(file.size()));
  std::string_view audio = file.substr(check.layout.dataOffset);
  if (check.layout.declaredDataBytes && *check.layout.declaredDataBytes < audio.size())
    audio = audio.substr(0, *check.layout.declaredDataBytes);
  std::vector<std::int16_t> samples = samplesFromLittleEndian(audio);
  if (samples.empty())
    return Outcome<std::vector<std::int16_t>>::failure("The WAV file holds no audio.");
  return Outcome<std::vector<std::int16_t>>::success(std::move(samples));
}

std::vector<std::int16_t> samplesFromLittleEndian(std::string_view bytes) {
  std::vector<std::int16_t> samples(bytes.size() / 2);
  for (std::size_t i = 0; i < samples.size(); ++i)
    samples[i] = static_cast<std::int16_t>(littleEndian16(bytes, 2 * i));
  return samples;
}

}  // namespace murvel::cloud
