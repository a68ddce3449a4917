#include "desktop/composer/attachments.hpp"

#include <algorithm>

#include "desktop/composer/attachment_wire.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {

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
  prompt.words = rest;
  return prompt;
}

std::string ComposedPrompt::text() const {
  std::string text = words;
  if (!attachments.empty() && !text.empty()) text += '\n';
  for (const std::string& path : attachments) {
    if (!text.empty()) text += '\n';
    text += attachmentLine(path);
  }
  return text;
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
