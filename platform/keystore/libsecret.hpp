#pragma once

#include <libsecret/secret.h>

#include "platform/libraries/late_library.hpp"

// libsecret, and what is used of the libraries below it. It is loaded late.
namespace ravant {

// NOLINTBEGIN(readability-identifier-naming): the library's names
// clang-format off: one a line
#define RAVANT_LIBSECRET_FUNCTIONS(each)                \
  each(kLibsecret, g_bus_get_sync)                      \
  each(kLibsecret, g_cancellable_cancel)                \
  each(kLibsecret, g_cancellable_new)                   \
  each(kLibsecret, g_dbus_connection_set_exit_on_close) \
  each(kLibsecret, g_dbus_error_quark)                  \
  each(kLibsecret, g_error_free)                        \
  each(kLibsecret, g_error_matches)                     \
  each(kLibsecret, g_io_error_quark)                    \
  each(kLibsecret, g_log_default_handler)               \
  each(kLibsecret, g_log_set_handler)                   \
  each(kLibsecret, g_object_unref)                      \
  each(kLibsecret, g_spawn_error_quark)                 \
  each(kLibsecret, secret_collection_for_alias_sync)    \
  each(kLibsecret, secret_collection_get_locked)        \
  each(kLibsecret, secret_error_get_quark)              \
  each(kLibsecret, secret_password_clear_sync)          \
  each(kLibsecret, secret_password_free)                \
  each(kLibsecret, secret_password_lookup_sync)         \
  each(kLibsecret, secret_password_store_sync)          \
  each(kLibsecret, secret_service_get_sync)             \
  each(kLibsecret, secret_service_unlock_sync)
// clang-format on

#ifdef __APPLE__
RAVANT_LATE_LIBRARY(kLibsecret, "libsecret-1.0.dylib", RAVANT_LIBSECRET_FUNCTIONS);
#else
RAVANT_LATE_LIBRARY(kLibsecret, "libsecret-1.so.0", RAVANT_LIBSECRET_FUNCTIONS);
#endif
// NOLINTEND(readability-identifier-naming)

}  // namespace ravant
