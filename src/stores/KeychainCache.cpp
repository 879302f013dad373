#include "stores/KeychainCache.h"

namespace murvel {

KeychainStatus KeychainCache::itemDelete(const KeychainQuery& query) {
  known_.erase({query.service, query.account});
  return store_.itemDelete(query);
}

KeychainStatus KeychainCache::itemAdd(const KeychainQuery& attributes) {
  known_.erase({attributes.service, attributes.account});
  const KeychainStatus status = store_.itemAdd(attributes);
  if (status == errSecSuccess)
    known_[{attributes.service, attributes.account}] =
        attributes.valueData.value_or(std::vector<std::uint8_t>{});
  return status;
}

KeychainStatus KeychainCache::itemCopyMatching(const KeychainQuery& query,
                                               std::optional<std::vector<std::uint8_t>>& result) {
  // Only a lookup of one item's data by service and account is answered from memory.
  const bool cacheable = query.returnData && query.matchLimitOne && !query.valueData;
  if (cacheable) {
    if (auto found = known_.find({query.service, query.account}); found != known_.end()) {
      result = found->second;
      return errSecSuccess;
    }
  }
  const KeychainStatus status = store_.itemCopyMatching(query, result);
  if (cacheable && status == errSecSuccess && result)
    known_[{query.service, query.account}] = *result;
  return status;
}

}  // namespace murvel
