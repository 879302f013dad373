#pragma once

#include <functional>

#include "platform/Workspace.h"

namespace murvel::linux_platform {

class SingleInstance;

// What the window system knows of the application in front; supplied by the X11 layer.
struct WindowHooks {
  std::function<std::optional<RunningApplication>()> frontmostApplication;
  std::function<void(const RunningApplication&)> activate;
};

class LinuxWorkspace final : public Workspace {
 public:
  // `instance` must outlive this object.
  explicit LinuxWorkspace(const SingleInstance& instance, WindowHooks hooks = {});

  std::optional<RunningApplication> frontmostApplication() override;
  // Only Murvel itself: this process, and the running instance when this process is a later
  // one. Nothing here needs the other applications, and Linux has no list of them to give.
  std::vector<RunningApplication> runningApplications() override;
  void activate(const RunningApplication& application) override;
  // Web pages go to the desktop's browser. The two privacy-settings links open the nearest
  // settings panel that is installed. Every other URL is refused.
  bool openURL(const std::string& url) override;
  std::filesystem::path temporaryDirectory() override;
  std::optional<std::filesystem::path> applicationSupportDirectory() override;

 private:
  const SingleInstance& instance_;
  WindowHooks hooks_;
};

}  // namespace murvel::linux_platform
