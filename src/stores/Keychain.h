#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/KeychainBackend.h"

namespace murvel::Keychain {

inline constexpr std::string_view service = "com.murvel.mac";
inline constexpr std::string_view accessKeyAccount = "access_key";

// Replaces the item of `account` with `value`: delete, then add. Failures are not reported.
void save(KeychainBackend& backend, std::string_view value, std::string_view account);

// The item's value, or nothing when there is none, the store refused, or the bytes are not UTF-8.
std::optional<std::string> load(KeychainBackend& backend, std::string_view account);

// Removes the item of `account`, if any. (`delete` itself is a C++ keyword.)
void deleteItem(KeychainBackend& backend, std::string_view account);

}  // namespace murvel::Keychain
