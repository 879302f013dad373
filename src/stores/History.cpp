#include "common/Files.h"
#include "shell/AppDelegate.h"
#include "stores/HistoryFile.h"

namespace murvel {

namespace {
constexpr std::size_t historyLimit = 10;
}  // namespace

std::filesystem::path AppDelegate::historyURL() {
  // Without a data directory there is no file: the history then lives for this run only.
  const auto support = platform_.workspace.applicationSupportDirectory();
  if (!support || support->empty())
    return {};
  const std::filesystem::path directory = *support / "Murvel";
  std::error_code error;
  if (std::filesystem::create_directories(directory, error)) {
    // Dictations are private: only their owner may look into the folder.
    std::filesystem::permissions(directory, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::replace, error);
  }
  return directory / "history.json";
}

void AppDelegate::loadHistory() {
  const std::filesystem::path url = historyURL();
  if (url.empty())
    return;
  const auto bytes = readRegularFile(url);
  if (!bytes)
    return;
  auto entries = decodeHistory(*bytes);
  if (!entries)
    return;
  // A file written by hand may hold any number; the list never shows more than it keeps.
  if (entries->size() > historyLimit)
    entries->resize(historyLimit);
  history = std::move(*entries);
}

void AppDelegate::saveHistory() {
  const std::filesystem::path url = historyURL();
  if (url.empty())
    return;
  if (!historyWriter_)
    historyWriter_ = std::make_shared<HistoryFileWriter>();
  platform_.dispatch.global(
      QualityOfService::utility,
      [writer = historyWriter_, generation = ++historyGeneration_, url, snapshot = history] {
        writer->write(generation, url, encodeHistory(snapshot));
      });
}

void AppDelegate::addHistoryEntry(HistoryEntry entry) {
  history.insert(history.begin(), std::move(entry));
  if (history.size() > historyLimit)
    history.resize(historyLimit);
  saveHistory();
}

void AppDelegate::clearHistory() {
  history.clear();
  saveHistory();
}

}  // namespace murvel
