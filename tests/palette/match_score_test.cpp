#include "palette/match_score.hpp"

#include <gtest/gtest.h>

namespace ravant::test {
namespace {

struct ScoreRow {
  std::string_view name;
  std::string_view query;
  std::string_view candidate;
  std::optional<int> score;
};

class MatchScore : public testing::TestWithParam<ScoreRow> {};

TEST_P(MatchScore, isAsGood) { EXPECT_EQ(matchScore(GetParam().query, GetParam().candidate), GetParam().score); }

INSTANTIATE_TEST_SUITE_P(
    Table, MatchScore,
    testing::Values(
        ScoreRow{"empty", "", "Anything", 0}, ScoreRow{"emptyBoth", "", "", 0},
        ScoreRow{"prefix", "new", "New Conversation", 0}, ScoreRow{"wordStart", "conv", "New Conversation", 1},
        ScoreRow{"subsequence", "nc", "New Conversation", 3}, ScoreRow{"inside", "ersat", "New Conversation", 2},
        ScoreRow{"wordStartBehindAnInsideHit", "art", "smart art", 1},
        ScoreRow{"onlyABlankStartsAWord", "name", "owner/name", 2},
        ScoreRow{"queryWithBlank", "new conv", "New Conversation", 0},
        ScoreRow{"eachCharacterOnce", "nn", "New", std::nullopt}, ScoreRow{"order", "cn", "New Code", std::nullopt},
        ScoreRow{"longer", "newer", "new", std::nullopt}, ScoreRow{"emptyCandidate", "a", "", std::nullopt},
        ScoreRow{"umlaut", "äPFEL", "Äpfel holen", 0}, ScoreRow{"cyrillic", "мир", "ПРИВЕТ МИР", 1},
        ScoreRow{"finalSigma", "ΟΔΟΣ", "οδος", 0}, ScoreRow{"deseret", "𐐀", "𐐨", 0},
        // The bytes of the query's character are there, but in two others.
        ScoreRow{"charactersAreNotCutApart", "é", "ã©", std::nullopt},
        ScoreRow{"beyondAsciiInOrder", "äö", "Bär und Möwe", 3}, ScoreRow{"notUtf8", "\xFF", "a", std::nullopt}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ProjectMatchScore, takesTheBetterOfNameAndTitle) {
  const Project api{.name = "api"};
  EXPECT_EQ(projectMatchScore("new conv", api), 0);
  EXPECT_EQ(projectMatchScore("new conversation api", api), 0);
  EXPECT_EQ(projectMatchScore("ap", api), 0);
  EXPECT_EQ(projectMatchScore("pi", api), 2);
  EXPECT_EQ(projectMatchScore("convapi", api), 3);
  EXPECT_EQ(projectMatchScore("xyz", api), std::nullopt);
}

TEST(FoldedQuery, narrowsOnlyWhatItGoesOn) {
  EXPECT_TRUE(FoldedQuery("Neu").narrows(FoldedQuery("nE")));
  EXPECT_FALSE(FoldedQuery("ne").narrows(FoldedQuery("neu")));
  EXPECT_FALSE(FoldedQuery("an").narrows(FoldedQuery("n")));
}

}  // namespace
}  // namespace ravant::test
