#pragma once

#include "platform/KeychainBackend.h"

namespace murvel::linux_platform {

// Statuses of this backend beyond success and errSecItemNotFound.
// The Secret Service cannot be reached (no session bus, no keyring daemon) or failed.
inline constexpr KeychainStatus errSecNotAvailable = -25291;
// The keyring holding the item, or the default keyring for an add, is locked.
inline constexpr KeychainStatus errSecInteractionNotAllowed = -25308;
// The service or account is not valid UTF-8, which the Secret Service cannot carry.
inline constexpr KeychainStatus errSecParam = -50;

// Generic-password items in the desktop's Secret Service (libsecret). An item carries the string
// attributes `service` and `account` and is found by that pair alone, whichever program stored
// it. Its secret is stored and returned as raw bytes: empty and non-UTF-8 data come back exactly.
//
// Calls are synchronous D-Bus round trips and never prompt: an item in a locked keyring fails
// with errSecInteractionNotAllowed rather than showing the desktop's unlock prompt on the main
// thread. Without a session bus a call fails at once. An add replaces an item that has the same
// attributes in the default collection.
class SecretKeychainBackend final : public KeychainBackend {
 public:
  // Removes every item of the query's service and account. The query's data is not matched.
  KeychainStatus itemDelete(const KeychainQuery& query) override;
  // Stores the query's data (none stores empty data) in the default collection.
  KeychainStatus itemAdd(const KeychainQuery& attributes) override;
  // Finds one item of the query's service and account; its data when `returnData` is set.
  KeychainStatus itemCopyMatching(const KeychainQuery& query,
                                  std::optional<std::vector<std::uint8_t>>& result) override;
};

}  // namespace murvel::linux_platform
