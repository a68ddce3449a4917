#include "integrations/github/github_host.hpp"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>

#include "integrations/github/github_client_error.hpp"
#include "platform/http/base_address.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr std::array<std::string_view, 3> kPublicNames = {kPublicGithubHost, "api.github.com", "www.github.com"};
constexpr int kUsualPort = 443;

bool isLabel(std::string_view label) {
  constexpr std::size_t kLongest = 63;
  const auto isIn = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_'; };
  return !label.empty() && label.size() <= kLongest && label.front() != '-' && label.back() != '-' &&
         std::ranges::all_of(label, isIn);
}

bool isName(std::string_view name) {
  constexpr std::size_t kLongest = 253;
  if (name.size() > kLongest) return false;
  for (std::size_t begin = 0; begin <= name.size();) {
    const std::size_t end = std::min(name.find('.', begin), name.size());
    if (!isLabel(name.substr(begin, end - begin))) return false;
    begin = end + 1;
  }
  return true;
}

/// With its brackets.
bool isAddress6(std::string_view text) {
  if (!text.starts_with('[') || !text.ends_with(']')) return false;
  in6_addr address{};
  return ::inet_pton(AF_INET6, std::string(text.substr(1, text.size() - 2)).c_str(), &address) == 1;
}

std::optional<std::uint16_t> portOf(std::string_view digits) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  const bool isWhole = error == std::errc() && end == digits.data() + digits.size();
  return isWhole && port != 0 ? std::optional(port) : std::nullopt;
}

}  // namespace

std::string checkedGithubHost(std::string_view text) {
  std::string host = lowerCase(trimmed(text));
  const std::size_t colon = host.find(':', host.starts_with('[') ? std::min(host.find(']'), host.size()) : 0);
  if (colon != std::string::npos) {
    const auto port = portOf(std::string_view(host).substr(colon + 1));
    if (!port) throw GithubClientError::invalidURL();
    host.resize(colon);
    if (*port != kUsualPort) host += fmt::format(":{}", *port);
  }
  const std::string_view name = std::string_view(host).substr(0, colon);
  if (!isName(name) && !isAddress6(name)) throw GithubClientError::invalidURL();
  if (std::ranges::find(kPublicNames, host) != kPublicNames.end()) return std::string(kPublicGithubHost);
  return host;
}

GithubEndpoints::GithubEndpoints(std::string_view publicBase)
    : publicBase_([base = baseAddress(publicBase)] { return base; }) {}

std::string GithubEndpoints::apiBase(std::string_view host) const {
  return host == kPublicGithubHost ? publicBase_() : fmt::format("https://{}/api/v3", host);
}

std::string GithubEndpoints::graphqlBase(std::string_view host) const {
  return host == kPublicGithubHost ? publicBase_() + "/graphql" : fmt::format("https://{}/api/graphql", host);
}

}  // namespace ravant
