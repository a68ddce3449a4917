#include "git/head_name.hpp"

#include <fmt/format.h>

#include "git/repository_top.hpp"
#include "git/unsupported_repository.hpp"
#include "platform/files/private_file.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr std::size_t kShownDigits = 7;      // of a commit's id
constexpr std::size_t kLeastDigits = 40;     // of a whole one
constexpr std::size_t kLongestHead = 4'096;  // bytes
constexpr std::string_view kReference = "ref:";
constexpr std::string_view kBranches = "refs/heads/";
constexpr std::string_view kElsewhere = "refs/heads/.invalid";  // where references are in no files

/// A small file's text without the blanks around it.
std::string shortText(const std::filesystem::path& file) {
  if (std::filesystem::file_size(file) > kLongestHead) {
    throw UnsupportedRepositoryError(fmt::format("{} is no file of git's", repairUtf8(file.string())));
  }
  return std::string(trimmed(readFile(file).value_or("")));
}

std::filesystem::path repositoryOf(const std::filesystem::path& top) {
  constexpr std::string_view kBeginning = "gitdir:";
  const std::filesystem::path marker = top / ".git";
  if (std::filesystem::is_directory(marker)) return marker;
  return top / trimmed(std::string_view(shortText(marker)).substr(kBeginning.size()));
}

std::string referenceIn(const std::filesystem::path& head) {
  if (std::filesystem::is_symlink(head)) return std::filesystem::read_symlink(head).string();
  const std::string text = shortText(head);
  return text.starts_with(kReference) ? std::string(trimmed(std::string_view(text).substr(kReference.size()))) : text;
}

GitHeadName read(const std::filesystem::path& folder) {
  const auto top = repositoryTop(std::filesystem::canonical(folder));
  if (!top) throw UnsupportedRepositoryError(whyNoRepository(folder));
  GitHeadName head{.file = repositoryOf(*top) / "HEAD"};
  const std::string reference = referenceIn(head.file);
  std::string_view told = reference;
  if (told == kElsewhere) {
    throw UnsupportedRepositoryError("the repository keeps its references in no files; use git itself");
  }
  head.isBranch = told.starts_with("refs/");
  const bool isId = told.size() >= kLeastDigits && told.find_first_not_of("0123456789abcdef") == std::string_view::npos;
  if (!head.isBranch && !isId) {
    throw UnsupportedRepositoryError(fmt::format("{} names no branch and no commit", repairUtf8(head.file.string())));
  }
  if (isId) told = told.substr(0, kShownDigits);
  if (told.starts_with(kBranches)) told.remove_prefix(kBranches.size());
  head.name = repairUtf8(std::string(told));
  return head;
}

}  // namespace

GitReading<GitHeadName> readHeadName(const std::filesystem::path& folder) try {
  std::error_code missing;
  if (!std::filesystem::exists(folder, missing)) return {.unsupportedReason = whyNoRepository(folder)};
  return {.value = read(folder)};
} catch (const UnsupportedRepositoryError& error) {
  return {.unsupportedReason = error.what()};
} catch (const std::filesystem::filesystem_error& error) {
  return {.unsupportedReason = fmt::format("{}: {}", repairUtf8(error.path1().string()), error.code().message())};
}

}  // namespace ravant
