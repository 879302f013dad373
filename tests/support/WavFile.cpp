#include "WavFile.h"

namespace murvel::test {

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

std::string wavFile(const WavShape& shape) {
  std::string format;
  put(format, shape.extensible ? 0xFFFE : shape.format, 2);
  put(format, shape.channels, 2);
  put(format, shape.rate, 4);
  const std::uint16_t align =
      shape.blockAlign.value_or(static_cast<std::uint16_t>(shape.channels * shape.bits / 8));
  put(format, shape.rate * align, 4);
  put(format, align, 2);
  put(format, shape.bits, 2);
  if (shape.extensible) {
    put(format, 22, 2);
    put(format, shape.bits, 2);
    put(format, 4, 4);  // channel mask
    put(format, shape.format, 2);
    format += std::string("\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71", 14);
  }
  std::string fmtChunk = "fmt ";
  put(fmtChunk, shape.extensible ? 40 : shape.formatChunkSize, 4);
  fmtChunk += format.substr(0, shape.extensible ? 40 : shape.formatChunkSize);

  std::string dataChunk;
  chunk(dataChunk, "data", shape.audio, shape.declaredDataBytes);

  std::string body = shape.wave;
  for (const auto& [id, content] : shape.chunksBeforeFormat) chunk(body, id, content);
  body += shape.dataBeforeFormat ? dataChunk + fmtChunk : fmtChunk + dataChunk;
  for (const auto& [id, content] : shape.chunksAfterData) chunk(body, id, content);
  std::string file = shape.riff;
  put(file, static_cast<std::uint32_t>(body.size()), 4);
  return file + body;
}

std::string pcmBytes(const std::vector<std::int16_t>& samples) {
  std::string bytes;
  for (const std::int16_t sample : samples) put(bytes, static_cast<std::uint16_t>(sample), 2);
  return bytes;
}

}  // namespace murvel::test
