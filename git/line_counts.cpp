#include "git/line_counts.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "git/diffs.hpp"
#include "platform/files/private_file.hpp"

namespace ravant::git {
namespace {

LineCounts countsOf(git_patch* patch) {
  if (patch == nullptr) return {};
  std::size_t insertions = 0;
  std::size_t deletions = 0;
  check(git_patch_line_stats(nullptr, &insertions, &deletions, patch));
  return {.isBinary = (git_patch_get_delta(patch)->flags & GIT_DIFF_FLAG_BINARY) != 0,
          .insertions = static_cast<std::int64_t>(insertions),
          .deletions = static_cast<std::int64_t>(deletions)};
}

bool isFile(const git_diff_file& side) {
  return side.mode == GIT_FILEMODE_BLOB || side.mode == GIT_FILEMODE_BLOB_EXECUTABLE;
}

/// Whether no attribute bears on how the lines of a file are told (gitattributes(5)).
bool isPlain(git_repository* repository, const char* path) {
  std::array<const char*, 4> names = {"diff", "filter", "ident", "working-tree-encoding"};
  std::array<const char*, 4> values{};
  check(git_attr_get_many(values.data(), repository, GIT_ATTR_CHECK_FILE_THEN_INDEX, path, names.size(), names.data()));
  return std::ranges::all_of(values,
                             [](const char* value) { return git_attr_value(value) == GIT_ATTR_VALUE_UNSPECIFIED; });
}

Object blobOf(git_repository* repository, const git_oid& id) {
  return own<Object>([&](git_object** found) { return git_object_lookup(found, repository, &id, GIT_OBJECT_BLOB); });
}

/// A file of the working copy; nothing where git would have to change it before it is compared.
std::optional<std::string> plainContent(git_repository* repository, const git_diff_file& file) {
  if (file.size > kMaxBlobSize) return std::nullopt;
  auto content = readFile(std::string(git_repository_workdir(repository)) + file.path);
  if (content && content->contains('\r')) content.reset();
  return content;
}

/// The same patch as the library makes of a difference, which looks for attributes six times. Null where the library
/// has to do it.
Patch plainPatch(git_repository* repository, const git_diff_delta& delta, NewSide newSide) {
  const bool isEdited = delta.status == GIT_DELTA_MODIFIED && isFile(delta.old_file) && isFile(delta.new_file);
  if (!isEdited || !isPlain(repository, delta.new_file.path)) return nullptr;
  const Object old = blobOf(repository, delta.old_file.id);
  auto* const oldBlob = reinterpret_cast<git_blob*>(old.get());
  const DiffOptions options = countingOptions({});
  if (newSide == NewSide::index) {
    const Object recent = blobOf(repository, delta.new_file.id);
    auto* const newBlob = reinterpret_cast<git_blob*>(recent.get());
    return own<Patch>([&](git_patch** made) {
      return git_patch_from_blobs(made, oldBlob, nullptr, newBlob, nullptr, options.get());
    });
  }
  const auto content = plainContent(repository, delta.new_file);
  if (!content) return nullptr;
  return own<Patch>([&](git_patch** made) {
    return git_patch_from_blob_and_buffer(made, oldBlob, nullptr, content->data(), content->size(), nullptr,
                                          options.get());
  });
}

}  // namespace

LineCounts countLines(git_repository* repository, git_diff* diff, std::size_t number, NewSide newSide) {
  const git_diff_delta* delta = git_diff_get_delta(diff, number);
  const bool wasSubmodule = delta->old_file.mode == GIT_FILEMODE_COMMIT;
  const bool isSubmodule = delta->new_file.mode == GIT_FILEMODE_COMMIT;
  if (wasSubmodule || isSubmodule) {
    return {.insertions = isSubmodule && delta->status != GIT_DELTA_DELETED ? 1 : 0,
            .deletions = wasSubmodule && delta->status != GIT_DELTA_ADDED ? 1 : 0};
  }
  if (const Patch patch = plainPatch(repository, *delta, newSide)) return countsOf(patch.get());
  const Patch patch = own<Patch>([&](git_patch** made) { return git_patch_from_diff(made, diff, number); });
  return countsOf(patch.get());
}

}  // namespace ravant::git
