#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "cloud/Outcome.h"

namespace murvel::cloud {

// Where an upload's audio waits for the recogniser: a file without a name in a directory, so
// that it is gone when closed, whatever happens to the process. Move-only.
class AudioSpool {
 public:
  static Outcome<AudioSpool> create(const std::filesystem::path& directory);

  AudioSpool(AudioSpool&& other) noexcept;
  AudioSpool& operator=(AudioSpool&& other) noexcept;
  AudioSpool(const AudioSpool&) = delete;
  AudioSpool& operator=(const AudioSpool&) = delete;
  ~AudioSpool();

  // Appends `bytes`; false with the reason in `problem` when the disk refused them.
  bool append(std::string_view bytes, std::string& problem);
  std::uint64_t size() const { return size_; }
  // Everything appended, as 16-bit little-endian samples.
  Outcome<std::vector<std::int16_t>> samples() const;

 private:
  explicit AudioSpool(int fd) : fd_(fd) {}

  int fd_ = -1;
  std::uint64_t size_ = 0;
};

}  // namespace murvel::cloud
