#include "cloud/Store.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <string_view>

#include "cloud/Secrets.h"

namespace murvel::cloud {

namespace {

// Used and expired tokens are kept this long, so that a second use is told apart from a token
// that never existed; then they go.
constexpr std::int64_t spentTokenRetentionSeconds = 24 * 60 * 60;

constexpr int schemaVersion = 1;

constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS accounts (
  id INTEGER PRIMARY KEY,
  email TEXT NOT NULL UNIQUE,
  created_at INTEGER NOT NULL
);
CREATE TABLE IF NOT EXISTS login_tokens (
  token_digest TEXT PRIMARY KEY,
  account_id INTEGER NOT NULL REFERENCES accounts(id),
  expires_at INTEGER NOT NULL,
  used_at INTEGER
);
CREATE INDEX IF NOT EXISTS login_tokens_by_expiry ON login_tokens(expires_at);
CREATE TABLE IF NOT EXISTS access_keys (
  key_digest TEXT PRIMARY KEY,
  account_id INTEGER NOT NULL REFERENCES accounts(id),
  created_at INTEGER NOT NULL
);
)sql";

std::string databaseProblem(sqlite3* database) {
  return std::string("The service's account database failed: ") + sqlite3_errmsg(database) + ".";
}

const char* const randomSourceProblem =
    "The service could not make a secret: the system's random source failed.";

// One prepared statement, finalised when it goes.
class Statement {
 public:
  Statement(sqlite3* database, const char* sql) {
    code_ = sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr);
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(int index, std::string_view text) {
    if (code_ == SQLITE_OK) {
      code_ = sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()),
                                SQLITE_TRANSIENT);
    }
    return *this;
  }
  Statement& bind(int index, std::int64_t value) {
    if (code_ == SQLITE_OK)
      code_ = sqlite3_bind_int64(statement_, index, value);
    return *this;
  }
  // SQLITE_ROW, SQLITE_DONE, or the error that stopped it.
  int step() { return code_ == SQLITE_OK ? sqlite3_step(statement_) : code_; }
  std::int64_t integer(int column) const { return sqlite3_column_int64(statement_, column); }
  bool isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
  // Ends a read early, so that the transaction around it can commit.
  void reset() { sqlite3_reset(statement_); }
  std::string text(int column) const {
    const auto* bytes = sqlite3_column_text(statement_, column);
    return bytes == nullptr
               ? std::string()
               : std::string(reinterpret_cast<const char*>(bytes),
                             static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
  }

 private:
  sqlite3_stmt* statement_ = nullptr;
  int code_ = SQLITE_OK;
};

bool execute(sqlite3* database, const char* sql) {
  return sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// A write transaction that rolls back unless committed.
class Transaction {
 public:
  explicit Transaction(sqlite3* database)
      : database_(database), open_(execute(database, "BEGIN IMMEDIATE")) {}
  ~Transaction() {
    if (open_)
      execute(database_, "ROLLBACK");
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  bool began() const { return open_; }
  bool commit() {
    open_ = !execute(database_, "COMMIT");
    return !open_;
  }

 private:
  sqlite3* database_;
  bool open_;
};

// The account of `email`, made if it is new: its id and whether it was made.
std::optional<std::pair<std::int64_t, bool>> accountFor(sqlite3* database, const std::string& email,
                                                        std::int64_t now) {
  Statement insert(database,
                   "INSERT INTO accounts(email, created_at) VALUES(?, ?) "
                   "ON CONFLICT(email) DO NOTHING");
  if (insert.bind(1, email).bind(2, now).step() != SQLITE_DONE)
    return std::nullopt;
  const bool made = sqlite3_changes(database) > 0;
  Statement select(database, "SELECT id FROM accounts WHERE email = ?");
  if (select.bind(1, email).step() != SQLITE_ROW)
    return std::nullopt;
  return std::make_pair(select.integer(0), made);
}

bool insertAccessKey(sqlite3* database, const std::string& key, std::int64_t account,
                     std::int64_t now) {
  Statement insert(database,
                   "INSERT INTO access_keys(key_digest, account_id, created_at) VALUES(?, ?, ?)");
  return insert.bind(1, secretDigest(key)).bind(2, account).bind(3, now).step() == SQLITE_DONE;
}

}  // namespace

Outcome<std::unique_ptr<Store>> Store::open(const std::filesystem::path& file) {
  sqlite3* database = nullptr;
  const int opened =
      sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  std::unique_ptr<Store> store(new Store(database));
  if (opened != SQLITE_OK) {
    return Outcome<std::unique_ptr<Store>>::failure(
        "The service could not open its account database " + file.string() + ": " +
        sqlite3_errstr(opened) + ".");
  }
  // The log files that write-ahead logging adds take the database's permissions.
  ::chmod(file.c_str(), 0600);
  sqlite3_busy_timeout(database, 5000);
  const bool ready =
      execute(database, "PRAGMA journal_mode = WAL") &&
      execute(database, "PRAGMA synchronous = FULL") &&
      execute(database, "PRAGMA foreign_keys = ON") && execute(database, schema) &&
      execute(database, ("PRAGMA user_version = " + std::to_string(schemaVersion)).c_str());
  if (!ready) {
    return Outcome<std::unique_ptr<Store>>::failure(
        "The service could not use its account database " + file.string() + ": " +
        sqlite3_errmsg(database) + ".");
  }
  return Outcome<std::unique_ptr<Store>>::success(std::move(store));
}

Store::~Store() {
  sqlite3_close(database_);
}

Outcome<IssuedLoginToken> Store::issueLoginToken(const std::string& email, std::int64_t now) {
  const auto token = newSecret();
  if (!token)
    return Outcome<IssuedLoginToken>::failure(randomSourceProblem);
  std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  const auto account = transaction.began() ? accountFor(database_, email, now) : std::nullopt;
  if (!account)
    return Outcome<IssuedLoginToken>::failure(databaseProblem(database_));
  Statement insert(
      database_, "INSERT INTO login_tokens(token_digest, account_id, expires_at) VALUES(?, ?, ?)");
  Statement prune(database_, "DELETE FROM login_tokens WHERE expires_at < ?");
  if (insert.bind(1, secretDigest(*token))
              .bind(2, account->first)
              .bind(3, now + loginTokenLifetimeSeconds)
              .step() != SQLITE_DONE ||
      prune.bind(1, now - spentTokenRetentionSeconds).step() != SQLITE_DONE ||
      !transaction.commit()) {
    return Outcome<IssuedLoginToken>::failure(databaseProblem(database_));
  }
  return Outcome<IssuedLoginToken>::success(IssuedLoginToken{*token, account->second});
}

Outcome<Store::Exchange> Store::exchangeLoginToken(const std::string& token, std::int64_t now) {
  if (!looksLikeSecret(token))
    return Outcome<Exchange>::success(Exchange{std::nullopt, TokenRefusal::unknown});
  const auto accessKey = newSecret();
  if (!accessKey)
    return Outcome<Exchange>::failure(randomSourceProblem);
  const std::string digest = secretDigest(token);
  std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  if (!transaction.began())
    return Outcome<Exchange>::failure(databaseProblem(database_));
  Statement select(database_,
                   "SELECT t.account_id, t.expires_at, t.used_at, a.email FROM login_tokens t "
                   "JOIN accounts a ON a.id = t.account_id WHERE t.token_digest = ?");
  const int found = select.bind(1, digest).step();
  if (found == SQLITE_DONE)
    return Outcome<Exchange>::success(Exchange{std::nullopt, TokenRefusal::unknown});
  if (found != SQLITE_ROW)
    return Outcome<Exchange>::failure(databaseProblem(database_));
  if (!select.isNull(2))
    return Outcome<Exchange>::success(Exchange{std::nullopt, TokenRefusal::used});
  if (now >= select.integer(1))
    return Outcome<Exchange>::success(Exchange{std::nullopt, TokenRefusal::expired});

  const std::int64_t account = select.integer(0);
  IssuedAccessKey issued{*accessKey, select.text(3)};
  select.reset();
  Statement spend(database_, "UPDATE login_tokens SET used_at = ? WHERE token_digest = ?");
  if (spend.bind(1, now).bind(2, digest).step() != SQLITE_DONE ||
      !insertAccessKey(database_, issued.accessKey, account, now) || !transaction.commit()) {
    return Outcome<Exchange>::failure(databaseProblem(database_));
  }
  return Outcome<Exchange>::success(Exchange{std::move(issued), TokenRefusal::unknown});
}

Outcome<IssuedAccessKey> Store::issueAccessKey(const std::string& email, std::int64_t now) {
  const auto accessKey = newSecret();
  if (!accessKey)
    return Outcome<IssuedAccessKey>::failure(randomSourceProblem);
  std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  const auto account = transaction.began() ? accountFor(database_, email, now) : std::nullopt;
  if (!account || !insertAccessKey(database_, *accessKey, account->first, now) ||
      !transaction.commit()) {
    return Outcome<IssuedAccessKey>::failure(databaseProblem(database_));
  }
  return Outcome<IssuedAccessKey>::success(IssuedAccessKey{*accessKey, email});
}

Outcome<std::optional<std::string>> Store::emailForAccessKey(const std::string& accessKey) {
  if (!looksLikeSecret(accessKey))
    return Outcome<std::optional<std::string>>::success(std::nullopt);
  std::lock_guard lock(mutex_);
  Statement select(database_,
                   "SELECT a.email FROM access_keys k JOIN accounts a ON a.id = k.account_id "
                   "WHERE k.key_digest = ?");
  const int found = select.bind(1, secretDigest(accessKey)).step();
  if (found == SQLITE_ROW)
    return Outcome<std::optional<std::string>>::success(select.text(0));
  if (found == SQLITE_DONE)
    return Outcome<std::optional<std::string>>::success(std::nullopt);
  return Outcome<std::optional<std::string>>::failure(databaseProblem(database_));
}

}  // namespace murvel::cloud
