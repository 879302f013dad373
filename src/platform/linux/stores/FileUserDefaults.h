#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "platform/UserDefaults.h"

namespace murvel::linux_platform {

// The application's settings as one JSON object in a file that a person can read and edit.
// Values keep their JSON types. The file is read once, here; every write replaces the whole file
// at once (a new file renamed over the old one), so a reader or a crash sees either the old
// settings or the new ones, never half of each. A file that is missing or that does not hold a
// JSON object reads as empty, and is left untouched until the next write replaces it.
//
// Main thread only: nothing here is locked.
class FileUserDefaults final : public UserDefaults {
 public:
  explicit FileUserDefaults(std::filesystem::path file);

  // $XDG_CONFIG_HOME/murvel/com.murvel.mac.json, the config home falling back to ~/.config.
  static std::filesystem::path defaultPath();

  std::optional<PropertyValue> persistentObject(std::string_view key) const override;

  // The value is kept for later reads of this run even when the file cannot be written.
  void setObject(const PropertyValue& value, std::string_view key) override;

  const std::filesystem::path& path() const { return file_; }

 private:
  bool writeFile() const;

  std::filesystem::path file_;
  PropertyValue values_;
};

}  // namespace murvel::linux_platform
