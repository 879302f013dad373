#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/HotkeyCommands.h"

class QLocalServer;
class QLocalSocket;

namespace murvel::linux_platform {

class InstanceLock;

// Keeps one Murvel running per user. The first process holds a lock in the user's private
// runtime directory and listens on a local socket beside it; a later process finds the lock,
// hands the murvel: URLs of its command line to the first over the socket, and learns the first
// one's process id. All of this is settled in the constructor, so by the time the launch asks
// who is running, the hand-over is done. Where no private directory exists, no process counts
// as the first: none starts, rather than two.
//
// Construct on the main thread, after the QCoreApplication.
class SingleInstance {
 public:
  SingleInstance(int argc, const char* const* argv);
  ~SingleInstance();
  SingleInstance(const SingleInstance&) = delete;
  SingleInstance& operator=(const SingleInstance&) = delete;

  // Whether this process is the one that keeps running.
  bool isPrimary() const { return primary_; }
  // The running instance's process id, for a process that is not it.
  std::optional<std::int64_t> primaryProcessIdentifier() const { return primaryPid_; }
  // The murvel: URLs of the primary's own command line (none for a later process: those went to
  // the running instance).
  const std::vector<std::string>& launchUrls() const { return launchUrls_; }

  // The primary delivers each URL received from later processes to `receiver`, on the main
  // thread. URLs that came while no receiver was set are delivered when one is set.
  void setUrlReceiver(std::function<void(const std::string&)> receiver);

  // The primary hands each hotkey command from a later process (`murvel --hotkey press`, as a
  // desktop's key binding runs it) to `receiver`, on the main thread. Commands that came while
  // no receiver was set are dropped: a key heard late would start a dictation nobody holds.
  void setHotkeyReceiver(std::function<void(HotkeyCommand)> receiver);

  // Gives the running instance a hotkey command, in the process of a key binding; false when
  // no instance answered.
  static bool handOverHotkeyCommand(std::string_view name);

  // Where the primary listens, for the tests.
  std::string serverName() const { return serverName_; }

 private:
  // Without a private place for the lock this process cannot tell whether it is the only one,
  // and counts as a later one.
  void refuse(const std::string& reason);
  void becomePrimary();
  bool handOver(const std::vector<std::string>& urls);
  void acceptConnections();
  void readMessage(QLocalSocket& connection);
  void deliver(std::string url);

  bool primary_ = true;
  std::optional<std::int64_t> primaryPid_;
  std::vector<std::string> launchUrls_;
  std::string serverName_;
  std::unique_ptr<InstanceLock> lock_;
  std::unique_ptr<QLocalServer> server_;
  std::function<void(const std::string&)> receiver_;
  std::function<void(HotkeyCommand)> hotkeyReceiver_;
  std::vector<std::string> undelivered_;
};

}  // namespace murvel::linux_platform
