#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace murvel::linux_platform {

// A RIFF/WAVE file of 16-bit signed little-endian mono PCM, written front to back: the header
// first with empty sizes, the samples as they come, and the sizes filled in at close.
class WavWriter {
 public:
  static constexpr std::uint32_t sampleRate = 16000;
  static constexpr std::size_t headerBytes = 44;

  WavWriter() = default;
  ~WavWriter();

  WavWriter(const WavWriter&) = delete;
  WavWriter& operator=(const WavWriter&) = delete;

  // Starts a new file at `path` in place of whatever was there. The old file is unlinked rather
  // than truncated, so a reader that still has it open keeps reading the previous take whole.
  bool open(const std::filesystem::path& path);
  bool isOpen() const { return file_ != nullptr; }

  // Appends samples; `data` null appends that many bytes of silence. Buffered, so most calls
  // only copy into memory.
  void append(const void* data, std::size_t bytes);

  // Writes the final sizes and closes the file; the file is complete when it returns.
  void close();

  std::uint64_t dataBytes() const { return dataBytes_; }

 private:
  std::FILE* file_ = nullptr;
  std::unique_ptr<char[]> buffer_;
  std::uint64_t dataBytes_ = 0;
};

}  // namespace murvel::linux_platform
