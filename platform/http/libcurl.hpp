#pragma once

#include <curl/curl.h>

#include "platform/libraries/late_library.hpp"

// libcurl, as far as it is used here. With the thirty libraries that it brings along it is loaded late.
namespace ravant {

// NOLINTBEGIN(readability-identifier-naming): the library's names
// clang-format off: one a line
#define RAVANT_LIBCURL_FUNCTIONS(each)     \
  each(kLibcurl, curl_easy_cleanup)        \
  each(kLibcurl, curl_easy_getinfo)        \
  each(kLibcurl, curl_easy_init)           \
  each(kLibcurl, curl_easy_pause)          \
  each(kLibcurl, curl_easy_setopt)         \
  each(kLibcurl, curl_easy_strerror)       \
  each(kLibcurl, curl_free)                \
  each(kLibcurl, curl_getdate)             \
  each(kLibcurl, curl_global_init)         \
  each(kLibcurl, curl_multi_add_handle)    \
  each(kLibcurl, curl_multi_cleanup)       \
  each(kLibcurl, curl_multi_info_read)     \
  each(kLibcurl, curl_multi_init)          \
  each(kLibcurl, curl_multi_perform)       \
  each(kLibcurl, curl_multi_poll)          \
  each(kLibcurl, curl_multi_remove_handle) \
  each(kLibcurl, curl_multi_strerror)      \
  each(kLibcurl, curl_multi_wakeup)        \
  each(kLibcurl, curl_slist_append)        \
  each(kLibcurl, curl_slist_free_all)      \
  each(kLibcurl, curl_url)                 \
  each(kLibcurl, curl_url_cleanup)         \
  each(kLibcurl, curl_url_get)             \
  each(kLibcurl, curl_url_set)
// clang-format on

#ifdef __APPLE__
RAVANT_LATE_LIBRARY(kLibcurl, "libcurl.4.dylib", RAVANT_LIBCURL_FUNCTIONS);
#else
RAVANT_LATE_LIBRARY(kLibcurl, "libcurl.so.4", RAVANT_LIBCURL_FUNCTIONS);
#endif
// NOLINTEND(readability-identifier-naming)

}  // namespace ravant
