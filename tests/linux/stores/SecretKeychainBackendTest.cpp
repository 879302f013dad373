#include "platform/linux/stores/SecretKeychainBackend.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "KeyringControl.h"

namespace murvel::linux_platform {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr char kService[] = "com.murvel.mac";

Bytes bytesOf(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

// The three query shapes of the keychain's callers: save, load and delete.
KeychainQuery deleteQuery(const std::string& service, const std::string& account) {
  KeychainQuery query;
  query.service = service;
  query.account = account;
  return query;
}
KeychainQuery saveQuery(const std::string& service, const std::string& account,
                        const Bytes& value) {
  KeychainQuery query = deleteQuery(service, account);
  query.valueData = value;
  return query;
}
KeychainQuery loadQuery(const std::string& service, const std::string& account) {
  KeychainQuery query = deleteQuery(service, account);
  query.returnData = true;
  query.matchLimitOne = true;
  return query;
}

class SecretKeychainBackendTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // An account of its own per test, so that tests sharing one keyring stay apart.
    account_ = ::testing::UnitTest::GetInstance()->current_test_info()->name();
  }

  // What the keychain's save does: delete with the full query, then add.
  void save(const std::string& account, const Bytes& value, const std::string& service = kService) {
    const KeychainQuery query = saveQuery(service, account, value);
    backend_.itemDelete(query);
    ASSERT_EQ(backend_.itemAdd(query), errSecSuccess);
  }

  std::optional<Bytes> load(const std::string& account, const std::string& service = kService) {
    std::optional<Bytes> result = Bytes{0xde, 0xad};
    const KeychainStatus status = backend_.itemCopyMatching(loadQuery(service, account), result);
    EXPECT_TRUE(status == errSecSuccess || status == errSecItemNotFound) << status;
    EXPECT_EQ(status == errSecSuccess, result.has_value());
    return result;
  }

  SecretKeychainBackend backend_;
  std::string account_;
};

TEST_F(SecretKeychainBackendTest, NothingStoredLoadsAndDeletesAsNotFound) {
  std::optional<Bytes> result = Bytes{1};
  EXPECT_EQ(backend_.itemCopyMatching(loadQuery(kService, account_), result), errSecItemNotFound);
  EXPECT_FALSE(result);
  EXPECT_EQ(backend_.itemDelete(deleteQuery(kService, account_)), errSecItemNotFound);
}

TEST_F(SecretKeychainBackendTest, SavingAgainLeavesOneItemWithTheLatestValue) {
  save(account_, bytesOf("first-key"));
  save(account_, bytesOf("second-key"));
  EXPECT_EQ(load(account_), bytesOf("second-key"));
  EXPECT_EQ(testing::countItems(kService, account_), 1);

  EXPECT_EQ(backend_.itemDelete(deleteQuery(kService, account_)), errSecSuccess);
  EXPECT_EQ(load(account_), std::nullopt);
  EXPECT_EQ(testing::countItems(kService, account_), 0);
}

TEST_F(SecretKeychainBackendTest, DataRoundTripsByteForByte) {
  const Bytes values[] = {
      {},                                   // empty stays empty, not absent
      {0xff, 0xfe, 0x00, 'z', 0x80, 0xc3},  // not UTF-8, with a NUL inside
      bytesOf("Grüße, ключ 🔑"),             // non-ASCII text
      bytesOf(std::string(4096, 'k')),      // longer than any access key
  };
  for (const Bytes& value : values) {
    SCOPED_TRACE(::testing::PrintToString(value));
    save(account_, value);
    EXPECT_EQ(load(account_), value);
  }
}

TEST_F(SecretKeychainBackendTest, QueriesWithoutReturnDataFindTheItemWithoutData) {
  save(account_, bytesOf("key"));
  std::optional<Bytes> result;
  EXPECT_EQ(backend_.itemCopyMatching(deleteQuery(kService, account_), result), errSecSuccess);
  EXPECT_FALSE(result);
}

TEST_F(SecretKeychainBackendTest, OtherAccountsAndServicesAreUntouched) {
  const std::string other = account_ + "-other";
  save(account_, bytesOf("mine"));
  save(other, bytesOf("other account"));
  save(account_, bytesOf("other service"), "org.example.elsewhere");

  EXPECT_EQ(backend_.itemDelete(deleteQuery(kService, account_)), errSecSuccess);
  EXPECT_EQ(load(account_), std::nullopt);
  EXPECT_EQ(load(other), bytesOf("other account"));
  EXPECT_EQ(load(account_, "org.example.elsewhere"), bytesOf("other service"));

  save(other, bytesOf("replaced"));
  EXPECT_EQ(load(account_, "org.example.elsewhere"), bytesOf("other service"));
}

TEST_F(SecretKeychainBackendTest, ItemsAreFoundByServiceAndAccountAlone) {
  ASSERT_TRUE(testing::storeForeignItem(kService, account_, "from another tool"));
  EXPECT_EQ(load(account_), bytesOf("from another tool"));

  // A save leaves exactly one item, even where another tool had stored one.
  save(account_, bytesOf("ours"));
  EXPECT_EQ(testing::countItems(kService, account_), 1);
  EXPECT_EQ(load(account_), bytesOf("ours"));

  ASSERT_TRUE(testing::storeForeignItem(kService, account_, "again"));
  EXPECT_EQ(testing::countItems(kService, account_), 2);
  EXPECT_EQ(backend_.itemDelete(deleteQuery(kService, account_)), errSecSuccess);
  EXPECT_EQ(testing::countItems(kService, account_), 0);
}

TEST_F(SecretKeychainBackendTest, ALockedKeyringFailsInsteadOfLookingEmpty) {
  save(account_, bytesOf("kept"));
  ASSERT_TRUE(testing::lockDefaultCollection());

  // The backend never asks to unlock, so the keyring stays locked and nothing is touched.
  std::optional<Bytes> result;
  EXPECT_EQ(backend_.itemCopyMatching(loadQuery(kService, account_), result),
            errSecInteractionNotAllowed);
  EXPECT_FALSE(result);
  EXPECT_EQ(backend_.itemDelete(deleteQuery(kService, account_)), errSecInteractionNotAllowed);
  EXPECT_EQ(backend_.itemAdd(saveQuery(kService, account_, bytesOf("new"))),
            errSecInteractionNotAllowed);

  ASSERT_TRUE(testing::unlockDefaultCollection());
  EXPECT_EQ(load(account_), bytesOf("kept"));
}

TEST_F(SecretKeychainBackendTest, NamesThatAreNotUtf8AreRejected) {
  std::optional<Bytes> result;
  const std::string bad = "acc\xff";
  EXPECT_EQ(backend_.itemAdd(saveQuery(kService, bad, bytesOf("x"))), errSecParam);
  EXPECT_EQ(backend_.itemCopyMatching(loadQuery(kService, bad), result), errSecParam);
  EXPECT_EQ(backend_.itemDelete(deleteQuery(std::string("svc\0x", 5), account_)), errSecParam);
}

// Without a reachable session bus every call fails with its own status, in a child process
// whose bus settings are its own. The alarm is the deadline: a call that waits for a D-Bus
// timeout (25 s) or forever ends the child by SIGALRM, and the test fails.
[[noreturn]] void callWithSessionBus(const char* address) {
  alarm(20);
  if (address)
    setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
  else
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
  unsetenv("DISPLAY");  // no bus started through X11 autolaunch
  std::string runtime = (std::filesystem::temp_directory_path() / "murvel-nobus.XXXXXX").string();
  if (mkdtemp(runtime.data()))
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);  // no bus socket there either

  SecretKeychainBackend backend;
  std::optional<Bytes> result;
  const int deleted = backend.itemDelete(deleteQuery(kService, "nobus"));
  const int added = backend.itemAdd(saveQuery(kService, "nobus", bytesOf("key")));
  const int copied = backend.itemCopyMatching(loadQuery(kService, "nobus"), result);
  std::fprintf(stderr, "delete=%d add=%d copy=%d data=%d\n", deleted, added, copied,
               result.has_value());
  std::fflush(stderr);
  rmdir(runtime.c_str());
  std::_Exit(0);
}

TEST(SecretKeychainBackendDeathTest, ADeadBusAddressFailsAtOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process, no bus connection yet
  EXPECT_EXIT(callWithSessionBus("unix:path=/nonexistent/murvel/bus"), ::testing::ExitedWithCode(0),
              "delete=-25291 add=-25291 copy=-25291 data=0");
}

TEST(SecretKeychainBackendDeathTest, NoSessionBusFailsAtOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(callWithSessionBus(nullptr), ::testing::ExitedWithCode(0),
              "delete=-25291 add=-25291 copy=-25291 data=0");
}

}  // namespace
}  // namespace murvel::linux_platform
