#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "fakes/FakeStores.h"
#include "stores/Keychain.h"
#include "stores/KeychainCache.h"

namespace murvel::testing {
namespace {

constexpr std::string_view account = Keychain::accessKeyAccount;

// Steps: "load", "save <key>", "delete", "lock" and "unlock" (the store fails while locked), and
// "behind <key>" (the store changes without Murvel knowing).
struct CacheCase {
  const char* name;
  std::vector<std::string> steps;
  std::optional<std::string> lastLoad;
  long storeReads;
};

class KeychainCacheTest : public ::testing::TestWithParam<CacheCase> {};

TEST_P(KeychainCacheTest, OnlyWhatTheStoreCouldNotAnswerFromMemoryReachesIt) {
  FakeKeychain store;
  KeychainCache cache(store);
  std::optional<std::string> loaded;
  for (const std::string& step : GetParam().steps) {
    if (step == "load") {
      loaded = Keychain::load(cache, account);
    } else if (step.starts_with("save ")) {
      Keychain::save(cache, step.substr(5), account);
    } else if (step == "delete") {
      Keychain::deleteItem(cache, account);
    } else if (step == "lock" || step == "unlock") {
      store.failWith = step == "lock" ? std::optional(-25308) : std::nullopt;
    } else if (step.starts_with("behind ")) {
      store.storeAccessKey(step.substr(7));
    }
  }
  EXPECT_EQ(loaded, GetParam().lastLoad);
  EXPECT_EQ(std::count_if(store.calls.begin(), store.calls.end(),
                          [](const auto& call) { return call.operation == "copy"; }),
            GetParam().storeReads);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, KeychainCacheTest,
    ::testing::Values(
        CacheCase{"ReadOnceThenFromMemory", {"behind k", "load", "load", "load"}, "k", 1},
        CacheCase{"SavedKeyNeedsNoRead", {"save k", "load", "save j", "load"}, "j", 0},
        CacheCase{"SignOutForgetsIt", {"save k", "load", "delete", "load"}, std::nullopt, 1},
        CacheCase{"NothingFoundIsAskedAgain", {"load", "behind k", "load", "load"}, "k", 2},
        CacheCase{
            "LockedStoreIsAskedAgain", {"behind k", "lock", "load", "unlock", "load"}, "k", 2},
        CacheCase{"FailedSaveKeepsNothing",
                  {"behind old", "load", "lock", "save new", "unlock", "load"},
                  "old",
                  2}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace murvel::testing
