#include "desktop/composer/attachments.hpp"

#include <algorithm>
#include <utility>

#include "desktop/composer/attachment_wire.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {

namespace {

/// As a paragraph of its own.
void append(std::string& text, std::string_view behind) {
  if (!text.empty() && !behind.empty()) text += "\n\n";
  text += behind;
}

}  // namespace

ComposedPrompt ComposedPrompt::parse(std::string_view text) {
  ComposedPrompt prompt;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t lineBreak = rest.rfind('\n');
    const std::string_view line = lineBreak == std::string_view::npos ? rest : rest.substr(lineBreak + 1);
    auto path = attachedPath(line);
    if (!path) break;
    prompt.attachments.push_back(*std::move(path));
    rest = lineBreak == std::string_view::npos ? std::string_view() : rest.substr(0, lineBreak);
  }
  std::ranges::reverse(prompt.attachments);
  if (!prompt.attachments.empty() && rest.ends_with('\n')) rest.remove_suffix(1);
  (rest.size() > kMostWords ? prompt.longText : prompt.words) = rest;
  return prompt;
}

std::string ComposedPrompt::allWords() const {
  std::string all = words;
  append(all, longText);
  return all;
}

std::string ComposedPrompt::text() const {
  std::string text = allWords();
  if (!attachments.empty() && !text.empty()) text += '\n';
  for (const std::string& path : attachments) {
    if (!text.empty()) text += '\n';
    text += attachmentLine(path);
  }
  return text;
}

ComposedPrompt joined(ComposedPrompt first, const ComposedPrompt& second) {
  append(first.words, second.words);
  append(first.longText, second.longText);
  if (first.words.size() > ComposedPrompt::kMostWords) {
    append(first.words, first.longText);
    first.longText = std::exchange(first.words, {});
  }
  for (const std::string& path : second.attachments) {
    if (std::ranges::count(first.attachments, path) == 0) first.attachments.push_back(path);
  }
  return first;
}

std::string joined(std::string_view first, std::string_view second) {
  return joined(ComposedPrompt::parse(first), ComposedPrompt::parse(second)).text();
}

std::string attachmentPath(const std::filesystem::path& file, const std::filesystem::path& projectFolder) {
  const std::filesystem::path normal = file.lexically_normal();
  const std::filesystem::path relative = normal.lexically_relative(projectFolder.lexically_normal());
  const bool isInside = !relative.empty() && *relative.begin() != "..";
  return (isInside ? relative : normal).string();
}

std::vector<std::string> goneAttachments(const std::vector<std::string>& attachments,
                                         const std::filesystem::path& projectFolder) {
  std::vector<std::string> gone;
  for (const std::string& path : attachments) {
    std::error_code error;
    if (!std::filesystem::exists(projectFolder / path, error)) gone.push_back(path);
  }
  return gone;
}

}  // namespace ravant::desktop
