#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace ravant::desktop {

/// A prompt as it is written: its words, and the files that go with it.
///
/// There is one text of it, which is sent, queued and kept as a draft: the words, an empty line, and for each file a
/// line `Attached: PATH`. A path that could be misread stands in quotes, as a JSON string.
struct ComposedPrompt {
  std::string words;
  std::vector<std::string> attachments;  ///< as the agent is to read them: relative to the project's folder inside it

  bool operator==(const ComposedPrompt&) const = default;

  static ComposedPrompt parse(std::string_view text);
  std::string text() const;
};

/// The file's path as an attachment of a prompt in the project's folder. Does not look at the disk.
std::string attachmentPath(const std::filesystem::path& file, const std::filesystem::path& projectFolder);

/// Those that are not there. Blocks.
std::vector<std::string> goneAttachments(const std::vector<std::string>& attachments,
                                         const std::filesystem::path& projectFolder);

}  // namespace ravant::desktop
