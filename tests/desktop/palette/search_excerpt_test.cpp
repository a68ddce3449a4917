#include "desktop/palette/search_excerpt.hpp"

#include <gtest/gtest.h>

namespace ravant::test {
namespace {

using desktop::readable;

/// The snippet of a text in which the words between `«` and `»` are marked.
SearchSnippet marked(std::string_view text) {
  SearchSnippet snippet;
  for (std::size_t at = 0; at < text.size();) {
    const std::string_view rest = text.substr(at);
    if (rest.starts_with("«")) {
      snippet.marks.push_back({snippet.text.size(), snippet.text.size()});
      at += std::string_view("«").size();
    } else if (rest.starts_with("»")) {
      snippet.marks.back().end = snippet.text.size();
      at += std::string_view("»").size();
    } else {
      snippet.text += text[at++];
    }
  }
  return snippet;
}

struct ExcerptRow {
  const char* name;
  ConversationItemKind kind;
  const char* snippet;
  const char* readable;
};

class ExcerptTest : public testing::TestWithParam<ExcerptRow> {};

TEST_P(ExcerptTest, IsReadAsWordsWithItsMarks) {
  const SearchSnippet excerpt = readable(marked(GetParam().snippet), GetParam().kind);
  EXPECT_EQ(excerpt, marked(GetParam().readable)) << excerpt.text;
}

constexpr auto kAgent = ConversationItemKind::agentMessage;
constexpr auto kTool = ConversationItemKind::toolInvocationGroup;
constexpr auto kUser = ConversationItemKind::userMessage;

INSTANTIATE_TEST_SUITE_P(
    Kinds, ExcerptTest,
    testing::Values(
        ExcerptRow{"emphasis", kAgent,
                   "# Pages I will read the **«reader»** first, with *«care»*, see [the docs](https://example.org/x) "
                   "and `core/a.hpp`.",
                   "Pages I will read the «reader» first, with «care», see the docs and core/a.hpp."},
        ExcerptRow{"fence", kAgent, "…That is it. ```cpp /// «Items» next to `anchor` ``` **Cut",
                   "…That is it. /// «Items» next to anchor Cut"},
        ExcerptRow{"cutLink", kAgent, "see «the» [docs](https://exam…", "see «the» docs…"},
        ExcerptRow{"noSigns", kAgent, "a * b, int* p, x[3](y) of snake_case in C# # «1»",
                   "a * b, int* p, x3 of snake_case in C# «1»"},
        ExcerptRow{"marksStay", kAgent, "the [docs](https://«example».org) of **all**",
                   "the [docs](https://«example».org) of all"},
        ExcerptRow{"input", kTool, R"({"command":"ctest -R «Reader»","limit":60,"all":true})",
                   "command: ctest -R «Reader» · limit: 60 · all: true"},
        ExcerptRow{"cutInput", kTool, R"(…e_path":"/a/«reader».cpp","old":"a","new":["b","c"]…)",
                   "…e_path: /a/«reader».cpp · old: a · new: b · c…"},
        ExcerptRow{"quotesOfTheText", kTool,
                   R"({"command":"grep -rn "«reader»" core && echo '{"a": 1}'","description":"Find it"})",
                   R"(command: grep -rn "«reader»" core && echo '{"a": 1}' · description: Find it)"},
        ExcerptRow{"codeOfTheText", kTool,
                   R"({"file":"a.cpp","old":"int «reader»() { return 1; }","new":"f({1, "b"}); }"})",
                   R"(file: a.cpp · old: int «reader»() { return 1; } · new: f({1, "b"}); })"},
        ExcerptRow{"lists", kTool,
                   R"({"todos":[{"content":"the "«reader»"","done":true},{"content":"it","done":false}]})",
                   R"(todos: content: the "«reader»" · done: true · content: it · done: false)"},
        ExcerptRow{"nameThatIsCut", kTool, R"(…ath":"/a/«reader».cpp"}])", "…ath: /a/«reader».cpp"},
        ExcerptRow{"onlyTheEnd", kTool, R"(…made the «reader» go on at once"})", "…made the «reader» go on at once"},
        ExcerptRow{"endOfCode", kTool, "…{ return «reader»(\"a\"); }", "…{ return «reader»(\"a\"); }"},
        ExcerptRow{"output", kTool, "int main() { puts(\"«hello»\", x); }", "int main() { puts(\"«hello»\", x); }"},
        ExcerptRow{"prompt", kUser, "Say **«this»** as {\"it\":\"is\"}", "Say **«this»** as {\"it\":\"is\"}"}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace ravant::test
