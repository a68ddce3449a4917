#include "core/integrations/github_content_filter.hpp"

#include <gtest/gtest.h>

namespace ravant::test {
namespace {

struct SearchText {
  const char* name;
  GithubContentFilter filter;
  const char* text;
};

class GithubSearchText : public testing::TestWithParam<SearchText> {};

TEST_P(GithubSearchText, isGithubsOwn) { EXPECT_EQ(GetParam().filter.searchQuery(), GetParam().text); }

using Filter = GithubContentFilter;
using Involvement = GithubFilterInvolvement;
using State = GithubFilterState;
using Review = GithubFilterReview;
using Checks = GithubFilterChecks;
using Draft = GithubFilterDraft;

INSTANTIATE_TEST_SUITE_P(
    , GithubSearchText,
    testing::Values(
        SearchText{"nothingChosen", {}, "is:pr sort:updated-desc state:open involves:@me"},
        SearchText{"anyoneInARepository",
                   {.repositoryFullNames = {"octo/tools"}},
                   "is:pr sort:updated-desc state:open repo:octo/tools"},
        SearchText{"repositoriesInOrder",
                   {.repositoryFullNames = {"octo/tools", "Zeta/a", "octo/app"}, .state = State::closed},
                   "is:pr sort:updated-desc is:closed is:unmerged repo:Zeta/a repo:octo/app repo:octo/tools"},
        SearchText{"everyFacet",
                   {.repositoryFullNames = {"octo/tools"},
                    .involvement = Involvement::reviewRequested,
                    .state = State::merged,
                    .review = Review::changesRequested,
                    .checks = Checks::failing,
                    .draft = Draft::hideDrafts},
                   "is:pr sort:updated-desc is:merged repo:octo/tools review-requested:@me "
                   "review:changes_requested status:failure draft:false"},
        SearchText{"authored",
                   {.involvement = Involvement::authored,
                    .review = Review::notReviewed,
                    .checks = Checks::passing,
                    .draft = Draft::draftsOnly},
                   "is:pr sort:updated-desc state:open author:@me review:none status:success draft:true"},
        SearchText{"assigned",
                   {.involvement = Involvement::assigned, .review = Review::reviewRequired, .checks = Checks::pending},
                   "is:pr sort:updated-desc state:open assignee:@me review:required status:pending"},
        SearchText{"mentioned",
                   {.involvement = Involvement::mentioned, .review = Review::approved},
                   "is:pr sort:updated-desc state:open mentions:@me review:approved"}),
    [](const auto& row) { return std::string(row.param.name); });

template <class Facet>
void expectWhole() {
  std::size_t place = 0;
  for (const GithubFilterCase<Facet>& choice : GithubFilterOption<Facet>::kCases) {
    EXPECT_EQ(static_cast<std::size_t>(choice.value), place++) << choice.rawValue;
    EXPECT_EQ(filterValueFromRawValue<Facet>(choice.rawValue), choice.value);
  }
  EXPECT_EQ(filterValueFromRawValue<Facet>("Open"), std::nullopt);
}

TEST(GithubFilterFacets, areFoundByValueAndByName) {
  expectWhole<Involvement>();
  expectWhole<State>();
  expectWhole<Review>();
  expectWhole<Checks>();
  expectWhole<Draft>();
}

}  // namespace
}  // namespace ravant::test
