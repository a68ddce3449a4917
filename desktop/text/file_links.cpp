#include "desktop/text/file_links.hpp"

#include <algorithm>
#include <array>
#include <charconv>

#include "desktop/text/web_links.hpp"
#include "platform/text/letter.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::desktop {
namespace {

constexpr std::string_view kScheme = "file-reference:";
constexpr std::size_t kLongestPath = 1024;

/// Lower case, with a blank on both sides of each.
constexpr std::string_view kExtensions =
    " adoc asm astro awk bash bat bazel bzl c cc cfg cjs clj cmake cmd conf cpp cppm cs csproj css csv cts cu cxx dart "
    "diff "
    "dockerfile edn el elm env erl ex exs fish fs fsx gif glsl go gql gradle graphql groovy h hbs hcl hh hpp hrl hs "
    "htm html "
    "hxx ico inc ini inl ipp ipynb ixx java jl jpeg jpg js json json5 jsonc jsonl jsx kt kts less lock log lua "
    "markdown md "
    "mdx mjs mk ml mli mm mod mts nim nix patch pdf php pl plist pm png podspec prisma properties proto ps1 py pyi pyx "
    "qml qrc r "
    "rake rb rs rst ruby sass sbt scala scss sh sln sql sqlite storyboard sum svelte svg swift tex tf tfvars toml ts "
    "tsv tsx "
    "txt vb vim vue wasm webp xaml xcconfig xml xsd xsl yaml yml zig zsh ";
constexpr std::string_view kNames =
    " makefile gnumakefile dockerfile containerfile jenkinsfile vagrantfile procfile rakefile gemfile podfile brewfile "
    "justfile .gitignore .gitattributes .gitmodules .dockerignore .editorconfig .env .npmrc .clang-format .clang-tidy "
    ".bashrc "
    ".zshrc .profile .prettierrc .eslintrc codeowners ";
constexpr std::string_view kTopLevelDomains = " com org net io dev ai gov edu app co uk de eu info ";

bool isListed(std::string_view list, std::string_view word) {
  constexpr std::size_t kLongestWord = 20;
  if (word.empty() || word.size() > kLongestWord || word.contains(' ')) return false;
  return list.contains(" " + lowerCase(word) + " ");
}

bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }
bool isLetter(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || static_cast<unsigned char>(byte) >= 0x80;
}

std::string_view extensionOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot + 1);
}

/// Of a file that is known by its name or extension. "Node.js" and its like are names of things.
bool isFileName(std::string_view name, bool isAlone) {
  if (isListed(kNames, name)) return true;
  const std::string_view extension = extensionOf(name);
  if (!isListed(kExtensions, extension)) return false;
  const std::string_view stem = name.substr(0, name.size() - extension.size() - 1);
  if (std::ranges::none_of(stem, isLetter) && isAlone) return false;
  return !(isAlone && extension == "js" && stem.front() >= 'A' && stem.front() <= 'Z');
}

/// The digits at `at`, as a number of a line or column; `at` is moved behind them.
std::optional<int> numberAt(std::string_view text, std::size_t& at) {
  constexpr std::size_t kMostDigits = 7;
  std::size_t end = at;
  while (end < text.size() && isDigit(text[end])) ++end;
  int number = 0;
  if (end == at || end - at > kMostDigits) return std::nullopt;
  std::from_chars(text.data() + at, text.data() + end, number);
  if (number == 0) return std::nullopt;
  at = end;
  return number;
}

/// The place in the file that is named at `at` (`:12`, `:12:5`, `:12-20`, `#L12`, `#L12C5-L14`) and the end of its
/// name.
std::size_t readPlace(std::string_view text, std::size_t at, FileReference& file) {
  const bool isColon = text.substr(at).starts_with(':');
  if (!isColon && !text.substr(at).starts_with("#L")) return at;
  std::size_t end = at + (isColon ? 1 : 2);
  file.line = numberAt(text, end);
  if (!file.line) return at;
  if (end < text.size() && text[end] == (isColon ? ':' : 'C')) {
    std::size_t behind = end + 1;
    file.column = numberAt(text, behind);
    if (file.column) end = behind;
  }
  if (std::size_t last = end + 1; end < text.size() && text[end] == '-') {
    if (last < text.size() && text[last] == 'L') ++last;
    if (numberAt(text, last)) end = last;
  }
  return end;
}

bool isHost(std::string_view name) { return name.starts_with("www.") || isListed(kTopLevelDomains, extensionOf(name)); }

/// Whether `path`, which stands in prose, is meant to be one.
bool isPath(std::string_view path, bool hasLine) {
  if (path.empty() || path.size() > kLongestPath || path.front() == '-' || path.front() == '+') return false;
  if (path.contains("//") || std::ranges::none_of(path, isLetter)) return false;
  const std::size_t slash = path.rfind('/');
  const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
  if (name.empty() || isHost(path.substr(0, path.find('/')))) return false;
  if (isFileName(name, slash == std::string_view::npos && !hasLine)) return true;
  const bool isClearlyPath = path.starts_with('/') || path.starts_with("./") || path.starts_with("../") ||
                             path.starts_with("~/") || path.find('/') != slash || !extensionOf(name).empty();
  return hasLine && slash != std::string_view::npos && isClearlyPath;
}

bool isPathCharacter(char32_t character) {
  if (character < 0x80) {
    const char byte = static_cast<char>(character);
    return isDigit(byte) || isLetter(byte) || std::string_view("/._-+@~").contains(byte);
  }
  const LetterKind kind = letterOf(character).kind;
  return kind == LetterKind::letter || kind == LetterKind::upper || kind == LetterKind::mark;
}

std::size_t pathEnd(std::string_view text, std::size_t at) {
  while (at < text.size()) {
    const auto [character, size] = characterAt(text, at);
    if (!isPathCharacter(character)) break;
    at += size;
  }
  return at;
}

/// The end of what belongs to `name`, which is no path and ends at `at`: the port of a host and what is behind it, the
/// rest of a time or of an address of the sixth version.
std::size_t endBehind(std::string_view text, std::string_view name, std::size_t at) {
  const auto goesOn = [&](std::size_t i) { return i < text.size() && (isDigit(text[i]) || text[i] == ':'); };
  if (at >= text.size() || text[at] != ':' || !(goesOn(at + 1) || isHost(name))) return at;
  while (at < text.size() && text[at] == ':') at = pathEnd(text, at + 1);
  return at;
}

/// Adds the files that the bytes of `text` from `begin` to `end`, which are no address, name.
void addFiles(std::string_view text, std::size_t begin, std::size_t end, std::vector<FileLink>& links) {
  const std::string_view part = text.substr(0, end);
  for (std::size_t at = begin; at < end;) {
    const std::size_t behind = pathEnd(part, at);
    if (behind == at) {
      at += characterAt(part, at).size;
      continue;
    }
    std::string_view path = part.substr(at, behind - at);
    FileReference file;
    std::size_t last = readPlace(part, behind, file);
    const std::size_t mention = path.starts_with('@') ? 1 : 0;
    path.remove_prefix(mention);
    if (!file.line) {
      while (path.ends_with('.') || path.ends_with('-')) path.remove_suffix(1);
      last = at + mention + path.size();
    }
    if (isPath(path, file.line.has_value())) {
      file.path = path;
      links.push_back({at + mention, last - at - mention, std::move(file)});
    } else {
      last = endBehind(part, path, behind);
    }
    at = std::max(last, behind);
  }
}

}  // namespace

std::vector<FileLink> fileLinks(std::string_view text) {
  std::vector<FileLink> links;
  std::size_t from = 0;
  for (const WebLink& address : webLinks(text)) {
    addFiles(text, from, address.begin, links);
    from = address.begin + address.length;
  }
  addFiles(text, from, text.size(), links);
  return links;
}

std::optional<FileReference> fileOfTarget(std::string_view target) {
  std::size_t end = target.find_first_of(":#?");
  if (end == std::string_view::npos) end = target.size();
  const auto path = percentDecoded(target.substr(0, end));
  if (!path || path->empty() || path->size() > kLongestPath || path->starts_with("//") || path->contains('\0'))
    return std::nullopt;
  FileReference file{*path};
  if (readPlace(target, end, file) != target.size()) return std::nullopt;
  const std::size_t slash = path->rfind('/');
  const std::string_view name = std::string_view(*path).substr(slash == std::string::npos ? 0 : slash + 1);
  if (name.empty() || (slash == std::string::npos && !isFileName(name, false))) return std::nullopt;
  return file;
}

std::string hrefOf(const FileReference& file) {
  std::string href(kScheme);
  href += percentEncoded(file.path, "/._-");
  if (file.line) href += ':' + std::to_string(*file.line);
  if (file.line && file.column) href += ':' + std::to_string(*file.column);
  return href;
}

std::optional<FileReference> fileOfHref(std::string_view href) {
  if (!href.starts_with(kScheme)) return std::nullopt;
  href.remove_prefix(kScheme.size());
  const std::size_t end = std::min(href.find(':'), href.size());
  auto path = percentDecoded(href.substr(0, end));
  if (!path) return std::nullopt;
  FileReference file{*std::move(path)};
  readPlace(href, end, file);
  if (file.path.empty() || kScheme.data() + std::string(href) != hrefOf(file)) return std::nullopt;
  return file;
}

LinkKind linkKind(std::string_view href) {
  if (fileOfHref(href)) return LinkKind::fileReference;
  return externalHref(href) == href ? LinkKind::external : LinkKind::none;
}

std::optional<std::string> hrefOfTarget(std::string_view target) {
  if (auto href = externalHref(target)) return href;
  const auto file = fileOfTarget(target);
  return file ? std::optional(hrefOf(*file)) : std::nullopt;
}

std::vector<TextLink> textLinks(std::string_view text) {
  std::vector<TextLink> links;
  for (WebLink& address : webLinks(text)) {
    if (address.href) links.push_back({address.begin, address.length, *std::move(address.href)});
  }
  for (const FileLink& link : fileLinks(text)) links.push_back({link.begin, link.length, hrefOf(link.file)});
  std::ranges::sort(links, {}, &TextLink::begin);
  return links;
}

}  // namespace ravant::desktop
