#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "git/libgit2.hpp"

namespace ravant::git {

/// How the whole names of local branches begin.
inline constexpr std::string_view kLocalBranches = "refs/heads/";

/// Readies the library, once in the process: to be called before anything else of it.
void initializeLibgit2();

/// Whether an entry of this mode is a file, and no link, folder or submodule.
constexpr bool isFile(std::uint32_t mode) { return mode == GIT_FILEMODE_BLOB || mode == GIT_FILEMODE_BLOB_EXECUTABLE; }

template <auto free>
struct Free {
  template <class Handle>
  void operator()(Handle* handle) const {
    free(handle);
  }
};

using Repository = std::unique_ptr<git_repository, Free<git_repository_free>>;
using Object = std::unique_ptr<git_object, Free<git_object_free>>;
using Index = std::unique_ptr<git_index, Free<git_index_free>>;
using Reference = std::unique_ptr<git_reference, Free<git_reference_free>>;
using ReferenceIterator = std::unique_ptr<git_reference_iterator, Free<git_reference_iterator_free>>;
using BranchIterator = std::unique_ptr<git_branch_iterator, Free<git_branch_iterator_free>>;
using Config = std::unique_ptr<git_config, Free<git_config_free>>;
using ConfigIterator = std::unique_ptr<git_config_iterator, Free<git_config_iterator_free>>;
using Refspec = std::unique_ptr<git_refspec, Free<git_refspec_free>>;
using Diff = std::unique_ptr<git_diff, Free<git_diff_free>>;
using Patch = std::unique_ptr<git_patch, Free<git_patch_free>>;
using FilterList = std::unique_ptr<git_filter_list, Free<git_filter_list_free>>;

/// A call of the library that failed; `what()` has its words.
class LibraryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline void check(int code) {
  if (code >= 0) return;
  const git_error* error = git_error_last();
  throw LibraryError(error != nullptr && error->message != nullptr ? error->message : "unknown error");
}

/// Calls `make` with the address of a handle and owns what it puts there. Throws `LibraryError`.
template <class Owner, class Make>
Owner own(Make make) {
  typename Owner::pointer handle = nullptr;
  check(make(&handle));
  return Owner(handle);
}

/// The same; null where the library fails.
template <class Owner, class Make>
Owner ownIfAny(Make make) {
  typename Owner::pointer handle = nullptr;
  return make(&handle) == 0 ? Owner(handle) : Owner();
}

/// A text that `fill` puts into a buffer of the library's; nothing where it fails.
template <class Fill>
std::optional<std::string> textIfAny(Fill fill) {
  git_buf buffer = GIT_BUF_INIT;
  std::optional<std::string> text;
  if (fill(&buffer) == 0) text.emplace(buffer.ptr != nullptr ? buffer.ptr : "", buffer.size);
  git_buf_dispose(&buffer);
  return text;
}

/// Calls `visit` with the key and the value of each entry that has one, in the order in which they stand. Throws
/// `LibraryError`.
template <class Visit>
void forEachEntry(git_config* config, Visit visit) {
  const auto iterator =
      own<ConfigIterator>([&](git_config_iterator** made) { return git_config_iterator_new(made, config); });
  git_config_entry* entry = nullptr;
  while (git_config_next(&entry, iterator.get()) == 0) {
    if (entry->value != nullptr) visit(std::string_view(entry->name), entry->value);
  }
}

/// What is checked out; null where it names no branch that there is, and no commit.
inline Reference headOf(git_repository* repository) {
  return ownIfAny<Reference>([&](git_reference** found) { return git_repository_head(found, repository); });
}

/// The commit that a reference leads to; null where there is none.
inline Object tipOf(const git_reference* reference) {
  if (reference == nullptr) return nullptr;
  return ownIfAny<Object>([&](git_object** found) { return git_reference_peel(found, reference, GIT_OBJECT_COMMIT); });
}

}  // namespace ravant::git
