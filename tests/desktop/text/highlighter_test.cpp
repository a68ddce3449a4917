#include "desktop/text/highlighter.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <random>

#include "platform/text/utf8.hpp"

namespace ravant::test {
namespace {

using desktop::CodeSpan;
using desktop::CodeToken;
using desktop::Highlighter;

constexpr std::string_view kTokens = " ktsncf+-";

std::u16string wide(std::string_view text) {
  std::u16string wide;
  for (std::size_t at = 0; at < text.size();) {
    const auto [character, size] = characterAt(text, at);
    if (character >= 0x10000) wide += static_cast<char16_t>(0xD7C0 + (character >> 10));
    wide += static_cast<char16_t>(character < 0x10000 ? character : 0xDC00 + (character & 0x3FF));
    at += size;
  }
  return wide;
}

std::vector<std::u16string> lines(std::u16string_view text) {
  std::vector<std::u16string> lines;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(u'\n', at), text.size());
    lines.emplace_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

/// The line with its spans as `«k int»`.
std::u16string marked(std::u16string_view line, const std::vector<CodeSpan>& spans) {
  std::u16string text;
  std::size_t at = 0;
  for (const auto& [begin, length, token] : spans) {
    text.append(line.substr(at, begin - at)) += u'«';
    text += static_cast<char16_t>(kTokens[static_cast<std::size_t>(token)]);
    (text += u' ').append(line.substr(begin, length)) += u'»';
    at = begin + length;
  }
  return text.append(line.substr(at));
}

std::u16string withoutMarks(std::u16string_view marked) {
  std::u16string text;
  for (std::size_t at = 0; at < marked.size(); ++at) {
    if (marked[at] == u'«')
      at += 2;
    else if (marked[at] != u'»')
      text += marked[at];
  }
  return text;
}

/// A text with its spans, each as `«k int»`: keyword, type, string, number, comment, function that is called, `+` and
/// `-`.
struct Sample {
  std::string_view language;
  std::string_view marked;
};

class HighlighterSamples : public testing::TestWithParam<Sample> {};

TEST_P(HighlighterSamples, arePainted) {
  const std::u16string expected = wide(GetParam().marked);
  const Highlighter highlighter(GetParam().language);
  Highlighter::State state;
  std::vector<Highlighter::State> before;
  std::u16string painted;
  const auto texts = lines(withoutMarks(expected));
  for (const std::u16string& text : texts) {
    before.push_back(state);
    painted += marked(text, highlighter.line(text, state)) + u'\n';
  }
  painted.pop_back();
  EXPECT_EQ(painted, expected);
  EXPECT_EQ(state, Highlighter::State()) << "the sample ends in code";
  // Whoever keeps the states can begin anywhere.
  const auto expectedLines = lines(expected);
  for (std::size_t i = texts.size(); i-- > 0;) {
    Highlighter::State again = before[i];
    EXPECT_EQ(marked(texts[i], Highlighter(GetParam().language).line(texts[i], again)), expectedLines[i]);
    EXPECT_EQ(again, i + 1 < texts.size() ? before[i + 1] : state);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Table, HighlighterSamples,
    testing::Values(
        Sample{"cpp", R"sample(«k #include» «s <vector>»  «c // std»
«k #define» «f X»(a) \
«k template» <«k typename» «t T»> «k class» «t Foo» : «t Bar» { «c /* a»
«c b */» «t int» x = «n 0x1F'FFull» + «n 1.5e-3» - «n .5f»; };
«k auto» s = «s u8"a\"b"» + «s R"x(raw " )y»
«s end)x"» + «s 'c'»; «k return» std::«f move»(«f f»(«k this»->«f size»()), «n nullptr»);)sample"},
        Sample{"rust",
               R"sample(«k #[derive(Debug)]» «k pub» «k fn» f<«t 'a»>(s: &«t 'a» «t str») -> «t Option»<«t i32»> {
    «f println!»(«s "{} \n"», «s 'x'»); «k let» r = «s r#"a "b»
«s "#»; «c /* a /* b */ c */» «k for» i «k in» «n 0»..«n 10» {} «n None» })sample"},
        Sample{"go", R"sample(«k func» (s *Server) «f Run»(ctx context.Context) «t error» { «c // go»
	x := «s `raw»
«s "`» + «s "b"»; «k if» err := «f f»(x); err != «n nil» { «k return» «n nil» } })sample"},
        Sample{"python", R"sample(«k @app».«f route»(«s "/a"»)
«k async» «k def» «f f»(«k self», x: «t int» = «n 1_000») -> «n None»:
    «s """doc»
«s     string"""»
    «k return» «s rb'\''» «k if» x «k is» «k not» «n None» «k else» «f Foo»(«s f"{x}"»)  «c # end»)sample"},
        Sample{"typescript", R"sample(«k import» { a } «k from» «s "b"»; «c // c»
«k const» f = «k async» <«t T»,>(x: «t string»): «t Promise»<«t T»> => «s `a ${»x.«f map»(y => «s `${»y«s }}`»)«s } "b»
«s c`» + «s /[/"]+/g».«f test»(x) / «n 2»;
«k @Injectable»() «k class» «t A» { #p = «n null»; «k get» = «n 1» })sample"},
        Sample{
            "java",
            R"sample(«k @Override» «k public» «k final» «k class» «t A» «k extends» «t B»<«t String»> { «c /** doc */» «t int» x = «n 0b1L»; «t String» s = «s """»
«s   "a" """»; «t void» «f f»() «k throws» «t IOException» { «f g»(«s '\''»); } })sample"},
        Sample{
            "kotlin",
            R"sample(«k data» «k class» «f A»(«k val» x: «t Int»?) { «k fun» «f f»() = «s "a${x}"» «c /* a /* b */ */» })sample"},
        Sample{"swift", R"sample(«k @main» «k struct» «t A»: «t View» { #«k if» DEBUG
«k let» s = «s """»
«s  "x" """» ; «k var» b: «k some» «t View» { «f Text»(«s "a \(x)"») } })sample"},
        Sample{"csharp", R"sample(«k #region» «t A»
«k public» «k record» «f A»(«t string»? «t X») { «k var» p = «s @"c:\"»; «k var» q = «s $"a{X}"»; «k async» «t Task» «f F»() => «k await» «f G»(«n 1.5m»); })sample"},
        Sample{"ruby", R"sample(«k class» «t A» < «t B»  «c # c»
  «k def» «f f?»(x) = «t @y» ||= x.map { |z| «s "a#{z}"» } =~ «s /a"b/i»
  s = «s <<~SQL».strip
«s     select "a"»
«s   SQL»
  puts :sym, «n nil»
«c =begin»
«c a»
«c =end»)sample"},
        Sample{"php", R"sample(<?«k php» «k #[Pure]» «k function» «f f»(?«t int» «t $x»): «t string» { «c // c»
«k return» «s <<<EOT»
«s  a $x»
«s  EOT» . «s 'b'» . «f strlen»(«t $x») ?? «n null»; })sample"},
        Sample{"shell", R"sample(«c #!/bin/sh»
«k if» [ -n «s "$A"» ]; «k then» echo «t ${B:-x}» «t $1» «s "multi»
«s line"» a#b «c # c»
cat «s <<'EOF'» | sort «s "x"»
«s it's»
«s EOF»
«k done»)sample"},
        Sample{"sql", R"sample(«k SELECT» «f Count»(*), «s 'it'»«s 's'» «k FROM» users «c -- c»
«k WHERE» id = «n 1.5» «k AND» «k NOT» x «k IS» «n NULL» «c /* a»
«c b */»; «k create» «k table» T (a «t VARCHAR»(«n 20»));)sample"},
        Sample{
            "json",
            R"sample({«t "a b"»: [«n 1», -«n 2.5e3», «n true», «n null», «s "c: d"»], «t "e"» : {«t "f"»: «s "g\""»}})sample"},
        Sample{"yaml", R"sample(«c # c»
«t key»: value «c # d»
«t app.io/name»: «s "a: b"»
- «t it's»: «n true»
  «t port»: «n 8080»
  «t url»: http://x#y)sample"},
        Sample{"toml", R"sample(«t [a.b]»
«t x» = «s "s"» «c # c»
«t y.z» = «n 1979»-«n 05»-«n 27»
«t l» = [ «s """»
«s m"""», «n true» ])sample"},
        Sample{"html", R"sample(«k <!DOCTYPE» «t html»«k >»«c <!-- a»
«c b -->»«k <a» «t href»=«s "x>y"» «t disabled»«k >»t «n &amp;» u«k </a»«k >»
«k <script» «t type»=«s 'm'»«k >»
if (a < b) {}
«k </script»«k >»«k <br»/«k >»)sample"},
        Sample{"css", R"sample(.a:hover, #id > b { «t color»: «n #0b6a68»; «t margin»: «n 0» -«n 1.5em»; «c /* c */» }
«k @media» («t min-width»: «n 10px») { «t --x»: «f var»(--y, «s "s"»); })sample"},
        Sample{"qml", R"sample(«k import» «t QtQuick»
«t Item» { «t id»: root
  «k property» «t int» w: a ? «n 2» : «n 3»
  «t onClicked»: { «f go»(«s "x"») } «c // c»
  «t width»: «t Theme.size» })sample"},
        Sample{"cmake", R"sample(«k if»(«k NOT» «k TARGET» x) «c # c»
  «f set»(A «s "b ${C}"» PARENT_SCOPE) «c #[[ d»
«c e ]]» «f target_link_libraries»(x «k PRIVATE» «t ${Y}»))sample"},
        Sample{"make", R"sample(CC := gcc «c # c»
«t %.o»: %.c «t $(DEPS)»
	«t $(CC)» -o «t $@» «s 'x'»
«k ifeq» («t $(A)»,b)
«k endif»)sample"},
        Sample{"dockerfile", R"sample(«k FROM» alpine:«n 3.19» «k AS» base «c # c»
«k RUN» apk add --no-cache git && echo «s "$X"»)sample"},
        Sample{"lua", R"sample(«k local» s = «s [==[ a ]] »
«s b ]==]» «c -- c»
«c --[[ d»
«c e ]]» «k if» x ~= «n nil» «k then» «f print»(s, «s 'q'») «k end»)sample"},
        Sample{"haskell", R"sample(«c {-# LANGUAGE X #-}» «k module» «t Main» «k where» «c -- c»
f' :: «t Int» -> «t Maybe» a
f' x = «k let» y' = «s 'c'» «k in» «t Just» «s "s"»)sample"},
        Sample{"diff", R"sample(«c diff --git a/x b/x»
«c --- a/x»
«c +++ b/x»
«k @@ -1 +1 @@»
«- -a»
«+ +b»
 c)sample"}),
    [](const auto& row) { return std::string(row.param.language); });

TEST(Highlighter, leavesOpenWhatIsNotClosed) {
  const auto stateBehind = [](std::string_view language, std::string_view text) {
    Highlighter::State state;
    for (const std::u16string& line : lines(wide(text))) Highlighter(language).line(line, state);
    return state;
  };
  const Highlighter::State closed;
  EXPECT_NE(stateBehind("cpp", "/* a"), closed);
  EXPECT_NE(stateBehind("cpp", "\"a\\"), closed);
  EXPECT_NE(stateBehind("js", "`${a"), closed);
  EXPECT_NE(stateBehind("rust", "/* /* */"), stateBehind("rust", "/* /*"));
  EXPECT_NE(stateBehind("sh", "cat <<A"), stateBehind("sh", "cat <<B"));
  // A quote alone is no string of many lines, nor is a shift a document.
  EXPECT_EQ(stateBehind("cpp", "it's"), closed);
  EXPECT_EQ(stateBehind("yaml", "a: it's"), closed);
  EXPECT_EQ(stateBehind("ruby", "a<<b; c << d; e <<f"), closed);
  EXPECT_EQ(stateBehind("sh", "cat <<<x; echo $((1<<n))"), closed);
  EXPECT_EQ(stateBehind("rust", "fn f<'a>(c: char) { c == '\"' }"), closed);
}

TEST(Highlighter, takesAnyLine) {
  const std::vector<std::string> parts{
      "\"",   "'",      "`",        "${",       "}",    "{",    "/*",     "*/",    "//", "#",        "#[",
      "--[[", "]]",     "[==[",     "R\"x(",    ")x\"", "r#\"", "\"#",    "<<A",   "A",  "<<<\"A\"", "<!--",
      "-->",  "<a ",    "</script", "<script>", ">",    "=",    "$(",     "${a",   "@",  "@a",       "\\",
      "/",    "[",      " ",        "\t",       "1",    ".",    "..",     "0x",    "e+", "é",        "😀",
      "word", "=begin", "(",        ":",        "%",    "-",    "\"\"\"", "\'\'\'"};
  std::mt19937 random(22);  // NOLINT(bugprone-random-generator-seed): the same texts in every run
  for (const std::string_view language :
       {"cpp",  "rust", "js",   "py", "ruby", "php", "sh",   "lua", "haskell", "html", "css",
        "yaml", "toml", "make", "cs", "sql",  "qml", "diff", "hcl", "ps1",     "nix"}) {
    const Highlighter highlighter(language);
    Highlighter::State state;
    for (int i = 0; i < 300; ++i) {
      std::string line;
      for (int part = std::uniform_int_distribution(0, 12)(random); part > 0; --part) {
        line += parts[std::uniform_int_distribution<std::size_t>(0, parts.size() - 1)(random)];
      }
      const std::u16string text = wide(line);
      std::size_t end = 0;
      for (const CodeSpan& span : highlighter.line(text, state)) {
        ASSERT_GE(span.begin, end) << language << ": " << line;
        ASSERT_GT(span.length, 0U) << language << ": " << line;
        ASSERT_NE(span.token, CodeToken::plain) << language << ": " << line;
        end = span.begin + span.length;
      }
      ASSERT_LE(end, text.size()) << language << ": " << line;
    }
  }
}

struct NameRow {
  std::string_view said;
  std::string_view language;
  std::string_view name;
};

TEST(LanguageOf, knowsWordsNamesAndExtensions) {
  for (const auto& [said, language, name] : std::vector<NameRow>{{"c++", "cpp", "C++"},
                                                                 {"CPP title=\"a.h\"", "cpp", "C++"},
                                                                 {"hpp", "cpp", "C++"},
                                                                 {"src/a.hpp", "cpp", "C++"},
                                                                 {"h", "c", "C"},
                                                                 {"tsx", "ts", "TypeScript"},
                                                                 {"ts:src/a.ts", "ts", "TypeScript"},
                                                                 {"{.python .numberLines}", "py", "Python"},
                                                                 {"language-rust", "rs", "Rust"},
                                                                 {"rust,ignore", "rs", "Rust"},
                                                                 {"c#", "cs", "C#"},
                                                                 {"CMakeLists.txt", "cmake", "CMake"},
                                                                 {"a/b/Dockerfile", "docker", "Dockerfile"},
                                                                 {"Makefile", "make", "Makefile"},
                                                                 {".clang-format", "yaml", "YAML"},
                                                                 {"archive.tar.yml", "yaml", "YAML"},
                                                                 {"console", "", "console"},
                                                                 {"x.unknown", "", "x.unknown"},
                                                                 {"", "", ""},
                                                                 {"a b", "", "a"},
                                                                 {"cpp hpp", "cpp", "C++"},
                                                                 {"\x1b[31m", "", "␛[31m"}}) {
    EXPECT_EQ(desktop::languageOf(said), language) << said;
    EXPECT_EQ(desktop::languageName(said), name) << said;
  }
  Highlighter::State state;
  EXPECT_TRUE(Highlighter("console").line(u"if (\"a\")", state).empty());
  EXPECT_EQ(state, Highlighter::State());
}

}  // namespace
}  // namespace ravant::test
