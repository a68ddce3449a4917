#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <stdexcept>

namespace ravant {

/// A library, or a function of one, that is not there.
class LateLibraryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A shared library that is loaded when one of its functions is first needed, so that a start that needs none of them
/// does not wait for it and for all that it brings along. It stays loaded.
class LateLibrary {
 public:
  /// `file` is what the system's loader finds it by; `functions`, which outlive this, are all that are used of it or of
  /// a library that it is linked to.
  constexpr LateLibrary(const char* file, std::span<const char* const> functions)
      : file_(file), functions_(functions) {}

  /// Returns the loader's handle of it. Throws `LateLibraryError` where the library or any of the functions is missing:
  /// whoever got past the first call of one gets past all others.
  void* load() const;

 private:
  const char* file_;
  std::span<const char* const> functions_;
};

/// Null where there is none.
void* functionOf(void* loadedLibrary, const char* name);

template <std::size_t size>
struct LateName {
  // NOLINTNEXTLINE(google-explicit-constructor): made of a literal in a list of template arguments
  consteval LateName(const char (&literal)[size]) {
    for (std::size_t i = 0; i < size; ++i) text[i] = literal[i];
  }
  char text[size];
};

/// Loaded by the first call, from any thread. Throws `LateLibraryError`, and tries again the next time.
template <const LateLibrary& library>
void* loaded() {
  static void* const handle = library.load();
  return handle;
}

/// A function of a late library: called like the function itself, and given where a pointer to it is wanted.
template <const LateLibrary& library, LateName name, class Function>
struct LateFunction {
  /// Throws `LateLibraryError`.
  operator Function*() const {
    static auto* const address = reinterpret_cast<Function*>(functionOf(loaded<library>(), name.text));
    return address;
  }
};

}  // namespace ravant

/// Defines a library of that file's name and its functions: `FUNCTIONS(each)` stands for `each(library, function)` of
/// every one. In the surrounding namespace their names hide those of the library's header, which have no definition.
#define RAVANT_LATE_LIBRARY(library, file, FUNCTIONS)                                                            \
  inline constexpr auto library##Functions = std::to_array<const char*>({FUNCTIONS(RAVANT_LATE_FUNCTION_NAME)}); \
  inline constexpr ::ravant::LateLibrary library(file, library##Functions);                                      \
  FUNCTIONS(RAVANT_LATE_FUNCTION)                                                                                \
  static_assert(true)
#define RAVANT_LATE_FUNCTION_NAME(library, function) #function,
// NOLINTBEGIN(bugprone-macro-parentheses): a name that is declared
#define RAVANT_LATE_FUNCTION(library, function) \
  inline constexpr ::ravant::LateFunction<library, #function, decltype(::function)> function{};
// NOLINTEND(bugprone-macro-parentheses)
