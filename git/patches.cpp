#include "git/patches.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <string>

#include "git/diffs.hpp"
#include "platform/files/private_file.hpp"

namespace ravant::git {
namespace {

bool isFile(const git_diff_file& side) { return git::isFile(side.mode); }

/// What bears on how the lines of a file are told (gitattributes(5)).
struct Attributes {
  bool areNone;  ///< none does, but for those of line ends
  bool makesBinary;
};

Attributes attributesOf(git_repository* repository, const char* path) {
  std::array<const char*, 4> names = {"diff", "filter", "ident", "working-tree-encoding"};
  std::array<const char*, 4> values{};
  check(git_attr_get_many(values.data(), repository, GIT_ATTR_CHECK_FILE_THEN_INDEX, path, names.size(), names.data()));
  const auto isUnspecified = [](const char* value) { return git_attr_value(value) == GIT_ATTR_VALUE_UNSPECIFIED; };
  return {.areNone = std::ranges::all_of(values, isUnspecified),
          .makesBinary = git_attr_value(values[0]) == GIT_ATTR_VALUE_FALSE};
}

/// Null where the file is not there.
Object blobOf(git_repository* repository, const git_diff_file& file) {
  if (git_oid_is_zero(&file.id) != 0) return nullptr;
  return own<Object>(
      [&](git_object** found) { return git_object_lookup(found, repository, &file.id, GIT_OBJECT_BLOB); });
}

git_blob* asBlob(const Object& object) { return reinterpret_cast<git_blob*>(object.get()); }

/// As git would store it.
std::string filtered(git_repository* repository, const char* path, std::string content) {
  if (content.empty()) return content;
  git_filter_list* loaded = nullptr;
  check(git_filter_list_load(&loaded, repository, nullptr, path, GIT_FILTER_TO_ODB, GIT_FILTER_ALLOW_UNSAFE));
  const FilterList filters(loaded);
  if (!filters) return content;
  const auto stored = textIfAny(
      [&](git_buf* made) { return git_filter_list_apply_to_buffer(made, loaded, content.data(), content.size()); });
  if (!stored) check(GIT_ERROR);
  return *stored;
}

FilePatch binary() { return {.content = nullptr, .lines = nullptr, .isBinary = true}; }

std::string_view contentOf(const Object& blob) {
  if (!blob) return {};
  return {static_cast<const char*>(git_blob_rawcontent(asBlob(blob))),
          static_cast<std::size_t>(git_blob_rawsize(asBlob(blob)))};
}

bool hasTooManyLines(std::string_view content) {
  const bool isText = content.size() <= kMaxBlobSize && git_blob_data_is_binary(content.data(), content.size()) == 0;
  return isText && static_cast<std::size_t>(std::ranges::count(content, '\n')) > kMostComparedLines;
}

std::string_view firstLines(std::string_view content, std::size_t count) {
  std::size_t end = 0;
  for (std::size_t line = 0; line < count && end < content.size(); ++line) {
    end = std::min(content.find('\n', end), content.size() - 1) + 1;
  }
  return content.substr(0, end);
}

/// In place of a patch of so many lines; nothing where they are few.
std::optional<FilePatch> patchOfTooMany(std::string_view before, std::string_view after, std::uint32_t contextLines) {
  if (!hasTooManyLines(before) && !hasTooManyLines(after)) return std::nullopt;
  if (!before.empty() && !after.empty()) return FilePatch{.extent = GitHunksExtent::notCompared};
  const std::string_view shown = firstLines(before.empty() ? after : before, kMostHunkLines);
  FilePatch patch{.content = std::make_unique<const std::string>(shown), .extent = GitHunksExtent::cut};
  const std::string_view kept = *patch.content;
  const std::string_view oldLines = before.empty() ? before : kept;
  const std::string_view newLines = before.empty() ? kept : after;
  const DiffOptions options(0, contextLines, {});
  patch.lines = own<Patch>([&](git_patch** made) {
    return git_patch_from_buffers(made, oldLines.data(), oldLines.size(), nullptr, newLines.data(), newLines.size(),
                                  nullptr, options.get());
  });
  return patch;
}

/// The same of what the repository has of both versions.
std::optional<FilePatch> patchOfTooMany(git_repository* repository, const git_diff_delta& delta, NewSide newSide,
                                        std::uint32_t contextLines) {
  const Object before = isFile(delta.old_file) ? blobOf(repository, delta.old_file) : nullptr;
  const bool isInRepository = newSide == NewSide::index && isFile(delta.new_file);
  const Object after = isInRepository ? blobOf(repository, delta.new_file) : nullptr;
  auto patch = patchOfTooMany(contentOf(before), contentOf(after), contextLines);
  return patch && !attributesOf(repository, delta.new_file.path).makesBinary ? std::move(patch) : std::nullopt;
}

/// Of two texts on which no attribute bears. Told of a blob, the library would look for attributes, in an index that
/// it reads for that.
FilePatch patchOfTexts(Object before, Object after, std::unique_ptr<const std::string> content,
                       const DiffOptions& options) {
  FilePatch patch{.blobs = {std::move(before), std::move(after)}, .content = std::move(content)};
  const std::string_view oldText = contentOf(patch.blobs[0]);
  const std::string_view newText = patch.content ? *patch.content : contentOf(patch.blobs[1]);
  patch.lines = own<Patch>([&](git_patch** made) {
    return git_patch_from_buffers(made, oldText.data(), oldText.size(), nullptr, newText.data(), newText.size(),
                                  nullptr, options.get());
  });
  return patch;
}

/// Of a file that is as it is now, in place of what the library would read.
FilePatch patchOfFile(git_repository* repository, const git_diff_delta& delta, const Attributes& attributes,
                      std::uint32_t contextLines, PatchSize size) {
  const char* path = delta.new_file.path;
  const auto file = std::filesystem::path(git_repository_workdir(repository)) / path;
  std::error_code missing;
  if (!std::filesystem::is_regular_file(std::filesystem::symlink_status(file, missing))) return {};
  const std::uintmax_t fileSize = std::filesystem::file_size(file, missing);
  if (!missing && fileSize > static_cast<std::uintmax_t>(kMaxBlobSize)) return binary();
  std::optional<std::string> content;
  try {
    content = readFile(file);
  } catch (const std::filesystem::filesystem_error& error) {
    throw LibraryError(error.code().message());
  }
  if (!content) return {};
  Object old = blobOf(repository, delta.old_file);
  if (attributes.makesBinary) return binary();
  const bool isPlain = attributes.areNone && !content->contains('\r');
  if (!isPlain) content = filtered(repository, path, *std::move(content));
  if (size == PatchSize::bounded) {
    if (auto bounded = patchOfTooMany(contentOf(old), *content, contextLines)) return *std::move(bounded);
  }
  const DiffOptions options(0, contextLines, {});
  if (attributes.areNone) {
    return patchOfTexts(std::move(old), nullptr, std::make_unique<const std::string>(*std::move(content)), options);
  }
  FilePatch patch{.content = std::make_unique<const std::string>(*std::move(content))};
  patch.lines = own<Patch>([&](git_patch** made) {
    return git_patch_from_blob_and_buffer(made, asBlob(old), delta.old_file.path, patch.content->data(),
                                          patch.content->size(), path, options.get());
  });
  return patch;
}

/// The library finds out whether it is binary while it makes the patch.
FilePatch asMade(FilePatch patch) {
  const git_diff_delta* made = patch.lines ? git_patch_get_delta(patch.lines.get()) : nullptr;
  return made != nullptr && (made->flags & GIT_DIFF_FLAG_BINARY) != 0 ? binary() : std::move(patch);
}

LineCounts linesOf(const FilePatch& patch) {
  if (!patch.lines) return {.isBinary = patch.isBinary};
  std::size_t insertions = 0;
  std::size_t deletions = 0;
  check(git_patch_line_stats(nullptr, &insertions, &deletions, patch.lines.get()));
  return {.isBinary = false,
          .insertions = static_cast<std::int64_t>(insertions),
          .deletions = static_cast<std::int64_t>(deletions)};
}

}  // namespace

FilePatch makePatch(git_repository* repository, git_diff* diff, std::size_t number, NewSide newSide,
                    std::uint32_t contextLines, PatchSize size) {
  const git_diff_delta* delta = git_diff_get_delta(diff, number);
  const bool isThere = delta->status != GIT_DELTA_DELETED && delta->status != GIT_DELTA_CONFLICTED;
  FilePatch patch;
  if (newSide == NewSide::workingCopy && isThere && isFile(delta->new_file)) {
    patch = patchOfFile(repository, *delta, attributesOf(repository, delta->new_file.path), contextLines, size);
  } else if (auto bounded = size == PatchSize::bounded ? patchOfTooMany(repository, *delta, newSide, contextLines)
                                                       : std::nullopt) {
    patch = *std::move(bounded);
  } else if (newSide == NewSide::index && delta->status == GIT_DELTA_MODIFIED && isFile(delta->old_file) &&
             isFile(delta->new_file) && attributesOf(repository, delta->new_file.path).areNone) {
    patch = patchOfTexts(blobOf(repository, delta->old_file), blobOf(repository, delta->new_file), nullptr,
                         DiffOptions(0, contextLines, {}));
  } else {
    patch.lines = own<Patch>([&](git_patch** made) { return git_patch_from_diff(made, diff, number); });
  }
  return asMade(std::move(patch));
}

LineCounts countLines(git_repository* repository, git_diff* diff, std::size_t number, NewSide newSide) {
  return linesOf(makePatch(repository, diff, number, newSide, 0));
}

bool isPlain(git_repository* repository, const char* path) { return attributesOf(repository, path).areNone; }

LineCounts countLinesOfPlain(git_repository* repository, const std::string& path, const git_oid& before) {
  git_diff_delta delta{};
  delta.status = GIT_DELTA_MODIFIED;
  delta.old_file.id = before;
  delta.old_file.path = delta.new_file.path = path.c_str();
  delta.old_file.mode = delta.new_file.mode = GIT_FILEMODE_BLOB;
  return linesOf(asMade(patchOfFile(repository, delta, {.areNone = true, .makesBinary = false}, 0, PatchSize::any)));
}

}  // namespace ravant::git
