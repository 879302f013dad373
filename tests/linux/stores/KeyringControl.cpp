#include "KeyringControl.h"

#include <libsecret/secret.h>

#include <memory>

namespace murvel::linux_platform::testing {
namespace {

// The password with which tests/linux/session.sh creates the session's login keyring.
constexpr char kKeyringPassword[] = "murvel-test";

struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using Ref = std::unique_ptr<T, Unref>;

struct ErrorGuard {
  GError* error = nullptr;
  ~ErrorGuard() { g_clear_error(&error); }
};

GHashTable* pairTable(const std::string& service, const std::string& account) {
  GHashTable* table = g_hash_table_new(g_str_hash, g_str_equal);
  g_hash_table_insert(table, const_cast<char*>("service"), const_cast<char*>(service.c_str()));
  g_hash_table_insert(table, const_cast<char*>("account"), const_cast<char*>(account.c_str()));
  return table;
}

Ref<SecretCollection> defaultCollection(SecretService* service) {
  ErrorGuard guard;
  return Ref<SecretCollection>(secret_collection_for_alias_sync(
      service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, &guard.error));
}

}  // namespace

int countItems(const std::string& service, const std::string& account) {
  ErrorGuard guard;
  Ref<SecretService> connection(
      secret_service_get_sync(SECRET_SERVICE_NONE, nullptr, &guard.error));
  if (!connection)
    return -1;
  GHashTable* table = pairTable(service, account);
  GList* items = secret_service_search_sync(connection.get(), nullptr, table, SECRET_SEARCH_ALL,
                                            nullptr, &guard.error);
  g_hash_table_unref(table);
  const int count = guard.error ? -1 : static_cast<int>(g_list_length(items));
  g_list_free_full(items, g_object_unref);
  return count;
}

bool storeForeignItem(const std::string& service, const std::string& account,
                      const std::string& secret) {
  static const SecretSchema other = [] {
    SecretSchema s{};
    s.name = "org.example.OtherTool";
    s.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
    s.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
    return s;
  }();
  ErrorGuard guard;
  GHashTable* table = pairTable(service, account);
  const gboolean stored =
      secret_password_storev_sync(&other, table, SECRET_COLLECTION_DEFAULT, "other tool",
                                  secret.c_str(), nullptr, &guard.error);
  g_hash_table_unref(table);
  return stored;
}

bool lockDefaultCollection() {
  ErrorGuard guard;
  Ref<SecretService> connection(
      secret_service_get_sync(SECRET_SERVICE_NONE, nullptr, &guard.error));
  if (!connection)
    return false;
  Ref<SecretCollection> collection = defaultCollection(connection.get());
  if (!collection)
    return false;
  GList* objects = g_list_append(nullptr, collection.get());
  const gint locked =
      secret_service_lock_sync(connection.get(), objects, nullptr, nullptr, &guard.error);
  g_list_free(objects);
  return locked == 1;
}

// gnome-keyring's own unlock call, which takes the password from the caller instead of asking
// the person; the password travels in a "plain" session of this connection.
bool unlockDefaultCollection() {
  ErrorGuard guard;
  Ref<SecretService> connection(
      secret_service_get_sync(SECRET_SERVICE_NONE, nullptr, &guard.error));
  if (!connection)
    return false;
  Ref<SecretCollection> collection = defaultCollection(connection.get());
  if (!collection)
    return false;
  GDBusConnection* bus = g_dbus_proxy_get_connection(G_DBUS_PROXY(connection.get()));
  GVariant* opened = g_dbus_connection_call_sync(
      bus, "org.freedesktop.secrets", "/org/freedesktop/secrets", "org.freedesktop.Secret.Service",
      "OpenSession", g_variant_new("(sv)", "plain", g_variant_new_string("")),
      G_VARIANT_TYPE("(vo)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &guard.error);
  if (!opened)
    return false;
  GVariant* output = nullptr;
  const char* session = nullptr;
  g_variant_get(opened, "(v&o)", &output, &session);
  GVariant* secret =
      g_variant_new("(o@ay@ays)", session, g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, "", 0, 1),
                    g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, kKeyringPassword,
                                              sizeof kKeyringPassword - 1, 1),
                    "text/plain");
  GVariant* unlocked = g_dbus_connection_call_sync(
      bus, "org.freedesktop.secrets", "/org/freedesktop/secrets",
      "org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface", "UnlockWithMasterPassword",
      g_variant_new("(o@(oayays))", g_dbus_proxy_get_object_path(G_DBUS_PROXY(collection.get())),
                    secret),
      nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &guard.error);
  g_variant_unref(output);
  g_variant_unref(opened);
  if (!unlocked)
    return false;
  g_variant_unref(unlocked);
  return true;
}

}  // namespace murvel::linux_platform::testing
