#include "cloud/AudioSpool.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cloud/WavFormat.h"

namespace murvel::cloud {

namespace {

std::string systemProblem(const char* what) {
  return std::string("The service could not ") + what + ": " + std::strerror(errno) + ".";
}

}  // namespace

Outcome<AudioSpool> AudioSpool::create(const std::filesystem::path& directory) {
  int fd = ::open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (fd < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
    // File systems without anonymous files: a named one, unlinked at once.
    std::string name = (directory / "murvel-upload-XXXXXX").string();
    fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (fd >= 0)
      ::unlink(name.c_str());
  }
  if (fd < 0)
    return Outcome<AudioSpool>::failure(systemProblem("store the upload"));
  return Outcome<AudioSpool>::success(AudioSpool(fd));
}

AudioSpool::AudioSpool(AudioSpool&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), size_(std::exchange(other.size_, 0)) {}

AudioSpool& AudioSpool::operator=(AudioSpool&& other) noexcept {
  if (this != &other) {
    if (fd_ >= 0)
      ::close(fd_);
    fd_ = std::exchange(other.fd_, -1);
    size_ = std::exchange(other.size_, 0);
  }
  return *this;
}

AudioSpool::~AudioSpool() {
  if (fd_ >= 0)
    ::close(fd_);
}

bool AudioSpool::append(std::string_view bytes, std::string& problem) {
  while (!bytes.empty()) {
    const ssize_t written = ::pwrite(fd_, bytes.data(), bytes.size(), static_cast<off_t>(size_));
    if (written < 0) {
      if (errno == EINTR)
        continue;
      problem = systemProblem("store the upload");
      return false;
    }
    size_ += static_cast<std::uint64_t>(written);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

Outcome<std::vector<std::int16_t>> AudioSpool::samples() const {
  std::string bytes(static_cast<std::size_t>(size_), '\0');
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got =
        ::pread(fd_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
    if (got < 0 && errno == EINTR)
      continue;
    if (got <= 0)
      return Outcome<std::vector<std::int16_t>>::failure(systemProblem("read the upload back"));
    done += static_cast<std::size_t>(got);
  }
  return Outcome<std::vector<std::int16_t>>::success(samplesFromLittleEndian(bytes));
}

}  // namespace murvel::cloud
