#include "integrations/github/github_client_error.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <utility>

#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr std::size_t kMostShown = 16 * 1024;  // bytes of a foreign text

std::string wordsOfStatus(int status) {
  switch (status) {
    case 401:
      return "Github rejected the token (401). Check that the token is correct and not expired.";
    case 403:
      return "Github denied the request (403). Token may lack required scopes.";
    case 404:
      return "Github returned 404.";
    default:
      return fmt::format("Github returned HTTP {}", status);
  }
}

std::string counted(std::int64_t count, std::string_view unit) {
  return fmt::format("{} {}{}", count, unit, count == 1 ? "" : "s");
}

std::string wait(std::chrono::microseconds length) {
  using namespace std::chrono_literals;
  const auto seconds = std::max(std::chrono::ceil<std::chrono::seconds>(length), 1s);
  if (seconds < 1min) return counted(seconds.count(), "second");
  if (seconds <= 90min) return counted(std::chrono::ceil<std::chrono::minutes>(seconds).count(), "minute");
  return counted(std::chrono::ceil<std::chrono::hours>(seconds).count(), "hour");
}

/// In the user's time zone, at the next full minute.
std::string timeOfDay(Timestamp time) {
  const std::time_t minute = std::chrono::system_clock::to_time_t(std::chrono::ceil<std::chrono::minutes>(time));
  std::tm local{};
  ::localtime_r(&minute, &local);
  return fmt::format("{:%H:%M}", local);
}

}  // namespace

GithubClientError GithubClientError::http(int status, std::string body) {
  GithubClientError error(Case::http, wordsOfStatus(status));
  error.status_ = status;
  error.body_ = std::move(body);
  return error;
}

GithubClientError GithubClientError::decoding(std::string_view body) {
  return {Case::decoding, fmt::format("Couldn't decode Github response: {}", githubExcerpt(body))};
}

GithubClientError GithubClientError::transport(std::string_view description) {
  return {Case::transport, fmt::format("Network error: {}", githubExcerpt(description))};
}

GithubClientError GithubClientError::usernameMismatch(std::string_view expected, std::string_view actual) {
  return {Case::usernameMismatch,
          fmt::format("Token belongs to {}, not {}.", githubExcerpt(actual), githubExcerpt(expected))};
}

GithubClientError GithubClientError::invalidURL() { return {Case::invalidURL, "Invalid Github API URL."}; }

GithubClientError GithubClientError::missingToken() {
  return {Case::missingToken, "No stored token for this account. Remove and re-add the integration."};
}

GithubClientError GithubClientError::graphQL(std::string_view messages) {
  const std::string words = githubExcerpt(messages);
  return {Case::graphQL, words.empty() ? "Empty GraphQL response." : words};
}

GithubClientError GithubClientError::rateLimited(Timestamp resumesAt, Timestamp now) {
  GithubClientError error(Case::rateLimited, fmt::format("Github's rate limit is spent. Try again after {} (in {}).",
                                                         timeOfDay(resumesAt), wait(resumesAt - now)));
  error.resumesAt_ = resumesAt;
  return error;
}

std::string githubExcerpt(std::string_view text) {
  constexpr std::size_t kMostCharacters = 200;
  std::string line;
  for (const char c : text.substr(0, kMostShown)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > ' ' && byte != 0x7F) {
      line += c;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  const std::string safe = terminalSafe(line);
  return std::string(trimmed(firstCharacters(safe, kMostCharacters)));
}

}  // namespace ravant
