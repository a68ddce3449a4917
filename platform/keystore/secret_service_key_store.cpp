#include "platform/keystore/secret_service_key_store.hpp"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/keystore/libsecret.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.platform", "SecretServiceKeyStore");

const SecretSchema kSchema = {"com.ravant.keys",
                              SECRET_SCHEMA_NONE,
                              {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                               {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                               {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                              0,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr};

struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct FreeSecret {
  void operator()(char* secret) const { secret_password_free(secret); }
};
struct FreeError {
  void operator()(GError* error) const { g_error_free(error); }
};

/// Where the library is missing, so is the service.
std::unique_ptr<GCancellable, Unref> makeCancellable() {
  try {
    return std::unique_ptr<GCancellable, Unref>(g_cancellable_new());
  } catch (const LateLibraryError& error) {
    throw KeyStoreError(KeyStoreError::Case::unavailable, error.what());
  }
}

/// Ends a call of the library that takes too long, or is no longer wanted.
class Limit {
 public:
  explicit Limit(std::chrono::milliseconds limit, std::stop_token stop = {})
      : cancellable_(makeCancellable()),
        watch_([this, limit] {
          std::unique_lock lock(mutex_);
          if (!changed_.wait_for(lock, limit, [this] { return isOver_; })) g_cancellable_cancel(cancellable_.get());
        }),
        onStop_(std::move(stop), [this] { g_cancellable_cancel(cancellable_.get()); }) {}

  ~Limit() {
    {
      const std::lock_guard lock(mutex_);
      isOver_ = true;
    }
    changed_.notify_one();
    watch_.join();
  }
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;

  GCancellable* cancellable() const { return cancellable_.get(); }

 private:
  std::unique_ptr<GCancellable, Unref> cancellable_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isOver_ = false;
  std::thread watch_;
  std::stop_callback<std::function<void()>> onStop_;
};

void throwIfFailed(GError* raised) {
  const std::unique_ptr<GError, FreeError> error(raised);
  if (!error) return;
  if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
    throw KeyStoreError(KeyStoreError::Case::locked, "the key store did not answer in time");
  }
  if (g_error_matches(error.get(), SECRET_ERROR, SECRET_ERROR_IS_LOCKED)) {
    throw KeyStoreError(KeyStoreError::Case::locked, error->message);
  }
  const bool isSilent = g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ||
                        g_error_matches(error.get(), G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY);
  const bool isAbsent =
      !isSilent && (error->domain == G_IO_ERROR || error->domain == G_DBUS_ERROR || error->domain == G_SPAWN_ERROR);
  if (!isAbsent) throw KeyStoreError(KeyStoreError::Case::failed, error->message);
  kLog.info("no key store: {}", error->message);
  throw KeyStoreError(KeyStoreError::Case::unavailable, "no service for keys (Secret Service) runs in this session");
}

/// The connection that libsecret shares, kept from ending the program when the bus does: by GLib's default it would.
/// Throws where there is no bus.
std::unique_ptr<GDBusConnection, Unref> harmlessBus(GCancellable* cancellable) {
  GError* error = nullptr;
  std::unique_ptr<GDBusConnection, Unref> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, &error));
  throwIfFailed(error);
  g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
  return bus;
}

/// Where no service has ever been, libsecret says in a program with a main loop of GLib that it has lost one.
void keepQuietAboutLoss() {
  static const guint handler = g_log_set_handler(
      "libsecret", G_LOG_LEVEL_WARNING,
      [](const gchar* domain, GLogLevelFlags level, const gchar* words, gpointer data) {
        if (!std::string_view(words).contains("out of sync")) g_log_default_handler(domain, level, words, data);
      },
      nullptr);
  static_cast<void>(handler);
}

/// Has the user open the default collection where it is locked. What is in a locked one may be hidden: it would look as
/// if it were not there.
void unlock(GCancellable* cancellable) {
  keepQuietAboutLoss();
  GError* error = nullptr;
  const std::unique_ptr<SecretService, Unref> service(
      secret_service_get_sync(SECRET_SERVICE_NONE, cancellable, &error));
  throwIfFailed(error);
  // None, or a name that leads to none: nobody has made it yet.
  const std::unique_ptr<SecretCollection, Unref> collection(secret_collection_for_alias_sync(
      service.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, cancellable, nullptr));
  if (!collection || secret_collection_get_locked(collection.get()) != TRUE) return;
  GList alone{.data = collection.get(), .next = nullptr, .prev = nullptr};
  const int count = secret_service_unlock_sync(service.get(), &alone, cancellable, nullptr, &error);
  throwIfFailed(error);
  if (count == 0) throw KeyStoreError(KeyStoreError::Case::locked, "the key store is locked");
}

}  // namespace

std::optional<std::string> SecretServiceKeyStore::read(const KeyName& name, std::stop_token stop) {
  const Limit limit(limit_, std::move(stop));
  const auto bus = harmlessBus(limit.cancellable());
  unlock(limit.cancellable());
  GError* error = nullptr;
  const std::unique_ptr<char, FreeSecret> secret(secret_password_lookup_sync(&kSchema, limit.cancellable(), &error,
                                                                             "service", name.service.c_str(), "account",
                                                                             name.account.c_str(), nullptr));
  throwIfFailed(error);
  return secret ? std::optional<std::string>(secret.get()) : std::nullopt;
}

void SecretServiceKeyStore::store(const KeyName& name, const std::string& secret, const std::string& label) {
  const Limit limit(limit_);
  const auto bus = harmlessBus(limit.cancellable());
  GError* error = nullptr;
  secret_password_store_sync(&kSchema, SECRET_COLLECTION_DEFAULT, label.c_str(), secret.c_str(), limit.cancellable(),
                             &error, "service", name.service.c_str(), "account", name.account.c_str(), nullptr);
  throwIfFailed(error);
}

bool SecretServiceKeyStore::remove(const KeyName& name) {
  const Limit limit(limit_);
  const auto bus = harmlessBus(limit.cancellable());
  unlock(limit.cancellable());
  GError* error = nullptr;
  const bool isRemoved =
      secret_password_clear_sync(&kSchema, limit.cancellable(), &error, "service", name.service.c_str(), "account",
                                 name.account.c_str(), nullptr) == TRUE;
  throwIfFailed(error);
  return isRemoved;
}

}  // namespace ravant
