#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace murvel {

// An application that runs on this desktop.
struct RunningApplication {
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> localizedName;
  std::int64_t processIdentifier = 0;
  // The platform's own handle for bringing the application forward (a window, for instance).
  std::uint64_t platformHandle = 0;

  friend bool operator==(const RunningApplication&, const RunningApplication&) = default;
};

class Workspace {
 public:
  virtual ~Workspace() = default;

  // The application now in front, or nothing.
  virtual std::optional<RunningApplication> frontmostApplication() = 0;

  // Every running application that the platform can name.
  virtual std::vector<RunningApplication> runningApplications() = 0;

  // Brings `application` forward. The outcome is not reported.
  virtual void activate(const RunningApplication& application) = 0;

  // Opens `url` with the desktop's handler for it (the default browser for web pages).
  virtual bool openURL(const std::string& url) = 0;

  // The directory for temporary files.
  virtual std::filesystem::path temporaryDirectory() = 0;

  // The user's directory for application data, or nothing.
  virtual std::optional<std::filesystem::path> applicationSupportDirectory() = 0;
};

}  // namespace murvel
