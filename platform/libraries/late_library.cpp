#include "platform/libraries/late_library.hpp"

#include <dlfcn.h>
#include <fmt/format.h>

namespace ravant {

void* LateLibrary::load() const {
  void* const library = ::dlopen(file_, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) throw LateLibraryError(fmt::format("a library cannot be loaded: {}", ::dlerror()));
  for (const char* name : functions_) {
    if (functionOf(library, name) == nullptr) throw LateLibraryError(fmt::format("{} has no {}", file_, name));
  }
  return library;
}

void* functionOf(void* loadedLibrary, const char* name) { return ::dlsym(loadedLibrary, name); }

}  // namespace ravant
