#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <random>

#include "tests/integrations/github/github_service_test.hpp"

namespace ravant::test {
namespace {

/// A GitHub that goes on changing, and filters that ask it.
class GithubAgreement : public GithubServiceTest {
 protected:
  bool once(int in) { return number(0, in - 1) == 0; }
  int number(int least, int most) { return std::uniform_int_distribution(least, most)(random); }
  template <class Value>
  Value anyOf(const std::vector<Value>& values) {
    return values.at(static_cast<std::size_t>(number(0, static_cast<int>(values.size()) - 1)));
  }
  template <class Facet>
  Facet anyCase() {
    const auto& cases = GithubFilterOption<Facet>::kCases;
    return cases.at(static_cast<std::size_t>(number(0, static_cast<int>(cases.size()) - 1))).value;
  }

  using Text = std::optional<std::string>;
  void change(SimulatedPull& pull) {
    const auto toggle = [&](std::set<std::string>& users) {
      if (users.erase("octocat") == 0 && once(3)) users.insert("octocat");
    };
    for (auto* users : {&pull.assignees, &pull.reviewRequests, &pull.mentioned, &pull.commenters}) {
      if (once(2)) toggle(*users);
    }
    if (once(3)) pull.isDraft = !pull.isDraft;
    if (once(2)) pull.reviewDecision = anyOf<Text>({{}, "APPROVED", "CHANGES_REQUESTED", "REVIEW_REQUIRED"});
    pull.reviewedWithoutDecision = !pull.reviewDecision && once(2);
    if (once(2)) pull.checkState = anyOf<Text>({{}, "SUCCESS", "FAILURE", "PENDING", "ERROR", "EXPECTED"});
    if (once(3)) pull.closed = !pull.closed;
    pull.merged = pull.closed && once(2);
    pull.title += ".";
  }

  void add() {
    SimulatedPull pull{.repository = anyOf(repositories)};
    pull.author = anyOf<Text>({{}, "octocat", "OctoCat", "hubot", "mona"});
    change(pull);
    const std::string repository = pull.repository;
    pulls.emplace_back(repository, github.addPull(std::move(pull)));
  }

  void changeSome() {
    for (int count = number(0, 40); count > 0; --count) {
      const auto [repository, number] = anyOf(pulls);
      github.change(repository, number, [this](SimulatedPull& pull) { change(pull); });
    }
    if (once(12)) rename(anyOf(repositories));
    if (once(12)) replace(anyOf(repositories));
  }

  void rename(const std::string& from) {
    const bool isOtherCase = once(2);
    const std::string to = isOtherCase ? recased(from) : fmt::format("octo/renamed{}", ++names);
    github.renameRepository(from, to);
    std::ranges::replace(repositories, from, to);
    for (auto& [repository, number] : pulls) {
      if (repository == from) repository = to;
    }
    if (!isOtherCase) gone.push_back(from);
  }

  std::string recased(std::string name) {
    for (char& letter : name) {
      if (once(3)) letter = static_cast<char>(std::islower(letter) != 0 ? std::toupper(letter) : std::tolower(letter));
    }
    return name;
  }

  /// Another repository of the same name, whose pull requests count from 1 too.
  void replace(const std::string& repository) {
    github.removeRepository(repository);
    std::erase_if(pulls, [&](const auto& pull) { return pull.first == repository; });
    for (int i = 0; i < 50; ++i) {
      SimulatedPull pull{.repository = repository};
      change(pull);
      pulls.emplace_back(repository, github.addPull(std::move(pull)));
    }
  }

  GithubContentFilter filter() {
    GithubContentFilter filter{.involvement = anyCase<GithubFilterInvolvement>(),
                               .state = anyCase<GithubFilterState>(),
                               .review = anyCase<GithubFilterReview>(),
                               .checks = anyCase<GithubFilterChecks>(),
                               .draft = anyCase<GithubFilterDraft>()};
    if (once(2)) filter.review = GithubFilterReview::any;
    if (once(2)) filter.checks = GithubFilterChecks::any;
    if (once(2)) filter.draft = GithubFilterDraft::any;
    if (!once(2)) filter.repositoryFullNames = {anyOf(repositories), anyOf(repositories)};
    if (once(10) && !gone.empty()) filter.repositoryFullNames.insert(anyOf(gone));
    if (once(4)) filter.repositoryFullNames.insert(recased(anyOf(repositories)));
    return filter;
  }

  /// What the store cannot tell from what was not reviewed is left out.
  std::vector<std::string> ours(const GithubContentFilter& filter) {
    std::vector<std::string> known = shown(filter);
    if (filter.review != GithubFilterReview::notReviewed) return known;
    const auto reviewed = github.reviewedWithoutDecision();
    std::erase_if(known, [&](const std::string& name) { return reviewed.contains(name); });
    return known;
  }

  enum class Order { asFound, any };
  void expectAgreement(const GithubContentFilter& filter, Order order) {
    auto mine = ours(filter);
    auto theirs = github.found(filter.searchQuery());
    if (order == Order::any) {
      std::ranges::sort(mine);
      std::ranges::sort(theirs);
    }
    const auto differing = std::ranges::mismatch(mine, theirs);
    ASSERT_TRUE(mine == theirs) << filter.searchQuery() << " shows " << mine.size() << ", found " << theirs.size()
                                << ", from " << (differing.in1 == mine.end() ? "the end" : *differing.in1)
                                << " on; found " << (differing.in2 == theirs.end() ? "the end" : *differing.in2);
    compared += mine.size();
  }

  /// Whether what is known of each part of the user, all else left open, is right whatever else is asked for.
  void expectAgreementOfAllFacets() {
    GithubContentFilter one{.repositoryFullNames = {anyOf(repositories)}, .state = anyCase<GithubFilterState>()};
    for (const auto& involvement : GithubFilterOption<GithubFilterInvolvement>::kCases) {
      one.involvement = involvement.value;
      sync(one);
    }
    for (const auto& involvement : GithubFilterOption<GithubFilterInvolvement>::kCases) {
      for (const auto& review : GithubFilterOption<GithubFilterReview>::kCases) {
        for (const auto& checks : GithubFilterOption<GithubFilterChecks>::kCases) {
          one.involvement = involvement.value;
          one.review = review.value;
          one.checks = checks.value;
          one.draft = anyCase<GithubFilterDraft>();
          ASSERT_NO_FATAL_FAILURE(expectAgreement(one, Order::any));
        }
      }
    }
  }

  std::mt19937 random{20261122};
  std::vector<std::string> repositories = {"octo/tools", "octo/App", "Hub/site", "hub/api"};
  std::vector<std::string> gone;
  std::vector<std::pair<std::string, std::int64_t>> pulls;
  int names = 0;
  std::size_t compared = 0;
};

TEST_F(GithubAgreement, theStoreShowsWhatTheSearchFinds) {
  for (int i = 0; i < 2000; ++i) add();
  for (int round = 0; round < 220; ++round) {
    SCOPED_TRACE(fmt::format("round {}", round));
    changeSome();
    const GithubContentFilter asked = filter();
    GithubContentFilter open = asked;
    open.review = GithubFilterReview::any;
    open.checks = GithubFilterChecks::any;
    // What the user's part is over in, only a search without those two settles.
    if (open != asked) sync(open);
    ASSERT_EQ(sync(asked).gap, GithubSyncGap::none) << asked.searchQuery();
    ASSERT_NO_FATAL_FAILURE(expectAgreement(asked, Order::asFound));
    ASSERT_NO_FATAL_FAILURE(expectAgreement(open, Order::any)) << "after " << asked.searchQuery();
    if (round % 20 == 0) ASSERT_NO_FATAL_FAILURE(expectAgreementOfAllFacets());
    store.clock->advance(std::chrono::seconds(number(-3, 5)));
  }
  EXPECT_GT(compared, 5'000U);
}

}  // namespace
}  // namespace ravant::test
