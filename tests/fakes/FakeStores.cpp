#include "fakes/FakeStores.h"

#include "stores/Keychain.h"

namespace murvel::testing {

std::optional<PropertyValue> FakeUserDefaults::persistentObject(std::string_view key) const {
  auto found = stored.find(key);
  if (found == stored.end())
    return std::nullopt;
  return found->second;
}

void FakeUserDefaults::setObject(const PropertyValue& value, std::string_view key) {
  if (value.is_null()) {
    stored.erase(std::string(key));
  } else {
    stored[std::string(key)] = value;
  }
}

KeychainStatus FakeKeychain::itemDelete(const KeychainQuery& query) {
  if (const auto failed = record("delete", query))
    return *failed;
  return items.erase({query.service, query.account}) > 0 ? errSecSuccess : errSecItemNotFound;
}

KeychainStatus FakeKeychain::itemAdd(const KeychainQuery& attributes) {
  if (const auto failed = record("add", attributes))
    return *failed;
  const auto key = std::make_pair(attributes.service, attributes.account);
  if (items.count(key) > 0)
    return -25299;  // a duplicate item
  items[key] = attributes.valueData.value_or(std::vector<std::uint8_t>{});
  return errSecSuccess;
}

KeychainStatus FakeKeychain::itemCopyMatching(const KeychainQuery& query,
                                              std::optional<std::vector<std::uint8_t>>& result) {
  if (const auto failed = record("copy", query))
    return *failed;
  auto found = items.find({query.service, query.account});
  if (found == items.end())
    return errSecItemNotFound;
  if (query.returnData)
    result = found->second;
  return errSecSuccess;
}

std::optional<KeychainStatus> FakeKeychain::record(const std::string& operation,
                                                   const KeychainQuery& query) {
  calls.push_back({operation, query});
  return failWith;
}

void FakeKeychain::storeAccessKey(const std::string& key) {
  items[{std::string(Keychain::service), std::string(Keychain::accessKeyAccount)}] =
      std::vector<std::uint8_t>(key.begin(), key.end());
}

void CapturingOutput::writeLine(std::string_view line) {
  std::lock_guard lock(mutex_);
  lines_.emplace_back(line);
}

std::vector<std::string> CapturingOutput::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

}  // namespace murvel::testing
