#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravant::desktop {

/// A file that a text names, as it names it: nobody has looked whether it exists or whose it is. Who opens it
/// resolves it, inside the project only.
struct FileReference {
  std::string path;
  std::optional<int> line = std::nullopt;
  std::optional<int> column = std::nullopt;

  bool operator==(const FileReference&) const = default;
};

/// Bytes of a text that name a file.
struct FileLink {
  std::size_t begin;
  std::size_t length;
  FileReference file;

  bool operator==(const FileLink&) const = default;
};

/// The files that `text` names, in their order and apart: `src/main.cpp`, `main.cpp:12`, `lib/build:12:5`, `a.ts#L7`. A
/// path ends in an extension or is a name that is known; with a line, one with a slash does too. Nothing within web
/// addresses, and no times, ratios, versions or hosts.
std::vector<FileLink> fileLinks(std::string_view text);

/// The file that the target of a link names as a whole: a relative or absolute path, perhaps with a line. Nothing for
/// targets with a scheme and for places within a page.
std::optional<FileReference> fileOfTarget(std::string_view target);

/// `file` as the address of a link, in ASCII: no scheme of the network, and `fileOfHref` makes the same of it again.
std::string hrefOf(const FileReference& file);
std::optional<FileReference> fileOfHref(std::string_view href);

enum class LinkKind { external, fileReference, none };

/// The one gate for what may be opened: `external` are `https`, `http` and `mailto` addresses, `fileReference` is what
/// `hrefOf` writes. Nothing else may be.
LinkKind linkKind(std::string_view href);

/// What a link to `target` of a message leads to, which passes the gate; nothing where it may not be followed.
std::optional<std::string> hrefOfTarget(std::string_view target);

struct TextLink {
  std::size_t begin;
  std::size_t length;
  std::string href;

  bool operator==(const TextLink&) const = default;
};

/// What can be followed in plain `text`: addresses and files, in their order and apart.
std::vector<TextLink> textLinks(std::string_view text);

}  // namespace ravant::desktop
