#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace murvel::linux_platform {

// An advisory lock on a file (flock). The kernel drops it when the holder exits, however it
// exits, so a crashed holder never blocks the next start. The descriptor is close-on-exec: a
// program started from here (a browser, a settings panel) must not go on holding it.
class InstanceLock {
 public:
  // Opens (or creates, private to the user) the file; nothing is locked yet.
  explicit InstanceLock(const std::filesystem::path& file);
  ~InstanceLock();
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

  bool isOpen() const { return fd_ >= 0; }
  // Takes the lock if nobody holds it.
  bool tryLock();
  // Waits for the lock. Only for locks that others hold for a few system calls at a time.
  bool lock();

  // The holder's process id, kept as the file's text.
  bool writeProcessIdentifier(std::int64_t pid);
  std::optional<std::int64_t> readProcessIdentifier() const;

 private:
  int fd_ = -1;
};

// A directory for the lock and the socket that only this user can enter: $XDG_RUNTIME_DIR, else
// "murvel" in the user's state directory ($XDG_STATE_HOME, else ~/.local/state), made if needed.
// Either must be a directory itself (not a link), owned by the user and closed to everyone else.
// Nothing when no such directory can be had.
std::optional<std::filesystem::path> privateRuntimeDirectory();

}  // namespace murvel::linux_platform
