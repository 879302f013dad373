#include "WavBuilder.h"

namespace murvel::cloud::test {

namespace {

void put(std::string& out, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out += static_cast<char>((value >> (8 * i)) & 0xFF);
}

void chunk(std::string& out, const std::string& id, const std::string& body,
           std::optional<std::uint32_t> declared = std::nullopt) {
  out += id;
  put(out, declared.value_or(static_cast<std::uint32_t>(body.size())), 4);
  out += body;
  if (body.size() % 2 == 1)
    out += '\0';
}

}  // namespace

std::string wavFile(const WavSpec& spec) {
  std::string format;
  put(format, spec.extensible ? 0xFFFE : spec.format, 2);
  put(format, spec.channels, 2);
  put(format, spec.rate, 4);
  const std::uint16_t align =
      spec.blockAlign.value_or(static_cast<std::uint16_t>(spec.channels * spec.bits / 8));
  put(format, spec.rate * align, 4);
  put(format, align, 2);
  put(format, spec.bits, 2);
  if (spec.extensible) {
    put(format, 22, 2);
    put(format, spec.bits, 2);
    put(format, 4, 4);  // channel mask
    put(format, spec.format, 2);
    format += std::string("\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71", 14);
  }
  std::string fmtChunk = "fmt ";
  put(fmtChunk, spec.extensible ? 40 : spec.formatChunkSize, 4);
  fmtChunk += format.substr(0, spec.extensible ? 40 : spec.formatChunkSize);

  std::string dataChunk;
  chunk(dataChunk, "data", spec.audio, spec.declaredDataBytes);

  std::string body = spec.wave;
  for (const auto& [id, content] : spec.chunksBeforeFormat) chunk(body, id, content);
  body += spec.dataBeforeFormat ? dataChunk + fmtChunk : fmtChunk + dataChunk;
  for (const auto& [id, content] : spec.chunksAfterData) chunk(body, id, content);
  std::string file = spec.riff;
  put(file, static_cast<std::uint32_t>(body.size()), 4);
  return file + body;
}

std::string pcmBytes(const std::vector<std::int16_t>& samples) {
  std::string bytes;
  for (const std::int16_t sample : samples) put(bytes, static_cast<std::uint16_t>(sample), 2);
  return bytes;
}

}  // namespace murvel::cloud::test
