#include "platform/http/libcurl.hpp"

#include <dlfcn.h>
#include <fmt/format.h>

#include <stdexcept>

namespace ravant {
namespace {

#ifdef __APPLE__
constexpr const char* kLibrary = "libcurl.4.dylib";
#else
constexpr const char* kLibrary = "libcurl.so.4";
#endif

Libcurl load() {
  void* const library = ::dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) throw std::runtime_error(fmt::format("libcurl cannot be loaded: {}", ::dlerror()));
  Libcurl functions{};
  const auto find = [&]<class Function>(Function& function, const char* name) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    if (function == nullptr) throw std::runtime_error(fmt::format("{} has no {}", kLibrary, name));
  };
  find(functions.easyInit, "curl_easy_init");
  find(functions.easyCleanup, "curl_easy_cleanup");
  find(functions.easySetopt, "curl_easy_setopt");
  find(functions.easyGetinfo, "curl_easy_getinfo");
  find(functions.easyPause, "curl_easy_pause");
  find(functions.easyStrerror, "curl_easy_strerror");
  find(functions.globalInit, "curl_global_init");
  find(functions.multiInit, "curl_multi_init");
  find(functions.multiCleanup, "curl_multi_cleanup");
  find(functions.multiAddHandle, "curl_multi_add_handle");
  find(functions.multiRemoveHandle, "curl_multi_remove_handle");
  find(functions.multiPerform, "curl_multi_perform");
  find(functions.multiPoll, "curl_multi_poll");
  find(functions.multiWakeup, "curl_multi_wakeup");
  find(functions.multiInfoRead, "curl_multi_info_read");
  find(functions.multiStrerror, "curl_multi_strerror");
  find(functions.slistAppend, "curl_slist_append");
  find(functions.slistFreeAll, "curl_slist_free_all");
  find(functions.url, "curl_url");
  find(functions.urlCleanup, "curl_url_cleanup");
  find(functions.urlGet, "curl_url_get");
  find(functions.urlSet, "curl_url_set");
  find(functions.free, "curl_free");
  find(functions.getDate, "curl_getdate");
  return functions;
}

}  // namespace

const Libcurl& libcurl() {
  static const Libcurl functions = load();
  return functions;
}

}  // namespace ravant
