#include "PlatformSecrets/SecretServiceStore.h"

#include <algorithm>
#include <libsecret/secret.h>
#include <memory>
#include <tuple>
#include <vector>

#include "PlatformGLib/CancelAfter.h"
#include "PlatformSecrets/Base64.h"

namespace nimbe {
namespace {

using Kind = KeyStoreError::Kind;

struct FreeAttributes {
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
using Attributes = std::unique_ptr<GHashTable, FreeAttributes>;

struct FreeValue {
    void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using Value = std::unique_ptr<SecretValue, FreeValue>;

/// An error of the library, with what it means for a key.
class Failure {
public:
    ~Failure() { g_clear_error(&error); }
    Failure() = default;
    Failure(const Failure&) = delete;
    Failure& operator=(const Failure&) = delete;

    GError** out() { return &error; }
    [[nodiscard]] bool isSet() const { return error != nullptr; }

    [[nodiscard]] tl::unexpected<KeyStoreError> as(const char* step) const {
        std::string detail = step;
        // Domain and code only: messages may hold paths and names.
        if (error)
            detail += std::string(": ") + g_quark_to_string(error->domain) + "/" +
                      std::to_string(error->code);
        return failure(KeyStoreError{kind(), detail});
    }

private:
    GError* error = nullptr;

    [[nodiscard]] Kind kind() const {
        if (!error) return Kind::failed;
        if (g_error_matches(error, SECRET_ERROR, SECRET_ERROR_IS_LOCKED)) return Kind::locked;
        if (error->domain == G_IO_ERROR && error->code != G_IO_ERROR_DBUS_ERROR)
            return Kind::unreachable; // no bus, or no answer in time
        return error->domain == G_DBUS_ERROR && isAbsence(error->code) ? Kind::unreachable
                                                                       : Kind::failed;
    }

    /// Nobody there, as against a service that answered with an error.
    static bool isAbsence(int code) {
        switch (code) {
        case G_DBUS_ERROR_SERVICE_UNKNOWN:
        case G_DBUS_ERROR_NAME_HAS_NO_OWNER:
        case G_DBUS_ERROR_NO_REPLY:
        case G_DBUS_ERROR_ACCESS_DENIED: // by the bus itself, in a sandbox
        case G_DBUS_ERROR_NO_SERVER:
        case G_DBUS_ERROR_TIMEOUT:
        case G_DBUS_ERROR_DISCONNECTED:
        case G_DBUS_ERROR_TIMED_OUT:
        case G_DBUS_ERROR_SPAWN_EXEC_FAILED:
        case G_DBUS_ERROR_SPAWN_CHILD_EXITED:
        case G_DBUS_ERROR_SPAWN_CHILD_SIGNALED:
        case G_DBUS_ERROR_SPAWN_FAILED:
        case G_DBUS_ERROR_SPAWN_SERVICE_NOT_FOUND: return true;
        default: return false;
        }
    }
};

/// The default flags would add the schema's name to the attributes, and a keyring
/// that is locked then finds nothing and reports no error.
const SecretSchema& schema() {
    static const SecretSchema value = [] {
        SecretSchema made{};
        made.name = "com.nimbehq.Secret";
        made.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
        made.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return made;
    }();
    return value;
}

Attributes attributesOf(const SecretStore::Item& item) {
    return Attributes(secret_attributes_build(
        &schema(), "service", item.service.c_str(), "account", item.account.c_str(), nullptr));
}

/// A connection of its own for each operation: a keyring that was started again
/// since is met anew.
Result<GObjectPointer<SecretService>, KeyStoreError> connect(GCancellable* deadline) {
    Failure bus;
    const GObjectPointer<GDBusConnection> connection(
        g_bus_get_sync(G_BUS_TYPE_SESSION, deadline, bus.out()));
    if (!connection) return bus.as("session bus");
    // Otherwise the library ends the process when the bus goes away.
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);

    Failure failed;
    GObjectPointer<SecretService> service(secret_service_open_sync(
        SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION, deadline, failed.out()));
    if (!service) return failed.as("opening");
    return service;
}

using Items = std::vector<GObjectPointer<SecretItem>>;

/// All items with the attributes, oldest first, then by path, so that everyone
/// who looks takes the same one. Secrets are loaded where they are unlocked.
Result<Items, KeyStoreError> search(
    SecretService* service, const SecretStore::Item& item, GCancellable* deadline) {
    Failure failed;
    const auto attributes = attributesOf(item);
    const auto flags =
        static_cast<SecretSearchFlags>(SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS);
    GList* list = secret_service_search_sync(
        service, &schema(), attributes.get(), flags, deadline, failed.out());
    Items items;
    for (GList* at = list; at; at = at->next) items.emplace_back(SECRET_ITEM(at->data));
    g_list_free(list);
    if (failed.isSet()) return failed.as("searching");

    const auto order = [](const GObjectPointer<SecretItem>& found) {
        const std::string_view path(g_dbus_proxy_get_object_path(G_DBUS_PROXY(found.get())));
        return std::make_tuple(secret_item_get_created(found.get()), path.size(), path); // 9, 10
    };
    std::sort(items.begin(), items.end(),
        [&](const auto& left, const auto& right) { return order(left) < order(right); });
    return items;
}

Result<std::optional<Bytes>, KeyStoreError> secretOf(SecretItem* item) {
    const Value value(secret_item_get_secret(item));
    if (!value) return failure(KeyStoreError{Kind::failed, "an item without a secret"});
    gsize length = 0;
    const char* text = secret_value_get(value.get(), &length);
    auto bytes = base64Decoded({text, length});
    if (!bytes || bytes->empty())
        return failure(KeyStoreError{Kind::damaged, "a secret that is not base64"});
    return bytes;
}

/// Null when there is none.
Result<GObjectPointer<SecretCollection>, KeyStoreError> defaultKeyring(
    SecretService* service, GCancellable* deadline) {
    Failure failed;
    GObjectPointer<SecretCollection> collection(secret_collection_for_alias_sync(
        service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, deadline, failed.out()));
    if (!collection && failed.isSet()) return failed.as("default keyring");
    if (collection && secret_collection_get_locked(collection.get()))
        return failure(KeyStoreError{Kind::locked, "the default keyring"});
    return collection;
}

} // namespace

Result<std::optional<Bytes>, KeyStoreError> SecretServiceStore::read(const Item& item) {
    const CancelAfter deadline(patience);
    const auto service = connect(deadline);
    if (!service) return failure(service.error());
    const auto items = search(service->get(), item, deadline);
    if (!items) return failure(items.error());
    if (items->empty()) {
        // Not every service finds items in a keyring that is locked.
        const auto keyring = defaultKeyring(service->get(), deadline);
        if (!keyring) return failure(keyring.error());
        return std::optional<Bytes>();
    }
    for (const auto& found : *items)
        if (secret_item_get_locked(found.get()))
            return failure(KeyStoreError{Kind::locked, "a locked item"});
    return secretOf(items->front().get());
}

Result<SecretStore::Added, KeyStoreError> SecretServiceStore::add(
    const Item& item, const Bytes& secret) {
    const CancelAfter deadline(patience);
    const auto service = connect(deadline);
    if (!service) return failure(service.error());
    // The service replaces or doubles an item with the same attributes and has no
    // word for a duplicate.
    const auto items = search(service->get(), item, deadline);
    if (!items) return failure(items.error());
    if (!items->empty()) return Added::duplicate;

    const auto keyring = defaultKeyring(service->get(), deadline);
    if (!keyring) return failure(keyring.error());
    // A service that would first have to ask for a new keyring keeps nothing now.
    if (!*keyring) return failure(KeyStoreError{Kind::unreachable, "no default keyring"});

    const Value value(secret_value_new(base64Encoded(secret).c_str(), -1, "text/plain"));
    Failure failed;
    const auto attributes = attributesOf(item);
    const GObjectPointer<SecretItem> made(secret_item_create_sync(keyring->get(), &schema(),
        attributes.get(), "Nimbe", value.get(), SECRET_ITEM_CREATE_NONE, deadline, failed.out()));
    if (!made) return failed.as("adding");
    return Added::stored;
}

} // namespace nimbe
