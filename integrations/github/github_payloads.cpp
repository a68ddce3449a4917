#include "integrations/github/github_payloads.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace ravant {
namespace {

template <class Value, std::size_t count>
using Names = std::array<std::pair<Value, std::string_view>, count>;

constexpr Names<GithubReviewDecision, 3> kDecisions = {{{GithubReviewDecision::approved, "APPROVED"},
                                                        {GithubReviewDecision::changesRequested, "CHANGES_REQUESTED"},
                                                        {GithubReviewDecision::reviewRequired, "REVIEW_REQUIRED"}}};
constexpr Names<GithubCheckState, 5> kStates = {{{GithubCheckState::success, "SUCCESS"},
                                                 {GithubCheckState::failure, "FAILURE"},
                                                 {GithubCheckState::pending, "PENDING"},
                                                 {GithubCheckState::error, "ERROR"},
                                                 {GithubCheckState::expected, "EXPECTED"}}};

template <class Value, std::size_t count>
std::optional<Value> valueOf(const Names<Value, count>& names, std::string_view text) {
  const auto found = std::ranges::find(names, text, &std::pair<Value, std::string_view>::second);
  return found == names.end() ? std::nullopt : std::optional(found->first);
}

}  // namespace

std::string_view rawValue(GithubReviewDecision decision) {
  return kDecisions.at(static_cast<std::size_t>(decision)).second;
}

std::optional<GithubReviewDecision> githubReviewDecisionFromRawValue(std::string_view text) {
  return valueOf(kDecisions, text);
}

std::string_view rawValue(GithubCheckState state) { return kStates.at(static_cast<std::size_t>(state)).second; }

std::optional<GithubCheckState> githubCheckStateFromRawValue(std::string_view text) { return valueOf(kStates, text); }

}  // namespace ravant
