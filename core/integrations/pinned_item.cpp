#include "core/integrations/pinned_item.hpp"

#include <fmt/format.h>

#include <cctype>
#include <string_view>

#include "core/overloaded.hpp"

namespace ravant {
namespace {

std::string_view involvementWords(GithubFilterInvolvement involvement) {
  switch (involvement) {
    case GithubFilterInvolvement::anyone:
      return "";
    case GithubFilterInvolvement::involved:
      return " involving me";
    case GithubFilterInvolvement::authored:
      return " authored by me";
    case GithubFilterInvolvement::assigned:
      return " assigned to me";
    case GithubFilterInvolvement::reviewRequested:
      return " to review";
    case GithubFilterInvolvement::mentioned:
      return " mentioning me";
  }
  __builtin_unreachable();
}

/// A choice that lets everything through is not named.
template <class Facet>
std::string narrowing(Facet value) {
  const auto& choice = filterCase(value);
  if (choice.searchTerm.empty()) return {};
  std::string words(choice.label);
  words.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(words.front())));
  return ", " + words;
}

std::string defaultTitle(const GithubContentFilter& filter) {
  std::string title = fmt::format("{} pull requests{}", filterCase(filter.state).label,
                                  involvementWords(filter.effectiveInvolvement()));
  const auto& repositories = filter.repositoryFullNames;
  if (repositories.size() == 1) title += " in " + *repositories.begin();
  if (repositories.size() > 1) title += fmt::format(" in {} repositories", repositories.size());
  return title + narrowing(filter.review) + narrowing(filter.checks) + narrowing(filter.draft);
}

}  // namespace

std::string displayTitle(const PinnedItem& item) {
  if (item.customTitle) return *item.customTitle;
  return std::visit(Overloaded{[](const GithubPullRequestsPinnedItem& pulls) { return defaultTitle(pulls.filter); },
                               [](const LinearIssuesPinnedItem& issues) { return issues.teamName; }},
                    item.detail);
}

}  // namespace ravant
