#include "git/unsupported_repository.hpp"

#include <fmt/format.h>

#include <optional>

#include "platform/text/utf8.hpp"

namespace ravant::git {
namespace {

/// What a user can act on better than on the library's words.
std::optional<std::string> knownReason(std::string_view words) {
  if (words.contains("'link'")) {
    return "the repository's index is split; \"git update-index --no-split-index\" makes it readable";
  }
  if (words.contains("'sdir'")) {
    return "the repository's index is sparse; \"git sparse-checkout reapply --no-sparse-index\" makes it readable";
  }
  if (words.contains("calculated checksum does not match")) {
    return "the repository's index has no valid checksum; if git can read it, "
           "\"git -c index.skipHash=false update-index --force-write-index\" gives it one";
  }
  if (words.contains("no longer exists")) {
    return "the repository's index is damaged or may not be read; \"git status\" says more";
  }
  if (words.contains("object not found") || words.contains("successfully peeled")) {
    return fmt::format("git's objects are not all there ({}); in a partial clone \"git diff\" has git fetch them",
                       repairUtf8(std::string(words)));
  }
  return std::nullopt;
}

}  // namespace

std::string reasonFor(std::string_view words) {
  return knownReason(words).value_or(fmt::format("the repository cannot be read: {}", repairUtf8(std::string(words))));
}

std::string reasonFor(std::string_view words, std::string_view path) {
  const std::string repaired = repairUtf8(std::string(words));
  return fmt::format("{}: {}", repairUtf8(std::string(path)), knownReason(words).value_or(repaired));
}

}  // namespace ravant::git
