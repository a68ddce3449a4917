#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace ravant {

/// A repository that cannot be read; `what()` says why and what can be done.
class UnsupportedRepositoryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

namespace git {

/// What libgit2's words for a failure mean to a user. Valid UTF-8.
std::string reasonFor(std::string_view words);
/// The same of one path.
std::string reasonFor(std::string_view words, std::string_view path);

}  // namespace git
}  // namespace ravant
