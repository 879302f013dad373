#include "platform/linux/desktop/InstanceLock.h"

#include "common/Files.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <string>
#include <vector>

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

// Checked on the entry itself, never through a link: a link could point anywhere.
bool isPrivateDirectory(const std::filesystem::path& directory) {
  struct stat info {};
  return ::lstat(directory.c_str(), &info) == 0 && S_ISDIR(info.st_mode) &&
         info.st_uid == ::getuid() && (info.st_mode & 077) == 0;
}

std::optional<std::filesystem::path> absoluteFromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value != '/')
    return std::nullopt;  // unset, empty or relative: the XDG rules ignore it
  return std::filesystem::path(value);
}

// $XDG_STATE_HOME, else ~/.local/state: the user's own, unlike /tmp.
std::optional<std::filesystem::path> stateHome() {
  if (auto state = absoluteFromEnvironment("XDG_STATE_HOME"))
    return state;
  if (auto home = absoluteFromEnvironment("HOME"))
    return *home / ".local" / "state";
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      found->pw_dir != nullptr && found->pw_dir[0] == '/')
    return std::filesystem::path(found->pw_dir) / ".local" / "state";
  return std::nullopt;
}

}  // namespace

std::optional<std::filesystem::path> privateRuntimeDirectory() {
  if (auto runtime = absoluteFromEnvironment("XDG_RUNTIME_DIR");
      runtime && isPrivateDirectory(*runtime))
    return runtime;
  // Never a shared place such as /tmp, where another user could make the directory first.
  const auto state = stateHome();
  if (!state)
    return std::nullopt;
  const std::filesystem::path directory = *state / "murvel";
  if (!createPrivateDirectories(directory) || !isPrivateDirectory(directory))
    return std::nullopt;
  return directory;
}

}  // namespace murvel::linux_platform
