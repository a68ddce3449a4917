#include "core/integrations/github_integration.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace ravant {
namespace {

constexpr std::array<std::string_view, 3> kContents = {"pulls", "issues", "actions"};

bool isRepositoryNamePart(std::string_view part) {
  const auto isAllowed = [](unsigned char c) { return std::isalnum(c) || c == '-' || c == '_' || c == '.'; };
  return !part.empty() && part != "." && part != ".." && std::ranges::all_of(part, isAllowed);
}

}  // namespace

bool isRepositoryName(std::string_view text) {
  const std::size_t slash = text.find('/');
  return slash != std::string_view::npos && isRepositoryNamePart(text.substr(0, slash)) &&
         isRepositoryNamePart(text.substr(slash + 1));
}

std::string_view rawValue(GithubIntegrationSelectedContent content) {
  return kContents.at(static_cast<std::size_t>(std::to_underlying(content)));
}

std::optional<GithubIntegrationSelectedContent> githubIntegrationSelectedContentFromRawValue(std::string_view text) {
  const auto* found = std::ranges::find(kContents, text);
  if (found == kContents.end()) return std::nullopt;
  return static_cast<GithubIntegrationSelectedContent>(found - kContents.begin());
}

}  // namespace ravant
