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
  /// The HTTP status, or the one that the stream names; 0 where there is none.
  int status() const noexcept { return status_; }
  Outlook outlook() const noexcept { return outlook_; }

  /// The same error with `secret` left out of its words, also where `excerpt` cut it: some providers repeat the key
  /// that they refuse.
  ChatCompletionsError without(std::string_view secret) const;

 private:
  ChatCompletionsError(Case kind, int status, Outlook outlook, const std::string& words)
      : std::runtime_error(words), kind_(kind), status_(status), outlook_(outlook) {}

  Case kind_;
  int status_;
  Outlook outlook_;
};

/// How much of a provider's text there is.
enum class Extent { whole, beginning };

/// A provider's text as an error shows it: a beginning has an ellipsis behind it.
std::string excerpt(std::string_view text, Extent extent);

}  // namespace ravant
