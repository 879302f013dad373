#pragma once

#include <sys/types.h>

#include <ctime>
#include <filesystem>
#include <optional>
#include <string_view>

#include "platform/UserDefaults.h"

namespace murvel::linux_platform {

// The application's settings as one JSON object in a file that a person can read and edit, also
// while Murvel runs. Values keep their JSON types. Every read looks at the file's stamp (one
// stat) and reads it again when it changed on disk; every write starts from the file as it is
// then and replaces the whole file at once (a new file renamed over the old one), so a reader or
// a crash sees either the old settings or the new ones, never half of each. A file that is
// missing or that does not hold a JSON object reads as empty; at the next write, content that is
// not a JSON object is kept beside it, as "<name>.invalid", and said so on standard error.
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

  // Where the file stood on disk when it was read.
  struct Stamp {
    dev_t device;
    ino_t inode;
    off_t size;
    time_t modifiedSeconds;
    long modifiedNanoseconds;
    time_t changedSeconds;
    long changedNanoseconds;
    friend bool operator==(const Stamp&, const Stamp&) = default;
  };

 private:
  // Reads the file again unless its stamp is the one of the last read.
  void refresh() const;
  bool writeFile();

  std::filesystem::path file_;
  // What the file held at the last read, with the changes of this run that it could not take.
  mutable PropertyValue values_ = PropertyValue::object();
  mutable std::optional<Stamp> stamp_;  // nothing: the file did not exist
  mutable bool read_ = false;
  mutable bool unreadable_ = false;
};

}  // namespace murvel::linux_platform
