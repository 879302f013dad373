#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "cloud/Outcome.h"

struct sqlite3;

namespace murvel::cloud {

// How long a login token may wait for its exchange.
inline constexpr std::int64_t loginTokenLifetimeSeconds = 10 * 60;

// A login token just issued for an address.
struct IssuedLoginToken {
  std::string token;
  bool newAccount = false;
};

// An access key just issued, with the address of its account.
struct IssuedAccessKey {
  std::string accessKey;
  std::string email;
};

// Why a login token was not exchanged.
enum class TokenRefusal { unknown, used, expired };

// The accounts, login tokens and access keys, in one SQLite database. Tokens and keys are kept
// only as digests. Every change is one transaction in write-ahead logging with full sync, so the
// database survives a kill at any moment and a power cut after a reply. Safe to use from any
// thread. Times are seconds since the epoch, passed in by the caller.
class Store {
 public:
  static Outcome<std::unique_ptr<Store>> open(const std::filesystem::path& file);
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // A login token for `email`, whose account is made if it is new.
  Outcome<IssuedLoginToken> issueLoginToken(const std::string& email, std::int64_t now);

  // Spends the token: an access key for its account, or why not. A failure of the database
  // itself comes back as the Outcome's problem.
  struct Exchange {
    std::optional<IssuedAccessKey> issued;
    TokenRefusal refusal = TokenRefusal::unknown;
  };
  Outcome<Exchange> exchangeLoginToken(const std::string& token, std::int64_t now);

  // A new access key for `email`, whose account is made if it is new: the operator's way in.
  Outcome<IssuedAccessKey> issueAccessKey(const std::string& email, std::int64_t now);

  // The address of the account that `accessKey` belongs to; nothing for a key never issued.
  Outcome<std::optional<std::string>> emailForAccessKey(const std::string& accessKey);

 private:
  explicit Store(sqlite3* database) : database_(database) {}

  std::mutex mutex_;
  sqlite3* database_;
};

}  // namespace murvel::cloud
