#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fakes/FakeStores.h"
#include "stores/Keychain.h"

namespace murvel::testing {
namespace {

constexpr std::string_view account = Keychain::accessKeyAccount;

TEST(KeychainTest, SaveDeletesThenAddsTheSameDictionary) {
  FakeKeychain backend;
  Keychain::save(backend, "first", account);
  Keychain::save(backend, "second", account);
  ASSERT_EQ(backend.calls.size(), 4u);
  EXPECT_EQ(backend.calls[2].operation, "delete");
  EXPECT_EQ(backend.calls[3].operation, "add");
  EXPECT_EQ(backend.calls[2].query, backend.calls[3].query);  // the data entry included
  EXPECT_EQ(backend.calls[3].query.service, "com.murvel.mac");
  EXPECT_FALSE(backend.calls[3].query.returnData);
  EXPECT_EQ(backend.items.size(), 1u);
  EXPECT_EQ(Keychain::load(backend, account), "second");
}

TEST(KeychainTest, LoadAsksForOneItemsDataAndDecodesUTF8) {
  FakeKeychain backend;
  EXPECT_EQ(Keychain::load(backend, account), std::nullopt);
  EXPECT_TRUE(backend.calls.back().query.returnData);
  EXPECT_TRUE(backend.calls.back().query.matchLimitOne);
  EXPECT_FALSE(backend.calls.back().query.valueData);

  Keychain::save(backend, "", account);  // an empty string is a value
  EXPECT_EQ(Keychain::load(backend, account), "");
  Keychain::save(backend, "kl\u00E9-\U0001F511", account);
  EXPECT_EQ(Keychain::load(backend, account), "kl\u00E9-\U0001F511");

  backend.items.begin()->second = {0x6b, 0xff, 0xfe};  // not UTF-8
  EXPECT_EQ(Keychain::load(backend, account), std::nullopt);
}

TEST(KeychainTest, DeleteAndFailuresReportNothing) {
  FakeKeychain backend;
  Keychain::deleteItem(backend, account);  // nothing there: no fault
  Keychain::save(backend, "key", account);
  Keychain::save(backend, "other", "another-account");
  Keychain::deleteItem(backend, account);
  EXPECT_EQ(Keychain::load(backend, account), std::nullopt);
  EXPECT_EQ(Keychain::load(backend, "another-account"), "other");
  EXPECT_FALSE(backend.calls.back().query.valueData);

  backend.failWith = -25308;  // a locked keychain looks like no item at all
  EXPECT_EQ(Keychain::load(backend, "another-account"), std::nullopt);
}

}  // namespace
}  // namespace murvel::testing
