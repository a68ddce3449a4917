#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/clock/clock.hpp"

namespace ravant {

/// Why GitHub could not be asked; `what()` has the words for the user, on one line, without a token.
class GithubClientError : public std::runtime_error {
 public:
  /// `graphQL`: the answer has errors and no data. `rateLimited`: nothing is asked before `resumesAt`.
  enum class Case { http, decoding, transport, usernameMismatch, invalidURL, missingToken, graphQL, rateLimited };

  static GithubClientError http(int status, std::string body);
  static GithubClientError decoding(std::string_view body);
  static GithubClientError transport(std::string_view description);
  static GithubClientError usernameMismatch(std::string_view expected, std::string_view actual);
  static GithubClientError invalidURL();
  static GithubClientError missingToken();
  static GithubClientError graphQL(std::string_view messages);
  static GithubClientError rateLimited(Timestamp resumesAt, Timestamp now);

  Case kind() const { return kind_; }
  int status() const { return status_; }             ///< of `http`
  const std::string& body() const { return body_; }  ///< of `http`; no part of the words
  std::optional<Timestamp> resumesAt() const { return resumesAt_; }

 private:
  GithubClientError(Case kind, const std::string& words) : std::runtime_error(words), kind_(kind) {}

  Case kind_;
  int status_ = 0;
  std::string body_;
  std::optional<Timestamp> resumesAt_;
};

/// What stands in the place of a token in foreign texts.
inline constexpr std::string_view kTokenMark = "[token]";

/// The first 200 characters of a foreign text, on one line, without control characters.
std::string githubExcerpt(std::string_view text);

}  // namespace ravant
