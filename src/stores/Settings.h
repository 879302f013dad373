#pragma once

#include <map>
#include <string>
#include <string_view>

#include "platform/UserDefaults.h"

namespace murvel {

using AppTones = std::map<std::string, std::string>;

// Typed accessors over the user defaults. Nothing is cached: every read asks the store afresh,
// so a change takes effect at the next read.
class Settings {
 public:
  explicit Settings(UserDefaults& defaults) : defaults_(defaults) {}

  // The defaults registered at every launch, in memory only.
  void registerDefaults();

  // "off", "fast" or "smart", whatever the store holds.
  std::string cleanupMode() const;
  // Stores the mode ("smart" for anything unknown) and keeps aiCleanup in step.
  void setCleanupMode(std::string_view mode);

  // Whether the cleanup mode is anything but "off".
  bool aiCleanup() const;
  // True stores the mode "fast", false the mode "off".
  void setAiCleanup(bool enabled);

  // Always one of the supported hotkey tokens; "fn" when the store names none.
  std::string hotkey() const;
  void setHotkey(std::string_view token);

  // The stored tone as it stands, or "auto".
  std::string defaultTone() const;
  void setDefaultTone(std::string_view tone);

  // Tones by bundle identifier; empty unless every stored value is a string.
  AppTones appTones() const;
  void setAppTones(const AppTones& tones);

  std::string signedInEmail() const;
  void setSignedInEmail(std::string_view email);

  std::string lastLaunchHintVersion() const;
  void setLastLaunchHintVersion(std::string_view version);

  std::string lastPermissionsPromptVersion() const;
  void setLastPermissionsPromptVersion(std::string_view version);

 private:
  std::string stringOrEmpty(std::string_view key) const;
  void setString(std::string_view value, std::string_view key);

  UserDefaults& defaults_;
};

namespace SettingsKey {
inline constexpr std::string_view cleanupMode = "cleanupMode";
inline constexpr std::string_view aiCleanup = "aiCleanup";
inline constexpr std::string_view hotkey = "hotkey";
inline constexpr std::string_view defaultTone = "defaultTone";
inline constexpr std::string_view appTones = "appTones";
inline constexpr std::string_view signedInEmail = "signedInEmail";
inline constexpr std::string_view lastLaunchHintVersion = "lastLaunchHintVersion";
inline constexpr std::string_view lastPermissionsPromptVersion = "lastPermissionsPromptVersion";
}  // namespace SettingsKey

}  // namespace murvel
