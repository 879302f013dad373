#include "common/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <fstream>
#include <sstream>

namespace murvel {

std::optional<std::string> readWholeFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in)
    return std::nullopt;
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad())
    return std::nullopt;
  return std::move(content).str();
}

std::optional<std::string> readRegularFile(const std::filesystem::path& path) {
  // Opened without waiting, then judged by what was opened, so nothing put at the path in
  // between can block.
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0)
    return std::nullopt;
  struct stat status {};
  std::optional<std::string> content;
  if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
    content.emplace();
    char piece[16 * 1024];
    for (;;) {
      const ssize_t got = ::read(fd, piece, sizeof piece);
      if (got < 0 && errno == EINTR)
        continue;
      if (got < 0)
        content.reset();
      if (got <= 0)
        break;
      content->append(piece, static_cast<std::size_t>(got));
    }
  }
  ::close(fd);
  return content;
}

namespace {

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR)
        continue;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

bool createPrivateDirectories(const std::filesystem::path& directory) {
  std::error_code error;
  if (directory.empty() || std::filesystem::is_directory(directory, error))
    return true;
  const std::filesystem::path parent = directory.parent_path();
  if (parent != directory && !createPrivateDirectories(parent))
    return false;
  if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
    return false;
  return std::filesystem::is_directory(directory, error);
}

bool writeFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                         bool flushToDisk) {
  static std::atomic<unsigned> counter{0};
  std::filesystem::path temporary = path;
  temporary += ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);

  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0)
    return false;
  const bool ok = writeAll(fd, bytes) && (!flushToDisk || ::fsync(fd) == 0);
  const bool closed = ::close(fd) == 0;
  if (!ok || !closed || ::rename(temporary.c_str(), path.c_str()) != 0) {
    ::unlink(temporary.c_str());
    return false;
  }
  return true;
}

}  // namespace murvel
