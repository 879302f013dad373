#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace murvel {

// The whole content of the file, or nothing when it cannot be read.
std::optional<std::string> readWholeFile(const std::filesystem::path& path);

// The whole content of the file when it is a regular file; nothing for anything else (a FIFO
// left at the path would block the reader) or when it cannot be read.
std::optional<std::string> readRegularFile(const std::filesystem::path& path);

// Makes the directory and whichever of its parents are missing, each private to the user (0700)
// as it is made. True when the directory exists in the end.
bool createPrivateDirectories(const std::filesystem::path& directory);

// Replaces the file in one step: the bytes go to a temporary file beside it, which is renamed
// over the target, so a reader sees the old content or the new, never half. With
// `flushToDisk` the bytes reach the disk before the rename, so a power cut cannot leave an
// empty file either. The file is readable by its owner alone. False on any failure; the old
// content then stays.
bool writeFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                         bool flushToDisk = true);

}  // namespace murvel
