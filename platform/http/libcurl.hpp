#pragma once

#include <curl/curl.h>

namespace ravant {

/// The functions of libcurl that are used here. The library is loaded when it is first needed: with the thirty
/// libraries that it brings along, it would cost every start of the program 4 ms.
struct Libcurl {
  decltype(&::curl_easy_init) easyInit;
  decltype(&::curl_easy_cleanup) easyCleanup;
  decltype(&::curl_easy_setopt) easySetopt;
  decltype(&::curl_easy_getinfo) easyGetinfo;
  decltype(&::curl_easy_pause) easyPause;
  decltype(&::curl_easy_strerror) easyStrerror;
  decltype(&::curl_global_init) globalInit;
  decltype(&::curl_multi_init) multiInit;
  decltype(&::curl_multi_cleanup) multiCleanup;
  decltype(&::curl_multi_add_handle) multiAddHandle;
  decltype(&::curl_multi_remove_handle) multiRemoveHandle;
  decltype(&::curl_multi_perform) multiPerform;
  decltype(&::curl_multi_poll) multiPoll;
  decltype(&::curl_multi_wakeup) multiWakeup;
  decltype(&::curl_multi_info_read) multiInfoRead;
  decltype(&::curl_multi_strerror) multiStrerror;
  decltype(&::curl_slist_append) slistAppend;
  decltype(&::curl_slist_free_all) slistFreeAll;
  decltype(&::curl_url) url;
  decltype(&::curl_url_cleanup) urlCleanup;
  decltype(&::curl_url_get) urlGet;
  decltype(&::curl_url_set) urlSet;
  decltype(&::curl_free) free;
  decltype(&::curl_getdate) getDate;
};

/// Throws std::runtime_error where the library is not there.
const Libcurl& libcurl();

}  // namespace ravant
