#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stores/HistoryEntry.h"

namespace murvel {

// Seconds from 1970-01-01 to 2001-01-01, the start of the count that the file's dates use.
inline constexpr double historyReferenceDateUnixSeconds = 978307200.0;

// The history as the file holds it: a compact JSON array, newest first, each entry with text,
// date (seconds since 2001-01-01 UTC, with the fraction), duration and wordCount.
std::string encodeHistory(const std::vector<HistoryEntry>& entries);

// All entries, or nothing if a single one lacks a member or has one of the wrong type.
std::optional<std::vector<HistoryEntry>> decodeHistory(std::string_view bytes);

// Writes history snapshots from any thread. Saves may overlap; each snapshot carries the number
// it was taken under, and a snapshot older than the one already on disk is dropped, so the file
// always ends with the latest list.
class HistoryFileWriter {
 public:
  void write(std::uint64_t generation, const std::filesystem::path& url, std::string_view bytes);

 private:
  std::mutex mutex_;
  std::uint64_t written_ = 0;
};

}  // namespace murvel
