#include "integrations/linear/linear_client_error.hpp"

#include <fmt/format.h>

#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr std::size_t kExcerpt = 200;       // characters
constexpr std::size_t kLongestWords = 500;  // characters

/// More than its characters can have, less than what takes time to look through.
constexpr std::size_t kLookedAt = 64 * 1024;  // bytes

std::string beginning(std::string_view text, std::size_t characters) {
  const std::string line = oneLine(text.substr(0, kLookedAt));
  return std::string(firstCharacters(line, characters));
}

std::string httpWords(int status) {
  constexpr int kUnauthorized = 401;
  constexpr int kForbidden = 403;
  constexpr int kTooManyRequests = 429;
  switch (status) {
    case kUnauthorized:
      return "Linear rejected the API key. Check that the key is correct and not revoked.";
    case kForbidden:
      return "Linear denied the request (403).";
    case kTooManyRequests:
      return "Linear rate limit reached. Try again in a moment.";
    default:
      return fmt::format("Linear returned HTTP {}", status);
  }
}

}  // namespace

LinearClientError LinearClientError::http(int status) { return {Case::http, httpWords(status), status}; }

LinearClientError LinearClientError::decoding(std::string_view text) {
  return {Case::decoding, "Couldn't decode Linear response: " + beginning(text, kExcerpt)};
}

LinearClientError LinearClientError::transport(std::string_view description) {
  return {Case::transport, "Network error: " + beginning(description, kLongestWords)};
}

LinearClientError LinearClientError::invalidURL() { return {Case::invalidURL, "Invalid Linear API URL."}; }

LinearClientError LinearClientError::missingKey() {
  return {Case::missingKey, "No stored API key for this workspace. Remove and re-add the integration."};
}

LinearClientError LinearClientError::graphQL(std::string_view messages) {
  const std::string words = beginning(messages, kLongestWords);
  return {Case::graphQL, words.empty() ? "Empty GraphQL response." : words};
}

}  // namespace ravant
