#include "platform/linux/audio/WavWriter.h"

#include <algorithm>
#include <array>
#include <system_error>

namespace murvel::linux_platform {

namespace {

// About two seconds of audio: the disk is touched rarely, and each touch lands in the page cache.
constexpr std::size_t bufferBytes = 64 * 1024;

// RIFF sizes are 32-bit; past this the samples are dropped rather than the header made wrong.
constexpr std::uint64_t maximumDataBytes = 0xFFFFFFFFull - (WavWriter::headerBytes - 8) - 1;

void putLittleEndian(unsigned char* at, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) at[i] = static_cast<unsigned char>(value >> (8 * i));
}

std::array<unsigned char, WavWriter::headerBytes> header(std::uint32_t dataBytes) {
  constexpr std::uint32_t channels = 1;
  constexpr std::uint32_t bitsPerSample = 16;
  constexpr std::uint32_t blockAlign = channels * bitsPerSample / 8;
  std::array<unsigned char, WavWriter::headerBytes> h{};
  auto* p = h.data();
  std::copy_n("RIFF", 4, p);
  putLittleEndian(p + 4, 36 + dataBytes, 4);
  std::copy_n("WAVEfmt ", 8, p + 8);
  putLittleEndian(p + 16, 16, 4);  // size of the format chunk
  putLittleEndian(p + 20, 1, 2);   // integer PCM
  putLittleEndian(p + 22, channels, 2);
  putLittleEndian(p + 24, WavWriter::sampleRate, 4);
  putLittleEndian(p + 28, WavWriter::sampleRate * blockAlign, 4);
  putLittleEndian(p + 32, blockAlign, 2);
  putLittleEndian(p + 34, bitsPerSample, 2);
  std::copy_n("data", 4, p + 36);
  putLittleEndian(p + 40, dataBytes, 4);
  return h;
}

}  // namespace

WavWriter::~WavWriter() {
  close();
}

bool WavWriter::open(const std::filesystem::path& path) {
  close();
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  file_ = std::fopen(path.c_str(), "wb");
  if (file_ == nullptr)
    return false;
  buffer_ = std::make_unique<char[]>(bufferBytes);
  std::setvbuf(file_, buffer_.get(), _IOFBF, bufferBytes);
  dataBytes_ = 0;
  const auto start = header(0);
  std::fwrite(start.data(), 1, start.size(), file_);
  return true;
}

void WavWriter::append(const void* data, std::size_t bytes) {
  if (file_ == nullptr)
    return;
  bytes = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, maximumDataBytes - dataBytes_));
  bytes &= ~std::size_t{1};  // whole samples only
  if (data != nullptr) {
    dataBytes_ += std::fwrite(data, 1, bytes, file_);
    return;
  }
  static constexpr std::array<char, 512> silence{};
  while (bytes > 0) {
    const std::size_t chunk = std::min(bytes, silence.size());
    dataBytes_ += std::fwrite(silence.data(), 1, chunk, file_);
    bytes -= chunk;
  }
}

void WavWriter::close() {
  if (file_ == nullptr)
    return;
  const auto final = header(static_cast<std::uint32_t>(dataBytes_));
  // Only the two size fields change; rewriting the whole header is just as cheap.
  if (std::fflush(file_) == 0 && std::fseek(file_, 0, SEEK_SET) == 0)
    std::fwrite(final.data(), 1, final.size(), file_);
  std::fclose(file_);
  file_ = nullptr;
  buffer_.reset();
}

}  // namespace murvel::linux_platform
