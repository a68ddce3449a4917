#include "core/integrations/github_content_filter.hpp"

#include <fmt/ranges.h>

#include <vector>

namespace ravant {

GithubFilterInvolvement GithubContentFilter::effectiveInvolvement() const {
  const bool isUnbounded = involvement == GithubFilterInvolvement::anyone && repositoryFullNames.empty();
  return isUnbounded ? GithubFilterInvolvement::involved : involvement;
}

std::string GithubContentFilter::searchQuery() const {
  std::vector<std::string> terms = {"is:pr", "sort:updated-desc"};
  const auto add = [&terms](std::string_view term) {
    if (!term.empty()) terms.emplace_back(term);
  };
  add(filterCase(state).searchTerm);
  for (const std::string& name : repositoryFullNames) add("repo:" + name);
  add(filterCase(effectiveInvolvement()).searchTerm);
  add(filterCase(review).searchTerm);
  add(filterCase(checks).searchTerm);
  add(filterCase(draft).searchTerm);
  return fmt::format("{}", fmt::join(terms, " "));
}

}  // namespace ravant
