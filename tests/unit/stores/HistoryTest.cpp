#include <sys/stat.h>

#include <fstream>
#include <thread>

#include "common/Files.h"
#include "fakes/AppHarness.h"
#include "stores/HistoryFile.h"

namespace murvel::testing {
namespace {

HistoryEntry entry(int n) {
  return HistoryEntry{"dictation " + std::to_string(n), dateFromUnixSeconds(1'700'000'000.25 + n),
                      1.5 * n, n};
}

class HistoryTest : public ::testing::Test {
 protected:
  HistoryTest() { h.prepareSession(); }

  std::filesystem::path file() { return h.app->historyURL(); }
  std::string onDisk() { return readWholeFile(file()).value_or("<missing>"); }
  void settle() { h.fake.dispatch.runUntilIdle(); }
  // A second run of the application over the same data directory.
  std::vector<HistoryEntry> reloaded() {
    AppHarness next;
    next.fake.workspace.applicationSupport = h.fake.workspace.applicationSupport;
    next.app->loadHistory();
    return next.app->history;
  }

  AppHarness h;
};

TEST_F(HistoryTest, KeepsTheNewestTenInOrderAcrossARestart) {
  for (int n = 1; n <= 11; ++n) h.app->addHistoryEntry(entry(n));
  settle();
  ASSERT_EQ(h.app->history.size(), 10u);
  EXPECT_EQ(h.app->history.front(), entry(11));
  EXPECT_EQ(h.app->history.back(), entry(2));
  EXPECT_EQ(reloaded(), h.app->history);  // fractions of the dates included
  EXPECT_EQ(file(), h.fake.workspace.applicationSupport.value() / "Murvel" / "history.json");
}

TEST_F(HistoryTest, FileIsACompactArrayWithDatesCountedFrom2001) {
  h.app->addHistoryEntry(HistoryEntry{"hi", dateFromUnixSeconds(978307200.0 + 12.5), 2.0, 1});
  settle();
  const auto parsed = nlohmann::json::parse(onDisk());
  EXPECT_EQ(parsed,
            nlohmann::json::parse(R"([{"text":"hi","date":12.5,"duration":2.0,"wordCount":1}])"));
  EXPECT_EQ(onDisk().find('\n'), std::string::npos);

  h.app->clearHistory();
  settle();
  EXPECT_EQ(onDisk(), "[]");
  EXPECT_TRUE(reloaded().empty());
}

TEST_F(HistoryTest, OneBadElementDiscardsTheWholeFileUntilTheNextSave) {
  const std::string bad =
      R"([{"text":"a","date":1,"duration":1,"wordCount":1},{"text":"b","date":2,"duration":1}])";
  ASSERT_TRUE(writeFileAtomically(file(), bad));
  h.app->loadHistory();
  EXPECT_TRUE(h.app->history.empty());
  EXPECT_EQ(onDisk(), bad);  // left alone until a save

  h.app->addHistoryEntry(entry(1));
  settle();
  EXPECT_EQ(reloaded(), std::vector<HistoryEntry>{entry(1)});

  for (const char* corrupt :
       {"", "{}", "[1]", "[{\"text\":1,\"date\":1,\"duration\":1,\"wordCount\":1}]",
        // past the last nanosecond a Date can count
        "[{\"text\":\"a\",\"date\":78554000000,\"duration\":1,\"wordCount\":1}]"}) {
    ASSERT_TRUE(writeFileAtomically(file(), corrupt));
    EXPECT_TRUE(reloaded().empty()) << corrupt;
  }
}

TEST_F(HistoryTest, LongerFilesLoadTheNewestTen) {
  std::vector<HistoryEntry> twelve;
  for (int n = 12; n >= 1; --n) twelve.push_back(entry(n));
  ASSERT_TRUE(writeFileAtomically(file(), encodeHistory(twelve)));
  h.app->loadHistory();
  EXPECT_EQ(h.app->history, std::vector<HistoryEntry>(twelve.begin(), twelve.begin() + 10));
}

// A FIFO at the file's place would block the main thread if it were opened to be read.
TEST_F(HistoryTest, OnlyARegularFileIsRead) {
  ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0);
  h.app->loadHistory();
  EXPECT_TRUE(h.app->history.empty());
}

TEST_F(HistoryTest, OverlappingSavesEndWithTheLatestList) {
  h.app->addHistoryEntry(entry(1));
  h.app->addHistoryEntry(entry(2));
  h.app->addHistoryEntry(entry(3));
  // The background queue may run the saves in any order: here the newest finishes first.
  auto saves = h.fake.dispatch.takeGlobalWork();
  ASSERT_EQ(saves.size(), 3u);
  for (auto it = saves.rbegin(); it != saves.rend(); ++it) (*it)();
  EXPECT_EQ(reloaded().size(), 3u);
}

TEST(HistoryFileWriterTest, ConcurrentWritersLeaveTheNewestGeneration) {
  TemporaryDirectory directory;
  const auto path = directory.path() / "history.json";
  HistoryFileWriter writer;
  std::vector<std::thread> threads;
  for (int generation = 1; generation <= 16; ++generation) {
    threads.emplace_back([&, generation] {
      writer.write(static_cast<std::uint64_t>(generation), path,
                   "[" + std::to_string(generation) + "]");
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(readWholeFile(path), "[16]");
  EXPECT_EQ(std::filesystem::status(path).permissions() & std::filesystem::perms::all,
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(HistoryTest, NoDataDirectoryKeepsTheHistoryInMemoryOnly) {
  h.fake.workspace.applicationSupport.reset();
  h.app->addHistoryEntry(entry(1));
  settle();
  EXPECT_EQ(h.app->history.size(), 1u);
  EXPECT_TRUE(h.app->historyURL().empty());
}

}  // namespace
}  // namespace murvel::testing
