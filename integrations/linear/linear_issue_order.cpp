#include "integrations/linear/linear_issue_order.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>
#include <tuple>

namespace ravant {
namespace {

/// The team's key, the number, and the whole where the two do not tell.
std::tuple<std::string_view, std::uint64_t, std::string_view> parts(std::string_view identifier) {
  const std::size_t dash = identifier.rfind('-');
  if (dash == std::string_view::npos) return {identifier, 0, identifier};
  const std::string_view digits = identifier.substr(dash + 1);
  std::uint64_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return {identifier.substr(0, dash), number, identifier};
}

std::int64_t rank(const LinearIssue& issue, LinearIssuesSortOrder order) {
  switch (order) {
    case LinearIssuesSortOrder::lastUpdated:
      return -issue.updatedAt.time_since_epoch().count();
    case LinearIssuesSortOrder::created:
      return -issue.createdAt.time_since_epoch().count();
    case LinearIssuesSortOrder::priority:
      return issue.priority > 0 ? issue.priority : std::numeric_limits<std::int64_t>::max();
  }
  __builtin_unreachable();
}

}  // namespace

void sort(std::vector<LinearIssue>& issues, LinearIssuesSortOrder order) {
  std::ranges::sort(issues, {}, [order](const LinearIssue& issue) {
    return std::tuple(rank(issue, order), -issue.updatedAt.time_since_epoch().count(), parts(issue.identifier));
  });
}

}  // namespace ravant
