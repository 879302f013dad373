#pragma once

#include <map>
#include <optional>
#include <string>

namespace murvel::linux_platform::x11 {

// An installed application as its desktop entry names it.
struct DesktopApp {
  std::string id;  // the desktop file's id without ".desktop"
  std::string name;
};

// Looks installed applications up in the desktop entries of the XDG data directories.
// Main thread only: the list of entries is kept and dropped when applications change.
class DesktopApps {
 public:
  DesktopApps();
  ~DesktopApps();
  DesktopApps(const DesktopApps&) = delete;
  DesktopApps& operator=(const DesktopApps&) = delete;

  // By desktop file id ("org.example.App" or "org.example.App.desktop") or absolute path.
  std::optional<DesktopApp> byId(const std::string& id) const;

  // The entry whose StartupWMClass is `wmClass`.
  std::optional<DesktopApp> byStartupWMClass(const std::string& wmClass);

 private:
  static void onChanged(void* monitor, void* self);

  void* monitor_ = nullptr;  // GAppInfoMonitor
  unsigned long handler_ = 0;
  std::optional<std::map<std::string, DesktopApp>> byWMClass_;
};

}  // namespace murvel::linux_platform::x11
