#include "platform/linux/stores/SecretKeychainBackend.h"

#include <libsecret/secret.h>

#include <memory>
#include <string>

namespace murvel::linux_platform {

namespace {

// Items are matched on the pair of attributes alone, not on the schema name, so that an item of
// the same service and account is found whichever tool stored it.
const SecretSchema& schema() {
  static const SecretSchema instance = [] {
    SecretSchema s{};
    s.name = "com.murvel.mac";
    s.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
    s.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
    s.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
    return s;
  }();
  return instance;
}

// Owns the GError of one call; out() clears any earlier one first.
class Error {
 public:
  Error() = default;
  Error(const Error&) = delete;
  Error& operator=(const Error&) = delete;
  ~Error() { g_clear_error(&error_); }

  GError** out() {
    g_clear_error(&error_);
    return &error_;
  }
  const GError* get() const { return error_; }
  explicit operator bool() const { return error_ != nullptr; }

 private:
  GError* error_ = nullptr;
};

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct HashTableUnref {
  void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
struct ValueUnref {
  void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using ServicePtr = std::unique_ptr<SecretService, ObjectUnref>;
using AttributesPtr = std::unique_ptr<GHashTable, HashTableUnref>;
using ValuePtr = std::unique_ptr<SecretValue, ValueUnref>;
using CollectionPtr = std::unique_ptr<SecretCollection, ObjectUnref>;
using ItemPtr = std::unique_ptr<SecretItem, ObjectUnref>;

class ItemList {
 public:
  ItemList() = default;
  ItemList(const ItemList&) = delete;
  ItemList& operator=(const ItemList&) = delete;
  ~ItemList() { g_list_free_full(items_, g_object_unref); }

  void reset(GList* items) {
    g_list_free_full(items_, g_object_unref);
    items_ = items;
  }
  GList* get() const { return items_; }

 private:
  GList* items_ = nullptr;
};

KeychainStatus statusFor(const GError* error) {
  if (error && g_error_matches(error, SECRET_ERROR, SECRET_ERROR_IS_LOCKED))
    return errSecInteractionNotAllowed;
  return errSecNotAvailable;
}

bool isUtf8(const std::string& text) {
  return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr);
}

// The table borrows the query's strings, which must outlive it. Nothing when a string cannot
// travel over D-Bus.
AttributesPtr attributesFor(const KeychainQuery& query) {
  if (!isUtf8(query.service) || !isUtf8(query.account))
    return nullptr;
  AttributesPtr table(g_hash_table_new(g_str_hash, g_str_equal));
  g_hash_table_insert(table.get(), const_cast<char*>("service"),
                      const_cast<char*>(query.service.c_str()));
  g_hash_table_insert(table.get(), const_cast<char*>("account"),
                      const_cast<char*>(query.account.c_str()));
  return table;
}

// The shared connection to the Secret Service, made on first use. Without a session bus this
// fails at once.
ServicePtr connect(Error& error) {
  ServicePtr service(secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, error.out()));
  if (service) {
    // A session bus that goes away must fail later calls, not end the application.
    g_dbus_connection_set_exit_on_close(g_dbus_proxy_get_connection(G_DBUS_PROXY(service.get())),
                                        FALSE);
  }
  return service;
}

// Every item of the query's pair in any collection. Nothing is unlocked here: an unlock prompt
// would hold the main thread, and libsecret 0.20's synchronous calls can wait forever on a prompt
// that is dismissed. A locked item is reported as locked instead.
KeychainStatus search(const KeychainQuery& query, bool loadSecrets, ItemList& found) {
  AttributesPtr attributes = attributesFor(query);
  if (!attributes)
    return errSecParam;
  Error error;
  ServicePtr service = connect(error);
  if (!service)
    return statusFor(error.get());
  int flags = SECRET_SEARCH_ALL;
  if (loadSecrets)
    flags |= SECRET_SEARCH_LOAD_SECRETS;
  found.reset(secret_service_search_sync(service.get(), &schema(), attributes.get(),
                                         static_cast<SecretSearchFlags>(flags), nullptr,
                                         error.out()));
  if (error)
    return statusFor(error.get());
  return found.get() ? errSecSuccess : errSecItemNotFound;
}

}  // namespace

KeychainStatus SecretKeychainBackend::itemDelete(const KeychainQuery& query) {
  try {
    ItemList found;
    if (KeychainStatus status = search(query, false, found); status != errSecSuccess)
      return status;
    KeychainStatus status = errSecSuccess;
    for (GList* node = found.get(); node; node = node->next) {
      auto* item = static_cast<SecretItem*>(node->data);
      // A locked item would stay behind: the caller must not believe it gone.
      if (secret_item_get_locked(item)) {
        status = errSecInteractionNotAllowed;
        continue;
      }
      Error error;
      if (!secret_item_delete_sync(item, nullptr, error.out()))
        status = statusFor(error.get());
    }
    return status;
  } catch (...) {
    return errSecNotAvailable;
  }
}

KeychainStatus SecretKeychainBackend::itemAdd(const KeychainQuery& attributes) {
  try {
    AttributesPtr table = attributesFor(attributes);
    if (!table)
      return errSecParam;
    Error error;
    ServicePtr service = connect(error);
    if (!service)
      return statusFor(error.get());
    static const std::vector<std::uint8_t> none;
    const std::vector<std::uint8_t>& data = attributes.valueData ? *attributes.valueData : none;
    // Raw bytes with an explicit length: empty data and NUL bytes are kept as they are.
    ValuePtr value(secret_value_new(data.empty() ? "" : reinterpret_cast<const gchar*>(data.data()),
                                    static_cast<gssize>(data.size()), "application/octet-stream"));
    // Into the default collection, checked first: creating an item in a locked one could prompt.
    CollectionPtr collection(secret_collection_for_alias_sync(
        service.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, error.out()));
    if (!collection)
      return statusFor(error.get());
    if (secret_collection_get_locked(collection.get()))
      return errSecInteractionNotAllowed;
    const std::string label = attributes.service + " " + attributes.account;
    ItemPtr item(secret_item_create_sync(collection.get(), &schema(), table.get(), label.c_str(),
                                         value.get(), SECRET_ITEM_CREATE_REPLACE, nullptr,
                                         error.out()));
    if (!item)
      return statusFor(error.get());
    return errSecSuccess;
  } catch (...) {
    return errSecNotAvailable;
  }
}

KeychainStatus SecretKeychainBackend::itemCopyMatching(
    const KeychainQuery& query, std::optional<std::vector<std::uint8_t>>& result) {
  result.reset();
  try {
    ItemList found;
    if (KeychainStatus status = search(query, query.returnData, found); status != errSecSuccess)
      return status;
    bool sawLocked = false;
    for (GList* node = found.get(); node; node = node->next) {
      auto* item = static_cast<SecretItem*>(node->data);
      if (secret_item_get_locked(item)) {
        sawLocked = true;
        continue;
      }
      if (!query.returnData)
        return errSecSuccess;
      ValuePtr value(secret_item_get_secret(item));
      if (!value)
        continue;
      gsize length = 0;
      const auto* bytes =
          reinterpret_cast<const std::uint8_t*>(secret_value_get(value.get(), &length));
      result.emplace(bytes, bytes + length);
      return errSecSuccess;
    }
    // Matches exist but none could be read: that is a failure, never "not found".
    return sawLocked ? errSecInteractionNotAllowed : errSecNotAvailable;
  } catch (...) {
    result.reset();
    return errSecNotAvailable;
  }
}

}  // namespace murvel::linux_platform
