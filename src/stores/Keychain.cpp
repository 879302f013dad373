#include "stores/Keychain.h"

#include "common/Text.h"

namespace murvel::Keychain {

namespace {
KeychainQuery itemQuery(std::string_view account) {
  KeychainQuery query;
  query.service = std::string(service);
  query.account = std::string(account);
  return query;
}
}  // namespace

void save(KeychainBackend& backend, std::string_view value, std::string_view account) {
  KeychainQuery query = itemQuery(account);
  query.valueData = std::vector<std::uint8_t>(value.begin(), value.end());
  // The same dictionary, data included, serves both calls; their statuses are not looked at.
  backend.itemDelete(query);
  backend.itemAdd(query);
}

std::optional<std::string> load(KeychainBackend& backend, std::string_view account) {
  KeychainQuery query = itemQuery(account);
  query.returnData = true;
  query.matchLimitOne = true;
  std::optional<std::vector<std::uint8_t>> data;
  if (backend.itemCopyMatching(query, data) != errSecSuccess)
    return std::nullopt;
  if (!data)
    return std::nullopt;
  std::string text(data->begin(), data->end());
  if (!isValidUTF8(text))
    return std::nullopt;
  return text;
}

void deleteItem(KeychainBackend& backend, std::string_view account) {
  backend.itemDelete(itemQuery(account));
}

}  // namespace murvel::Keychain
