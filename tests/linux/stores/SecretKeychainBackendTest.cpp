#include "platform/linux/stores/SecretKeychainBackend.h"

#include <gtest/gtest.h>
#include <libsecret/secret.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace murvel::linux_platform {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Loaded = std::pair<KeychainStatus, std::optional<Bytes>>;

constexpr char kService[] = "com.murvel.mac";
const Loaded notFound{errSecItemNotFound, std::nullopt};

Bytes bytesOf(std::string_view text) {
  return Bytes(text.begin(), text.end());
}
Loaded found(std::string_view text) {
  return {errSecSuccess, bytesOf(text)};
}

// Another program's schema; it also matches items of any schema name.
const SecretSchema otherTool = [] {
  SecretSchema schema{};
  schema.name = "org.example.OtherTool";
  schema.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
  schema.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
  schema.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
  return schema;
}();

KeychainQuery queryFor(const std::string& account, const std::string& service = kService) {
  KeychainQuery query;
  query.service = service;
  query.account = account;
  return query;
}

// The items of our service and this account in the keyring, locked or not; -1 on failure.
int countItems(const std::string& account) {
  GError* error = nullptr;
  GList* items =
      secret_password_search_sync(&otherTool, SECRET_SEARCH_ALL, nullptr, &error, "service",
                                  kService, "account", account.c_str(), nullptr);
  const int count = error ? -1 : static_cast<int>(g_list_length(items));
  g_list_free_full(items, g_object_unref);
  g_clear_error(&error);
  return count;
}

bool lockKeyring() {
  SecretService* service = secret_service_get_sync(SECRET_SERVICE_NONE, nullptr, nullptr);
  SecretCollection* collection = secret_collection_for_alias_sync(
      service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, nullptr);
  GList objects{collection, nullptr, nullptr};
  const bool locked =
      collection && secret_service_lock_sync(service, &objects, nullptr, nullptr, nullptr) == 1;
  g_clear_object(&collection);
  g_clear_object(&service);
  return locked;
}

class SecretKeychainBackendTest : public ::testing::Test {
 protected:
  // What the keychain's save does: delete with the full query, then add.
  KeychainStatus save(const std::string& account, std::string_view value,
                      const std::string& service = kService) {
    KeychainQuery query = queryFor(account, service);
    query.valueData = bytesOf(value);
    backend_.itemDelete(query);
    return backend_.itemAdd(query);
  }
  Loaded load(const std::string& account, const std::string& service = kService) {
    std::optional<Bytes> data = Bytes{0xde, 0xad};  // must be cleared unless found
    KeychainQuery query = queryFor(account, service);
    query.returnData = query.matchLimitOne = true;
    const KeychainStatus status = backend_.itemCopyMatching(query, data);
    return {status, data};
  }
  KeychainStatus remove(const std::string& account) {
    return backend_.itemDelete(queryFor(account));
  }

  SecretKeychainBackend backend_;
};

TEST_F(SecretKeychainBackendTest, SavingAgainReplacesTheOneItemOfThatServiceAndAccount) {
  EXPECT_EQ(load("user"), notFound);
  EXPECT_EQ(remove("user"), errSecItemNotFound);
  ASSERT_EQ(save("user", "first-key"), errSecSuccess);
  save("other", "other account");
  save("user", "other service", "org.example.elsewhere");
  ASSERT_EQ(save("user", "second-key"), errSecSuccess);
  EXPECT_EQ(load("user"), found("second-key"));
  EXPECT_EQ(countItems("user"), 1);
  EXPECT_EQ(remove("user"), errSecSuccess);
  EXPECT_EQ(load("user"), notFound);
  EXPECT_EQ(load("other"), found("other account"));
  EXPECT_EQ(load("user", "org.example.elsewhere"), found("other service"));
}

TEST_F(SecretKeychainBackendTest, DataRoundTripsByteForByte) {
  using namespace std::string_view_literals;
  for (std::string_view value : {""sv, "\xff\xfe\0z\x80\xc3"sv, "Grüße, ключ 🔑"sv}) {
    SCOPED_TRACE(::testing::PrintToString(bytesOf(value)));
    ASSERT_EQ(save("user", value), errSecSuccess);
    EXPECT_EQ(load("user"), found(value));  // empty data stays empty, not absent
  }
}

TEST_F(SecretKeychainBackendTest, ItemsOfAnotherProgramAreFoundAndReplaced) {
  ASSERT_TRUE(secret_password_store_sync(&otherTool, SECRET_COLLECTION_DEFAULT, "other tool",
                                         "theirs", nullptr, nullptr, "service", kService, "account",
                                         "user", nullptr));
  EXPECT_EQ(load("user"), found("theirs"));
  ASSERT_EQ(save("user", "ours"), errSecSuccess);
  EXPECT_EQ(countItems("user"), 1);
  EXPECT_EQ(load("user"), found("ours"));
}

TEST_F(SecretKeychainBackendTest, ALockedKeyringFailsInsteadOfLookingEmpty) {
  ASSERT_EQ(save("user", "kept"), errSecSuccess);
  ASSERT_TRUE(lockKeyring());
  alarm(20);  // an unlock prompt waited for would end the test here
  EXPECT_EQ(load("user"), (Loaded{errSecInteractionNotAllowed, std::nullopt}));
  EXPECT_EQ(remove("user"), errSecInteractionNotAllowed);
  EXPECT_EQ(save("user", "new"), errSecInteractionNotAllowed);
  alarm(0);
  EXPECT_EQ(countItems("user"), 1);
}

TEST_F(SecretKeychainBackendTest, NamesThatAreNotUtf8AreRejected) {
  EXPECT_EQ(save("acc\xff", "x"), errSecParam);
  EXPECT_EQ(load("acc\xff"), (Loaded{errSecParam, std::nullopt}));
}

// In a child process whose bus settings are its own. A call that waits for the D-Bus timeout
// (25 s) or forever ends the child by SIGALRM, and the test fails.
[[noreturn]] void callWithSessionBus(const char* address) {
  alarm(20);
  if (address)
    setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
  else
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
  unsetenv("DISPLAY");                           // no bus started through X11 autolaunch
  setenv("XDG_RUNTIME_DIR", "/nonexistent", 1);  // no bus socket there either
  SecretKeychainBackend backend;
  KeychainQuery query = queryFor("user");
  query.valueData = Bytes{1};
  std::optional<Bytes> data;
  const int deleted = backend.itemDelete(query);
  const int added = backend.itemAdd(query);
  const int copied = backend.itemCopyMatching(query, data);
  std::fprintf(stderr, "delete=%d add=%d copy=%d data=%d\n", deleted, added, copied,
               data.has_value());
  std::fflush(stderr);
  std::_Exit(0);
}

TEST(SecretKeychainBackendDeathTest, NoSessionBusFailsAtOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process, no bus connection yet
  for (const char* address : {static_cast<const char*>(nullptr), "unix:path=/nonexistent/bus"}) {
    EXPECT_EXIT(callWithSessionBus(address), ::testing::ExitedWithCode(0),
                "delete=-25291 add=-25291 copy=-25291 data=0");
  }
}

}  // namespace
}  // namespace murvel::linux_platform
