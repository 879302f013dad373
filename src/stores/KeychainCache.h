#pragma once

#include <map>
#include <utility>

#include "platform/KeychainBackend.h"

namespace murvel {

// Keeps what the secret store answered, so that only the first read of an item reaches it. Every
// call of the desktop's store is a synchronous round trip on the main thread, and a dictation
// reads the access key at each release. Murvel is the only writer of its items, and every write
// goes through here: an add stores what was added, a delete forgets the item whatever its outcome.
// Failures and items not found are not kept, so a keyring unlocked later is asked again.
class KeychainCache final : public KeychainBackend {
 public:
  explicit KeychainCache(KeychainBackend& store) : store_(store) {}

  KeychainStatus itemDelete(const KeychainQuery& query) override;
  KeychainStatus itemAdd(const KeychainQuery& attributes) override;
  KeychainStatus itemCopyMatching(const KeychainQuery& query,
                                  std::optional<std::vector<std::uint8_t>>& result) override;

 private:
  using Item = std::pair<std::string, std::string>;  // service, account

  KeychainBackend& store_;
  std::map<Item, std::vector<std::uint8_t>> known_;
};

}  // namespace murvel
