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

// Where the file stands on disk: any edit or replacement changes at least one of these.
std::optional<FileUserDefaults::Stamp> stampOf(const fs::path& file) {
  struct stat status {};
  if (::stat(file.c_str(), &status) != 0)
    return std::nullopt;
  return FileUserDefaults::Stamp{
      status.st_dev,          status.st_ino,         status.st_size,        status.st_mtim.tv_sec,
      status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

struct Contents {
  PropertyValue values = PropertyValue::object();
  // The file holds bytes that are not a JSON object: an edit gone wrong, not to be overwritten.
  bool unreadable = false;
};

// Anything that is not a readable file holding a JSON object reads as no settings at all.
Contents readSettings(const fs::path& file) {
  std::error_code error;
  // Only a regular file: opening a FIFO left at the path would block the main thread.
  if (!fs::is_regular_file(file, error))
    return {};
  std::ifstream in(file, std::ios::binary);
  if (!in)
    return {};
  std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (in.bad())
    return {};
  auto parsed = PropertyValue::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!parsed.is_object())
    return {PropertyValue::object(), !text.empty()};
  return {std::move(parsed), false};
}

}  // namespace

FileUserDefaults::FileUserDefaults(fs::path file) : file_(std::move(file)) {
  refresh();
}

void FileUserDefaults::refresh() const {
  try {
    std::optional<Stamp> stamp = stampOf(file_);
    if (read_ && stamp == stamp_)
      return;
    // Stamped before reading: an edit that lands meanwhile is read at the next look.
    Contents contents = readSettings(file_);
    values_ = std::move(contents.values);
    unreadable_ = contents.unreadable;
    stamp_ = stamp;
    read_ = true;
  } catch (...) {
    values_ = PropertyValue::object();
    read_ = false;
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
  refresh();
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
  // A write starts from the file as it is now, so an edit made meanwhile by hand is kept.
  refresh();
  try {
    if (value.is_null())
      values_.erase(std::string(key));
    else
      values_[std::string(key)] = value;
    // Once written, the next read takes the file as it then is. A failed write leaves the stamp
    // alone: the value holds for this run until the file itself changes.
    if (writeFile())
      read_ = false;
  } catch (...) {
    // A failed write goes unreported: the value still holds for the rest of this run.
  }
}

// No fsync: a write follows a person's click on the main thread, and an fsync there can stall
// the interface for a long time on a busy disk. The rename still replaces the file whole; what a
// power cut can cost is the latest choice, or at worst an empty file, which reads as the
// defaults. Both are cheap to redo, unlike a frozen window.
bool FileUserDefaults::writeFile() {
  std::error_code error;
  fs::path target = file_;
  // A settings file that is a link (kept with the user's dotfiles) stays a link.
  if (fs::is_symlink(file_, error)) {
    fs::path resolved = fs::canonical(file_, error);
    if (!error)
      target = std::move(resolved);
  }
  const fs::path dir = target.parent_path();
  // Private to the user, as the XDG layout asks.
  if (!createPrivateDirectories(dir))
    return false;
  if (unreadable_) {
    // What a person wrote there is kept beside the file, not overwritten.
    fs::path kept = target;
    kept += ".invalid";
    if (::rename(target.c_str(), kept.c_str()) != 0)
      return false;
    std::fprintf(stderr,
                 "murvel: %s did not hold a JSON object; it was kept as %s and the settings "
                 "start afresh\n",
                 target.c_str(), kept.c_str());
    unreadable_ = false;
  }

  // Invalid UTF-8 in a string becomes U+FFFD instead of an exception.
  std::string text =
      values_.dump(2, ' ', /*ensure_ascii=*/false, PropertyValue::error_handler_t::replace);
  text += '\n';

  return writeFileAtomically(target, text, /*flushToDisk=*/false);
}

}  // namespace murvel::linux_platform
