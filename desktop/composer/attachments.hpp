#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace ravant::desktop {

/// A prompt as it is written: its words, and the files that go with it.
///
/// There is one text of it, which is sent, queued and kept as a draft: the words, behind an empty line the long text,
/// and behind another for each file a line `Attached: PATH`. A path that could be misread stands in quotes, as a JSON
/// string.
struct ComposedPrompt {
  /// More than this many bytes are no words to type in: each key would lay all of them out anew.
  static constexpr std::size_t kMostWords = 200'000;

  std::string words;
  std::string longText = {};             ///< goes with the words without being shown among them
  std::vector<std::string> attachments;  ///< as the agent is to read them: relative to the project's folder inside it

  bool operator==(const ComposedPrompt&) const = default;

  bool isEmpty() const { return *this == ComposedPrompt(); }

  /// Words that are too many are a long text.
  static ComposedPrompt parse(std::string_view text);
  std::string text() const;
  /// All but the files.
  std::string allWords() const;
};

/// One prompt of two: the words behind each other, each file once.
ComposedPrompt joined(ComposedPrompt first, const ComposedPrompt& second);
std::string joined(std::string_view first, std::string_view second);

/// The file's path as an attachment of a prompt in the project's folder. Does not look at the disk.
std::string attachmentPath(const std::filesystem::path& file, const std::filesystem::path& projectFolder);

/// Those that are not there. Blocks.
std::vector<std::string> goneAttachments(const std::vector<std::string>& attachments,
                                         const std::filesystem::path& projectFolder);

}  // namespace ravant::desktop
