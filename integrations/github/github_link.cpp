#include "integrations/github/github_link.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "integrations/github/github_client_error.hpp"
#include "platform/http/base_address.hpp"
#include "platform/keystore/secret.hpp"

namespace ravant {
namespace {

bool isUnreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~").contains(c);
}

}  // namespace

std::optional<std::string> nextPageURL(std::string_view link) {
  while (!link.empty()) {
    const std::size_t open = link.find('<');
    const std::size_t close = link.find('>', open == std::string_view::npos ? link.size() : open);
    if (close == std::string_view::npos) return std::nullopt;
    std::size_t end = close;
    for (bool isQuoted = false; end < link.size() && (isQuoted || link[end] != ','); ++end) {
      if (link[end] == '"') isQuoted = !isQuoted;
    }
    const std::string_view parameters = link.substr(close, end - close);
    if (parameters.contains("rel=\"next\"")) return std::string(link.substr(open + 1, close - open - 1));
    link.remove_prefix(end);
  }
  return std::nullopt;
}

std::string urlOnSameHost(const std::string& url, const std::string& reference, std::string_view token) {
  const auto target = resolvedAddress(url, reference);
  const auto own = originOf(url);
  const auto other = target ? originOf(*target) : std::nullopt;
  if (!own || other != own) {
    const std::string shown = other ? withoutSecret(*other, token, kTokenMark) : "an address that cannot be used";
    throw GithubClientError::transport(
        fmt::format("Github points to {}, which is not {}. Nothing was sent there.", shown, own.value_or(url)));
  }
  if (hasSecret(*target, token)) {
    throw GithubClientError::transport("Github points to an address with the token in it. Nothing was sent there.");
  }
  return *target;
}

std::string pathSegment(std::string_view text) {
  if (text.empty() || text == "." || text == "..") throw GithubClientError::invalidURL();
  std::string segment;
  for (const char c : text) {
    if (isUnreserved(c)) {
      segment += c;
    } else {
      fmt::format_to(std::back_inserter(segment), "%{:02X}", static_cast<unsigned char>(c));
    }
  }
  return segment;
}

}  // namespace ravant
