#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <sstream>
#include <thread>

#include "TemporaryDirectory.h"
#include "cloud/Secrets.h"
#include "cloud/Store.h"

namespace murvel::cloud {
namespace {

constexpr std::int64_t issuedAt = 1'700'000'000;

class StoreTest : public ::testing::Test {
 protected:
  std::unique_ptr<Store> open() {
    auto store = Store::open(directory.path() / "accounts.db");
    EXPECT_TRUE(store.ok()) << store.problem();
    return store.ok() ? std::move(store.value()) : nullptr;
  }
  std::string token(Store& store, const std::string& email = "ann@example.com") {
    auto issued = store.issueLoginToken(email, issuedAt);
    EXPECT_TRUE(issued.ok());
    return issued.ok() ? issued.value().token : std::string();
  }

  murvel::test::TemporaryDirectory directory;
};

// A token works once, within ten minutes of its making; once used it stays used, also after
// those ten minutes.
TEST_F(StoreTest, ATokenWorksOnceWithinTenMinutes) {
  auto store = open();
  const std::string late = token(*store);
  EXPECT_EQ(store->exchangeLoginToken(late, issuedAt + 600).value().refusal, TokenRefusal::expired);
  const std::string issued = token(*store);
  const auto exchange = store->exchangeLoginToken(issued, issuedAt + 599);
  ASSERT_TRUE(exchange.ok() && exchange.value().issued);
  EXPECT_EQ(exchange.value().issued->email, "ann@example.com");
  EXPECT_EQ(store->emailForAccessKey(exchange.value().issued->accessKey).value(),
            "ann@example.com");
  EXPECT_EQ(store->exchangeLoginToken(issued, issuedAt + 900).value().refusal, TokenRefusal::used);
}

TEST_F(StoreTest, TokensAndKeysNeverIssuedAreUnknown) {
  auto store = open();
  token(*store);
  const std::string stranger = *newSecret();
  EXPECT_EQ(store->exchangeLoginToken(stranger, issuedAt).value().refusal, TokenRefusal::unknown);
  EXPECT_EQ(store->exchangeLoginToken("'; DROP TABLE accounts; --", issuedAt).value().refusal,
            TokenRefusal::unknown);
  EXPECT_EQ(store->emailForAccessKey(stranger).value(), std::nullopt);
  EXPECT_EQ(store->emailForAccessKey("").value(), std::nullopt);
}

TEST_F(StoreTest, AnAddressHasOneAccountAndManyKeys) {
  auto store = open();
  EXPECT_TRUE(store->issueLoginToken("ann@example.com", issuedAt).value().newAccount);
  EXPECT_FALSE(store->issueLoginToken("ann@example.com", issuedAt).value().newAccount);
  const auto first = store->issueAccessKey("ann@example.com", issuedAt).value().accessKey;
  const auto second = store->issueAccessKey("ann@example.com", issuedAt).value().accessKey;
  EXPECT_NE(first, second);
  EXPECT_TRUE(looksLikeSecret(first));
  EXPECT_EQ(store->emailForAccessKey(first).value(), "ann@example.com");
  EXPECT_EQ(store->emailForAccessKey(second).value(), "ann@example.com");
}

TEST_F(StoreTest, KeysOutliveTheProcessAndOnlyTheirDigestsAreWritten) {
  std::string key;
  std::string pending;
  {
    auto store = open();
    key = store->issueAccessKey("ann@example.com", issuedAt).value().accessKey;
    pending = token(*store);
  }
  auto reopened = open();
  EXPECT_EQ(reopened->emailForAccessKey(key).value(), "ann@example.com");
  EXPECT_TRUE(reopened->exchangeLoginToken(pending, issuedAt + 5).value().issued);

  std::string written;
  for (const auto& entry : std::filesystem::directory_iterator(directory.path())) {
    std::ifstream file(entry.path(), std::ios::binary);
    written += std::string(std::istreambuf_iterator<char>(file), {});
  }
  EXPECT_THAT(written, ::testing::HasSubstr(secretDigest(key)));
  EXPECT_THAT(written, ::testing::Not(::testing::HasSubstr(key)));
  EXPECT_THAT(written, ::testing::Not(::testing::HasSubstr(pending)));
}

TEST_F(StoreTest, OneTokenExchangedFromManyThreadsGivesOneKey) {
  auto store = open();
  const std::string issued = token(*store);
  std::atomic<int> keys = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      if (store->exchangeLoginToken(issued, issuedAt + 1).value().issued)
        ++keys;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(keys, 1);
}

TEST_F(StoreTest, AFileThatIsNoDatabaseIsRefusedWithItsName) {
  std::ofstream(directory.path() / "accounts.db") << std::string(4096, 'x');
  const auto store = Store::open(directory.path() / "accounts.db");
  ASSERT_FALSE(store.ok());
  EXPECT_THAT(store.problem(), ::testing::HasSubstr("accounts.db: file is not a database"));
}

TEST(Secrets, AreRandomHexAndDigestedWithSha256) {
  const auto first = newSecret();
  ASSERT_TRUE(first);
  EXPECT_TRUE(looksLikeSecret(*first));
  EXPECT_NE(*first, *newSecret());
  EXPECT_EQ(secretDigest("abc"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_FALSE(looksLikeSecret(std::string(64, 'A')));
  EXPECT_FALSE(looksLikeSecret(std::string(63, 'a')));
}

}  // namespace
}  // namespace murvel::cloud
