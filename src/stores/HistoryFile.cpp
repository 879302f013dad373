#include "stores/HistoryFile.h"

#include <cmath>

#include "common/Files.h"
#include "common/Json.h"

namespace murvel {

namespace {

// Beyond this a date is no moment a dictation could have: refuse it rather than overflow. A Date
// counts nanoseconds in 64 bits and so ends in the year 2262; this is about 250 years past 2001.
constexpr double latestPlausibleSeconds = 8.0e9;

bool isWholeNumber(const nlohmann::json& value) {
  if (value.is_number_integer())
    return true;
  if (!value.is_number_float())
    return false;
  const double number = value.get<double>();
  return std::isfinite(number) && std::trunc(number) == number && std::fabs(number) < 9.0e15;
}

}  // namespace

std::string encodeHistory(const std::vector<HistoryEntry>& entries) {
  nlohmann::json array = nlohmann::json::array();
  for (const auto& entry : entries) {
    array.push_back({{"text", entry.text},
                     {"date", unixSeconds(entry.date) - historyReferenceDateUnixSeconds},
                     {"duration", entry.duration},
                     {"wordCount", entry.wordCount}});
  }
  return compactJSON(array);
}

std::optional<std::vector<HistoryEntry>> decodeHistory(std::string_view bytes) {
  const auto parsed = parseJSONObjectOrArray(bytes);
  if (!parsed || !parsed->is_array())
    return std::nullopt;
  std::vector<HistoryEntry> entries;
  entries.reserve(parsed->size());
  for (const auto& element : *parsed) {
    if (!element.is_object())
      return std::nullopt;
    auto text = element.find("text");
    auto date = element.find("date");
    auto duration = element.find("duration");
    auto wordCount = element.find("wordCount");
    if (text == element.end() || !text->is_string())
      return std::nullopt;
    if (date == element.end() || !date->is_number())
      return std::nullopt;
    if (duration == element.end() || !duration->is_number())
      return std::nullopt;
    if (wordCount == element.end() || !isWholeNumber(*wordCount))
      return std::nullopt;
    const double seconds = date->get<double>();
    if (!std::isfinite(seconds) || std::fabs(seconds) > latestPlausibleSeconds)
      return std::nullopt;
    entries.push_back(HistoryEntry{
        text->get<std::string>(), dateFromUnixSeconds(seconds + historyReferenceDateUnixSeconds),
        duration->get<double>(),
        wordCount->is_number_integer() ? wordCount->get<long long>()
                                       : static_cast<long long>(wordCount->get<double>())});
  }
  return entries;
}

void HistoryFileWriter::write(std::uint64_t generation, const std::filesystem::path& url,
                              std::string_view bytes) {
  std::lock_guard lock(mutex_);
  if (generation <= written_)
    return;
  if (writeFileAtomically(url, bytes))
    written_ = generation;
}

}  // namespace murvel
