#include "platform/secret/secret_service_refresh_token_store.h"

#include <fmt/core.h>
#include <libsecret/secret.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/log.h"
#include "base/text.h"
#include "core/account/auth_session_error.h"

namespace trelvis {
namespace {

const LogCategory kLog("keychain");

// How long a call waits, once its limit has cancelled it, for the service to let
// go; after that it stops waiting and leaves the late answer to nobody.
constexpr auto kCancelGrace = std::chrono::seconds(2);

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using GObjectPtr = std::unique_ptr<T, ObjectUnref>;

struct ErrorFree {
  void operator()(GError* error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, ErrorFree>;

struct HashTableUnref {
  void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
using AttributesPtr = std::unique_ptr<GHashTable, HashTableUnref>;

struct ValueUnref {
  void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using SecretValuePtr = std::unique_ptr<SecretValue, ValueUnref>;

// The items of a search, owned.
class ItemList {
 public:
  explicit ItemList(GList* items) : items_(items) {}
  ~ItemList() { g_list_free_full(items_, g_object_unref); }
  ItemList(const ItemList&) = delete;
  ItemList& operator=(const ItemList&) = delete;

  std::vector<SecretItem*> items() const {
    std::vector<SecretItem*> result;
    for (GList* node = items_; node; node = node->next) result.push_back(SECRET_ITEM(node->data));
    return result;
  }

 private:
  GList* items_;
};

// An item is found by its service and account alone, like a generic password, so
// that an item made by another tool with the same attributes is the same token.
const SecretSchema* refreshTokenSchema() {
  static const SecretSchema schema = [] {
    SecretSchema s{};
    s.name = "me.mossgrove.trelvis.RefreshToken";
    s.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
    s.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
    s.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
    return s;
  }();
  return &schema;
}

[[noreturn]] void fail(std::string detail) {
  kLog.warning("{}", detail);
  throw AuthSessionError::keychain(std::move(detail));
}

std::string seconds(Duration limit) {
  return fmt::format("{:g} s", std::chrono::duration<double>(limit).count());
}

// One call to the Secret Service: libsecret's asynchronous operations run on a
// main context private to this call and this thread, which the call iterates until
// each answer arrives. A timer on that context cancels everything at the limit.
class SecretServiceCall {
 public:
  explicit SecretServiceCall(Duration limit)
      : limit_(limit), context_(g_main_context_new()), cancellable_(g_cancellable_new()) {
    g_main_context_push_thread_default(context_);
    limitTimer_ = attachTimer(limit_, &SecretServiceCall::onLimit);
    giveUpTimer_ = attachTimer(limit_ + kCancelGrace, &SecretServiceCall::onGiveUp);
  }

  ~SecretServiceCall() {
    service_.reset();
    for (GSource* timer : {limitTimer_, giveUpTimer_}) {
      g_source_destroy(timer);
      g_source_unref(timer);
    }
    // Lets what the finished operations still queued here run before the context
    // goes; after giving up, an abandoned operation's answer must never be delivered.
    while (!gaveUp_ && g_main_context_iteration(context_, FALSE)) {
    }
    g_main_context_pop_thread_default(context_);
    g_main_context_unref(context_);
    g_object_unref(cancellable_);
  }

  SecretServiceCall(const SecretServiceCall&) = delete;
  SecretServiceCall& operator=(const SecretServiceCall&) = delete;

  // The service, with a session open for moving secrets. Raises when none answers.
  SecretService* service() {
    if (service_) return service_.get();
    auto result = wait([&](GAsyncReadyCallback done, gpointer data) {
      secret_service_open(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION, cancellable_,
                          done, data);
    });
    GError* error = nullptr;
    service_.reset(secret_service_open_finish(result.get(), &error));
    if (!service_) {
      GErrorPtr owned(error);
      failWith("No Secret Service is reachable on the session bus", owned.get());
    }
    return service_.get();
  }

  // Every item with these attributes, locked or not; the secrets of the unlocked
  // ones are loaded when `loadSecrets`. Nothing is unlocked.
  ItemList search(GHashTable* attributes, bool loadSecrets) {
    SecretService* secrets = service();
    int flags = SECRET_SEARCH_ALL | (loadSecrets ? SECRET_SEARCH_LOAD_SECRETS : 0);
    auto result = wait([&](GAsyncReadyCallback done, gpointer data) {
      secret_service_search(secrets, refreshTokenSchema(), attributes,
                            static_cast<SecretSearchFlags>(flags), cancellable_, done, data);
    });
    GError* error = nullptr;
    GList* items = secret_service_search_finish(secrets, result.get(), &error);
    if (error) {
      GErrorPtr owned(error);
      failWith("The Secret Service could not search for the refresh token", owned.get());
    }
    return ItemList(items);
  }

  // The collection behind the "default" alias, or null when there is none.
  GObjectPtr<SecretCollection> defaultCollection() {
    SecretService* secrets = service();
    auto result = wait([&](GAsyncReadyCallback done, gpointer data) {
      secret_collection_for_alias(secrets, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE,
                                  cancellable_, done, data);
    });
    GError* error = nullptr;
    GObjectPtr<SecretCollection> collection(
        secret_collection_for_alias_finish(result.get(), &error));
    if (error) {
      GErrorPtr owned(error);
      failWith("The Secret Service could not find its default keyring", owned.get());
    }
    return collection;
  }

  // Asks the service to unlock `objects`, which may show the desktop's prompt.
  // Returns whether all of them are unlocked afterwards.
  bool unlock(GList* objects, int count) {
    SecretService* secrets = service();
    auto result = wait([&](GAsyncReadyCallback done, gpointer data) {
      secret_service_unlock(secrets, objects, cancellable_, done, data);
    });
    GError* error = nullptr;
    int unlocked = secret_service_unlock_finish(secrets, result.get(), nullptr, &error);
    if (error) {
      GErrorPtr owned(error);
      failWith("The Secret Service could not unlock the keyring", owned.get());
    }
    return unlocked == count;
  }

  void createItem(SecretCollection* collection, GHashTable* attributes, SecretValue* value) {
    auto result = wait([&](GAsyncReadyCallback done, gpointer data) {
      secret_item_create(collection, refreshTokenSchema(), attributes,
                         SecretServiceRefreshTokenStore::kLabel.data(), value,
                         SECRET_ITEM_CREATE_REPLACE, cancellable_, done, data);
    });
    GError* error = nullptr;
    GObjectPtr<SecretItem> item(secret_item_create_finish(result.get(), &error));
    if (!item) {
      GErrorPtr owned(error);
      failWith("The Secret Service could not store the refresh token", owned.get());
    }
  }

  void deleteItem(SecretItem* item) {
    auto result = wait([&](GAsyncReadyCallback done, gpointer data) {
      secret_item_delete(item, cancellable_, done, data);
    });
    GError* error = nullptr;
    if (!secret_item_delete_finish(item, result.get(), &error)) {
      GErrorPtr owned(error);
      failWith("The Secret Service could not delete the refresh token", owned.get());
    }
  }

 private:
  // Starts one operation with the callback and its data, and iterates this call's
  // context until the operation reports back. Raises when the limit passes first.
  template <class Start>
  GObjectPtr<GAsyncResult> wait(Start start) {
    GAsyncResult* result = nullptr;
    start(&SecretServiceCall::onReady, &result);
    while (!result && !gaveUp_) g_main_context_iteration(context_, TRUE);
    if (!result) {
      // The operation still holds `result`'s address, but its answer could only be
      // delivered by iterating this context, which nothing does after giving up.
      fail(timeoutDetail());
    }
    return GObjectPtr<GAsyncResult>(result);
  }

  [[noreturn]] void failWith(std::string_view what, GError* error) {
    if (timedOut_ && error && g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
      fail(timeoutDetail());
    }
    fail(fmt::format("{}: {}", what, error ? error->message : "no reason given"));
  }

  std::string timeoutDetail() const {
    return fmt::format("The Secret Service did not answer within {}.", seconds(limit_));
  }

  GSource* attachTimer(Duration delay, GSourceFunc callback) {
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(delay).count();
    GSource* timer = g_timeout_source_new(static_cast<guint>(std::max<int64_t>(ms, 1)));
    g_source_set_callback(timer, callback, this, nullptr);
    g_source_attach(timer, context_);
    return timer;
  }

  static void onReady(GObject*, GAsyncResult* result, gpointer data) {
    *static_cast<GAsyncResult**>(data) = G_ASYNC_RESULT(g_object_ref(result));
  }

  static gboolean onLimit(gpointer data) {
    auto* call = static_cast<SecretServiceCall*>(data);
    call->timedOut_ = true;
    g_cancellable_cancel(call->cancellable_);
    return G_SOURCE_REMOVE;
  }

  static gboolean onGiveUp(gpointer data) {
    static_cast<SecretServiceCall*>(data)->gaveUp_ = true;
    return G_SOURCE_REMOVE;
  }

  const Duration limit_;
  GMainContext* context_;
  GCancellable* cancellable_;
  GSource* limitTimer_ = nullptr;
  GSource* giveUpTimer_ = nullptr;
  bool timedOut_ = false;
  bool gaveUp_ = false;
  GObjectPtr<SecretService> service_;
};

// The attribute table borrows the two strings, which must outlive it.
AttributesPtr attributesFor(const std::string& service, const std::string& account) {
  AttributesPtr attributes(g_hash_table_new(g_str_hash, g_str_equal));
  g_hash_table_insert(attributes.get(), const_cast<char*>("service"),
                      const_cast<char*>(service.c_str()));
  g_hash_table_insert(attributes.get(), const_cast<char*>("account"),
                      const_cast<char*>(account.c_str()));
  return attributes;
}

constexpr std::string_view kLockedDetail =
    "The keyring that holds the refresh token is locked; unlock it to stay signed in.";

}  // namespace

std::optional<std::string> SecretServiceRefreshTokenStore::readRefreshToken(
    std::string_view service, std::string_view account) {
  const std::string serviceName(service);
  const std::string accountName(account);
  SecretServiceCall call(limits_.read);
  auto attributes = attributesFor(serviceName, accountName);
  ItemList found = call.search(attributes.get(), true);
  bool sawLocked = false;
  for (SecretItem* item : found.items()) {
    if (secret_item_get_locked(item)) {
      sawLocked = true;
      continue;
    }
    SecretValuePtr value(secret_item_get_secret(item));
    if (!value) return std::nullopt;
    gsize length = 0;
    const gchar* bytes = secret_value_get(value.get(), &length);
    std::string token(bytes ? bytes : "", bytes ? length : 0);
    if (!isValidUTF8(token)) {
      kLog.warning("the stored refresh token is not UTF-8 text; it counts as none");
      return std::nullopt;
    }
    return token;
  }
  if (sawLocked) fail(std::string(kLockedDetail));
  // A locked default keyring may hold the token without showing it.
  if (auto collection = call.defaultCollection()) {
    if (secret_collection_get_locked(collection.get())) fail(std::string(kLockedDetail));
  }
  return std::nullopt;
}

void SecretServiceRefreshTokenStore::saveRefreshToken(std::string_view token,
                                                      std::string_view service,
                                                      std::string_view account) {
  const std::string serviceName(service);
  const std::string accountName(account);
  SecretServiceCall call(limits_.write);
  auto collection = call.defaultCollection();
  if (!collection) {
    fail("The Secret Service has no default keyring to keep the refresh token in.");
  }
  if (secret_collection_get_locked(collection.get())) {
    GList objects{collection.get(), nullptr, nullptr};
    if (!call.unlock(&objects, 1)) fail(std::string(kLockedDetail));
  }
  auto attributes = attributesFor(serviceName, accountName);
  SecretValuePtr value(
      secret_value_new(token.data(), static_cast<gssize>(token.size()), "text/plain"));
  call.createItem(collection.get(), attributes.get(), value.get());
}

void SecretServiceRefreshTokenStore::deleteRefreshToken(std::string_view service,
                                                        std::string_view account) {
  const std::string serviceName(service);
  const std::string accountName(account);
  SecretServiceCall call(limits_.write);
  auto attributes = attributesFor(serviceName, accountName);
  ItemList found = call.search(attributes.get(), false);
  auto items = found.items();
  std::vector<GList> locked;
  for (SecretItem* item : items) {
    if (secret_item_get_locked(item)) locked.push_back(GList{item, nullptr, nullptr});
  }
  if (!locked.empty()) {
    for (std::size_t i = 0; i + 1 < locked.size(); ++i) locked[i].next = &locked[i + 1];
    if (!call.unlock(locked.data(), static_cast<int>(locked.size()))) {
      fail(std::string(kLockedDetail));
    }
  }
  for (SecretItem* item : items) call.deleteItem(item);
}

}  // namespace trelvis
