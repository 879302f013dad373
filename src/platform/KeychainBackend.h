#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace murvel {

using KeychainStatus = int;
inline constexpr KeychainStatus errSecSuccess = 0;
inline constexpr KeychainStatus errSecItemNotFound = -25300;

// A query on generic-password items. Absent entries are not part of the query.
struct KeychainQuery {
  std::string service;
  std::string account;
  std::optional<std::vector<std::uint8_t>> valueData;
  bool returnData = false;
  bool matchLimitOne = false;

  friend bool operator==(const KeychainQuery&, const KeychainQuery&) = default;
};

// The secret store of the desktop. Each call is synchronous and returns a status, 0 for success.
class KeychainBackend {
 public:
  virtual ~KeychainBackend() = default;

  virtual KeychainStatus itemDelete(const KeychainQuery& query) = 0;
  virtual KeychainStatus itemAdd(const KeychainQuery& attributes) = 0;
  // On success `result` holds the item's data when the query asked for it.
  virtual KeychainStatus itemCopyMatching(const KeychainQuery& query,
                                          std::optional<std::vector<std::uint8_t>>& result) = 0;
};

}  // namespace murvel
