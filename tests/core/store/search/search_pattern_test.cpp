#include <gmock/gmock.h>

#include "core/store/search/search_pattern.hpp"
#include "core/store/search/search_snippet.hpp"
#include "core/store/search/text_units.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

struct Occurrence {
  const char* name;
  std::string query;
  std::string text;
  std::vector<std::string> found;  ///< empty where it does not match
};

void PrintTo(const Occurrence& row, std::ostream* out) { *out << row.name; }

class Pattern : public testing::TestWithParam<Occurrence> {};

std::vector<std::string> found(const SearchPattern& pattern, std::string_view text) {
  std::vector<std::string> words;
  const auto match = pattern.match(std::span(&text, 1));
  if (!match) return words;
  for (const TextSpan& mark : match->marks) words.emplace_back(text.substr(mark.begin, mark.end - mark.begin));
  return words;
}

TEST_P(Pattern, occurs) {
  const auto& [name, query, text, expected] = GetParam();
  EXPECT_THAT(found(SearchPattern(query, LastWord::whole), text), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Pattern,
    testing::Values(Occurrence{"word", "parser", "The Parser stops", {"Parser"}},
                    Occurrence{"notInsideAWord", "parse", "The parser stops", {}},
                    Occurrence{"allWords", "stops parser", "The parser stops", {"parser", "stops"}},
                    Occurrence{"oneIsMissing", "stops lexer", "The parser stops", {}},
                    Occurrence{"partOfSnakeCase", "case", "a snake_case name", {"case"}},
                    Occurrence{"wholeSnakeCase", "snake_case", "a my_snake_case name, snake case", {"snake_case"}},
                    Occurrence{"partOfCamelCase", "reader", "class LineReader2 : LineReader", {"Reader"}},
                    Occurrence{"wholeCamelCase", "linereader", "class LineReader : line_reader", {"LineReader"}},
                    Occurrence{"typedAsItStands", "LineReader", "linereader LineReader", {"linereader", "LineReader"}},
                    Occurrence{"capitalsFirst", "server", "an HTTPServer", {"Server"}},
                    Occurrence{"capitalsThemselves", "http", "an HTTPServer", {"HTTP"}},
                    Occurrence{"capitalsWhole", "httpserver", "an HTTPServer", {"HTTPServer"}},
                    Occurrence{"partsOfLongerName", "ParserError", "MyParserErrorKind", {"ParserError"}},
                    Occurrence{"fileName", "parser.cpp", "core/my_parser.cpp: parser_cpp", {"parser.cpp"}},
                    Occurrence{"path", "core/store", "see core/store/schema.cpp, not core/stores", {"core/store"}},
                    Occurrence{"operator", "operator<<", "operator< and operator<<(x)", {"operator<<"}},
                    Occurrence{"language", "c++", "C, C++ and c", {"C++"}},
                    Occurrence{"option", "--flag", "-flag --flag=1 --flags", {"--flag"}},
                    Occurrence{"directive", "#include", "#  include, #include", {"#include"}},
                    Occurrence{"phrase", "\"in the parser\"", "in a parser, in\n  the parser", {"in\n  the parser"}},
                    Occurrence{"phraseThatIsNotClosed", "\"the parser", "the parser", {"the parser"}},
                    Occurrence{"beginning", "pars*", "parse parser sparse PARSING", {"parse", "parser", "PARSING"}},
                    Occurrence{"beginningOfAName", "line_r*", "line_reader line", {"line_reader"}},
                    Occurrence{"beginningAcrossCase", "httpse*", "HTTPServer", {"HTTPServer"}},
                    Occurrence{"caseBeyondAscii",
                               "größe straße привет ΣΊΣΥΦΟΣ",
                               "GRÖSSE GRÖßE Straße ПРИВЕТ σίσυφος",
                               {"GRÖßE", "Straße", "ПРИВЕТ", "σίσυφος"}},
                    Occurrence{"accents", "cafe naive dung", "Café nai\u0308ve Dũng", {"Café", "nai\u0308ve", "Dũng"}},
                    Occurrence{"accentsOfRareLetters",
                               "co hoi stiinta αρχη ιδιος გზა",
                               "CƠ hội ȘTIINȚA ἈΡΧῊ ΐδιος ᲒᲖᲐ",
                               {"CƠ", "hội", "ȘTIINȚA", "ἈΡΧῊ", "ΐδιος", "ᲒᲖᲐ"}},
                    Occurrence{
                        "accentsOfOtherScripts", "мои", "мо\u0438\u0306 мой Мои", {"мо\u0438\u0306", "мой", "Мои"}},
                    Occurrence{"iconsPartWords", "main", "\uE0A0main \U0001FAE8main", {"main", "main"}},
                    Occurrence{"widths", "api カナ", "ＡＰＩ ｶﾅ", {"ＡＰＩ", "ｶﾅ"}},
                    Occurrence{"ideographs", "搜索", "中文搜索引擎, 搜 索", {"搜索"}},
                    Occurrence{"oneIdeograph", "索", "中文搜索引擎", {"索"}},
                    Occurrence{"kanaBesideLatin", "検索api", "全文検索API", {"検索API"}},
                    Occurrence{"hangul", "검색", "전문검색을", {"검색"}},
                    Occurrence{"colours", "error", "\x1b[1;31merror\x1b[m: 2 err\x1b[Kors", {"error\x1b[m"}},
                    Occurrence{"notUtf8", "a\xff", "\xff\xfe a\xff", {"a\xff"}}),
    [](const auto& row) { return row.param.name; });

TEST(PatternParts, MayBeInDifferentTexts) {
  const std::array<std::string_view, 3> texts = {"Bash", "make test", "segfault in parser, the parser"};
  const auto match = SearchPattern("bash parser segfault", LastWord::whole).match(texts);
  ASSERT_TRUE(match);
  EXPECT_EQ(match->text, 2U);
  EXPECT_EQ(match->marks.size(), 3U);
  EXPECT_FALSE(SearchPattern("bash lexer", LastWord::whole).match(texts));
}

TEST(PatternParts, StandAcrossThePiecesOfALargeText) {
  std::string text;
  while (text.size() < 300'000) text += "word_by_word ";
  for (const std::size_t at : {65'520U, 65'530U, 65'536U, 131'060U}) {
    const std::string large = text.substr(0, at) + " segfault in parser " + text.substr(at);
    EXPECT_THAT(found(SearchPattern("\"segfault in parser\"", LastWord::whole), large),
                ElementsAre("segfault in parser"));
  }
}

TEST(PatternParts, AreWholeInALargeTextWithoutBlanks) {
  std::string symbols;
  std::string ideographs;
  std::string letters;
  while (symbols.size() < 70'000) symbols += "ab,";
  while (ideographs.size() < 70'000) ideographs += "中文";
  letters.assign(70'000, 'x');
  for (const std::size_t at : {61'412U, 65'531U, 65'533U, 65'534U}) {
    const std::string code = symbols.substr(0, at) + ",needle," + symbols.substr(at);
    std::string words;
    appendIndexWords(code, words);
    EXPECT_THAT(words, HasSubstr(" needle ")) << at;
    EXPECT_THAT(found(SearchPattern("needle", LastWord::whole), code), ElementsAre("needle")) << at;
    for (const char* part : {"need", "needl", "eedle", "edle", "dle"}) {
      EXPECT_THAT(found(SearchPattern(part, LastWord::whole), code), IsEmpty()) << at;
    }
    const std::string text = ideographs.substr(0, at / 3 * 3) + "搜索" + ideographs.substr(at / 3 * 3);
    words.clear();
    appendIndexWords(text, words);
    EXPECT_THAT(words, HasSubstr(" 搜索 ")) << at;
    EXPECT_THAT(found(SearchPattern("搜索", LastWord::whole), text), ElementsAre("搜索"));
  }
  EXPECT_THAT(found(SearchPattern("xxx*", LastWord::whole), letters), SizeIs(1));
  EXPECT_THAT(found(SearchPattern("xxx", LastWord::whole), letters), IsEmpty());
}

TEST(PatternRubbish, IsNoError) {
  const std::string_view nothing;
  std::string large;
  while (large.size() < 10'000) large += "\"a AND (b* OR ^c NEAR( ";
  for (const std::string& query :
       {std::string(), std::string("\""), std::string("***"), std::string("\0\"*", 3), std::string("-> << ("), large}) {
    const SearchPattern pattern(query, LastWord::begun);
    EXPECT_EQ(pattern.hasWords(), query == large);
    pattern.match(std::span(&nothing, 1));
  }
}

TEST(PatternScore, GivesMoreForWhatStandsTogetherAndOften) {
  const auto score = [](std::string_view text) {
    return SearchPattern("shell marker", LastWord::whole).match(std::span(&text, 1)).value().score;
  };
  EXPECT_GT(score("the shell marker"), score("the marker of a shell"));
  EXPECT_GT(score("the marker of a shell, a shell and a marker"), score("the marker of a shell and so on and on"));
  EXPECT_GT(score("marker, shell"), score("marker, shell" + std::string(3000, '.')));
}

TEST(Snippet, IsOneLineAroundTheFirstMark) {
  const std::string text = std::string(200, 'a') + " before\n\n\tthe  Parser \x1b[31mstops " + std::string(300, 'z');
  const std::string_view view = text;
  const auto match = SearchPattern("parser stops", LastWord::whole).match(std::span(&view, 1)).value();
  const SearchSnippet snippet = snippetOf(text, match.marks);
  EXPECT_TRUE(snippet.text.starts_with("…before the Parser")) << snippet.text;
  EXPECT_TRUE(snippet.text.ends_with("z…"));
  EXPECT_LT(snippet.text.size(), 200U);
  std::vector<std::string> marked;
  for (const TextSpan& mark : snippet.marks) marked.push_back(snippet.text.substr(mark.begin, mark.end - mark.begin));
  EXPECT_THAT(marked, ElementsAre("Parser", "stops"));
  EXPECT_EQ(snippetOf("  x\n y ", {{2, 6}}), (SearchSnippet{.text = "x y", .marks = {{0, 3}}}));
}

}  // namespace
}  // namespace ravant::test
