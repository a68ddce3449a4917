#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ravant {

/// What `ChatCompletionsClient` throws. `what()` is the text that the transcript shows.
class ChatCompletionsError : public std::runtime_error {
 public:
  enum class Case { http, stream, transport };
  /// Whether the same request may succeed in a while.
  enum class Outlook { passing, lasting };

  /// A response of another status than 200; `body` is its text.
  static ChatCompletionsError http(std::string_view provider, int status, std::string_view body);
  /// An error in the midst of a response that had begun well. `code` is the provider's own, often an HTTP status.
  static ChatCompletionsError stream(std::string_view provider, const std::optional<std::string>& code,
                                     std::string_view message);
  static ChatCompletionsError transport(std::string_view provider, std::string_view message,
                                        Outlook outlook = Outlook::lasting);

  Case kind() const noexcept { return kind_; }
  Outlook outlook() const noexcept { return outlook_; }

  /// The same error with `secret` left out of its words: some providers repeat the key that they refuse.
  ChatCompletionsError without(std::string_view secret) const;

 private:
  ChatCompletionsError(Case kind, Outlook outlook, const std::string& words)
      : std::runtime_error(words), kind_(kind), outlook_(outlook) {}

  Case kind_;
  Outlook outlook_;
};

}  // namespace ravant
