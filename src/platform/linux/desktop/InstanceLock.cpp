#include "platform/linux/desktop/InstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <string>

namespace murvel::linux_platform {

InstanceLock::InstanceLock(const std::filesystem::path& file) {
  do {
    fd_ = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  } while (fd_ < 0 && errno == EINTR);
}

InstanceLock::~InstanceLock() {
  if (fd_ >= 0)
    ::close(fd_);
}

bool InstanceLock::tryLock() {
  if (fd_ < 0)
    return false;
  int result;
  do {
    result = ::flock(fd_, LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

bool InstanceLock::lock() {
  if (fd_ < 0)
    return false;
  int result;
  do {
    result = ::flock(fd_, LOCK_EX);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

bool InstanceLock::writeProcessIdentifier(std::int64_t pid) {
  if (fd_ < 0 || ::ftruncate(fd_, 0) != 0)
    return false;
  const std::string text = std::to_string(pid) + "\n";
  return ::pwrite(fd_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

std::optional<std::int64_t> InstanceLock::readProcessIdentifier() const {
  if (fd_ < 0)
    return std::nullopt;
  char buffer[32];
  const ssize_t length = ::pread(fd_, buffer, sizeof buffer, 0);
  if (length <= 0)
    return std::nullopt;
  std::int64_t pid = 0;
  const auto [end, error] = std::from_chars(buffer, buffer + length, pid);
  if (error != std::errc() || end == buffer || pid <= 0)
    return std::nullopt;
  return pid;
}

namespace {

bool isPrivateDirectory(const std::filesystem::path& directory) {
  struct stat info {};
  return ::lstat(directory.c_str(), &info) == 0 && S_ISDIR(info.st_mode) &&
         info.st_uid == ::getuid() && (info.st_mode & 077) == 0;
}

}  // namespace

std::optional<std::filesystem::path> privateRuntimeDirectory() {
  if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr) {
    const std::filesystem::path directory(runtime);
    if (directory.is_absolute() && isPrivateDirectory(directory))
      return directory;
  }
  // /tmp is shared: the directory must be ours and closed to others, or someone could have put
  // a socket there that answers in our name.
  const std::filesystem::path fallback = "/tmp/murvel-" + std::to_string(::getuid());
  if (::mkdir(fallback.c_str(), 0700) != 0 && errno != EEXIST)
    return std::nullopt;
  if (!isPrivateDirectory(fallback))
    return std::nullopt;
  return fallback;
}

}  // namespace murvel::linux_platform
