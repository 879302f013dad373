#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/KeychainBackend.h"
#include "platform/StandardOutput.h"
#include "platform/UserDefaults.h"

namespace murvel::testing {

// User defaults in memory.
class FakeUserDefaults final : public UserDefaults {
 public:
  std::optional<PropertyValue> persistentObject(std::string_view key) const override;
  void setObject(const PropertyValue& value, std::string_view key) override;

  std::map<std::string, PropertyValue, std::less<>> stored;
};

// A keychain in memory with the status codes of the real one. Every call is recorded.
class FakeKeychain final : public KeychainBackend {
 public:
  KeychainStatus itemDelete(const KeychainQuery& query) override;
  KeychainStatus itemAdd(const KeychainQuery& attributes) override;
  KeychainStatus itemCopyMatching(const KeychainQuery& query,
                                  std::optional<std::vector<std::uint8_t>>& result) override;

  // Stores the access key as a signed-in person has it.
  void storeAccessKey(const std::string& key);

  struct Call {
    std::string operation;
    KeychainQuery query;
  };
  std::vector<Call> calls;
  std::map<std::pair<std::string, std::string>, std::vector<std::uint8_t>> items;
  // When set, every call fails with this status, as a locked keyring does.
  std::optional<KeychainStatus> failWith;

 private:
  // Notes the call; the failure it must end with, if any.
  std::optional<KeychainStatus> record(const std::string& operation, const KeychainQuery& query);
};

// Standard output that keeps the lines. Safe from any thread.
class CapturingOutput final : public StandardOutput {
 public:
  void writeLine(std::string_view line) override;
  std::vector<std::string> lines() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace murvel::testing
