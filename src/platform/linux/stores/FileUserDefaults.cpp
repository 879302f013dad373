#include "platform/linux/stores/FileUserDefaults.h"

#include "common/Files.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace murvel::linux_platform {

namespace fs = std::filesystem;

namespace {

fs::path homeDirectory() {
  if (const char* home = std::getenv("HOME"); home && *home)
    return home;
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      found->pw_dir)
    return found->pw_dir;
  return {};
}

// Anything that is not a readable file holding a JSON object reads as no settings at all.
PropertyValue readSettings(const fs::path& file) {
  std::error_code error;
  // Only a regular file: opening a FIFO left at the path would block the main thread.
  if (!fs::is_regular_file(file, error))
    return PropertyValue::object();
  std::ifstream in(file, std::ios::binary);
  if (!in)
    return PropertyValue::object();
  std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (in.bad())
    return PropertyValue::object();
  auto parsed = PropertyValue::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!parsed.is_object())
    return PropertyValue::object();
  return parsed;
}

// Creates the missing folders of `dir`, private to the user as the XDG layout asks.
bool makeDirectories(const fs::path& dir) {
  std::error_code error;
  if (dir.empty() || fs::is_directory(dir, error))
    return true;
  const fs::path parent = dir.parent_path();
  if (parent != dir && !makeDirectories(parent))
    return false;
  if (::mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST)
    return false;
  return fs::is_directory(dir, error);
}

}  // namespace

FileUserDefaults::FileUserDefaults(fs::path file) : file_(std::move(file)) {
  try {
    values_ = readSettings(file_);
  } catch (...) {
    values_ = PropertyValue::object();
  }
}

fs::path FileUserDefaults::defaultPath() {
  fs::path configHome;
  // The XDG rules ignore a relative XDG_CONFIG_HOME.
  if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && xdg[0] == '/')
    configHome = xdg;
  else
    configHome = homeDirectory() / ".config";
  return configHome / "murvel" / "com.murvel.mac.json";
}

std::optional<PropertyValue> FileUserDefaults::persistentObject(std::string_view key) const {
  try {
    auto found = values_.find(std::string(key));
    if (found == values_.end() || found->is_null())
      return std::nullopt;
    return *found;
  } catch (...) {
    return std::nullopt;
  }
}

void FileUserDefaults::setObject(const PropertyValue& value, std::string_view key) {
  try {
    if (value.is_null())
      values_.erase(std::string(key));
    else
      values_[std::string(key)] = value;
    writeFile();
  } catch (...) {
    // A failed write goes unreported: the value still holds for the rest of this run.
  }
}

// No fsync: a write follows a person's click on the main thread, and an fsync there can stall
// the interface for a long time on a busy disk. The rename still replaces the file whole; what a
// power cut can cost is the latest choice, or at worst an empty file, which reads as the
// defaults. Both are cheap to redo, unlike a frozen window.
bool FileUserDefaults::writeFile() const {
  std::error_code error;
  fs::path target = file_;
  // A settings file that is a link (kept with the user's dotfiles) stays a link.
  if (fs::is_symlink(file_, error)) {
    fs::path resolved = fs::canonical(file_, error);
    if (!error)
      target = std::move(resolved);
  }
  const fs::path dir = target.parent_path();
  if (!makeDirectories(dir))
    return false;

  // Invalid UTF-8 in a string becomes U+FFFD instead of an exception.
  std::string text =
      values_.dump(2, ' ', /*ensure_ascii=*/false, PropertyValue::error_handler_t::replace);
  text += '\n';

  return writeFileAtomically(target, text, /*flushToDisk=*/false);
}

}  // namespace murvel::linux_platform
