#include "desktop/text/file_links.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "desktop/text/html_writer.hpp"
#include "desktop/text/web_links.hpp"

namespace ravant::test {
namespace {

using desktop::FileReference;
using desktop::LinkKind;
using testing::ElementsAreArray;

std::string shown(const FileReference& file) {
  std::string text = file.path;
  if (file.line) text += fmt::format(" {}", *file.line);
  if (file.column) text += fmt::format(" {}", *file.column);
  return text;
}

/// Each link as the bytes it takes and, where they differ, what it leads to: `src/a.cpp:3=src/a.cpp 3`.
std::vector<std::string> linksIn(std::string_view text) {
  std::vector<std::string> links;
  for (const auto& [begin, length, file] : desktop::fileLinks(text)) {
    const std::string bytes(text.substr(begin, length));
    links.push_back(bytes == shown(file) ? bytes : fmt::format("{}={}", bytes, shown(file)));
  }
  return links;
}

struct LinksRow {
  std::string_view text;
  std::vector<std::string> links;
};

TEST(FileLinks, areFoundInProse) {
  for (const auto& [text, links] : std::vector<LinksRow>{
           {"see src/a.cpp, b.py. (lib/c.ts)", {"src/a.cpp", "b.py", "lib/c.ts"}},
           {"src/a.cpp:12: error", {"src/a.cpp:12=src/a.cpp 12"}},
           {"a.cpp:12:5, b.cpp:7-9 c.ts#L3 d.ts#L3C4-L8",
            {"a.cpp:12:5=a.cpp 12 5", "b.cpp:7-9=b.cpp 7", "c.ts#L3=c.ts 3", "d.ts#L3C4-L8=d.ts 3 4"}},
           {"/abs/x:3 ./run:4 ../b.txt ~/c.md", {"/abs/x:3=/abs/x 3", "./run:4=./run 4", "../b.txt", "~/c.md"}},
           {"@src/a.cpp tests/test_a.py::test_b node_modules/@types/n.d.ts",
            {"src/a.cpp", "tests/test_a.py", "node_modules/@types/n.d.ts"}},
           {"Makefile CMakeLists.txt .gitignore docs/README.md",
            {"Makefile", "CMakeLists.txt", ".gitignore", "docs/README.md"}},
           {"在src/a.cpp:3中 「b.py」 docs/übersicht.md", {"src/a.cpp:3=src/a.cpp 3", "b.py", "docs/übersicht.md"}},
           {"--file=src/a.cpp \"b.h\" `c.h`", {"src/a.cpp", "b.h", "c.h"}},
           {"a.cpp:0 b.cpp:99999999 c.cpp:x", {"a.cpp", "b.cpp", "c.cpp"}},
           {"error:src/a.cpp:3", {"src/a.cpp:3=src/a.cpp 3"}}}) {
    EXPECT_THAT(linksIn(text), ElementsAreArray(links)) << text;
  }
}

TEST(FileLinks, areNotWhatOnlyLooksLikeThem) {
  for (const std::string_view text : {"at 12:30, 12:30:45.5",
                                      "16:9 and 16/9:1",
                                      "fe80::1:2/64 [::1]:80 ::ffff:1.2.3.4",
                                      "1.2.3 v1.2.3 2.0.c",
                                      "127.0.0.1:8080 localhost:8080/index.html",
                                      "https://example.com/src/a.cpp:12",
                                      "ftp://e.org/a.c see://b.c",
                                      "example.com/page.html example.com:80/a.js www.e.org/a.js",
                                      "git@github.com:owner/repo.py",
                                      "ada@lovelace.py",
                                      "and/or his/her TCP/IP:80 origin/main feature/x",
                                      "Node.js Vue.js Next.js",
                                      "std::vector a::b.c",
                                      "e.g. i.e. etc. U.S.",
                                      "docker.io/library/nginx:1 redis/redis:7",
                                      "owner/repo:12 key:12",
                                      "10.md",
                                      "-Isrc/foo.h",
                                      "a//b.c",
                                      ".c ... / // :1 /:1 ./:1",
                                      "3.14 1e5.h2",
                                      ""}) {
    EXPECT_THAT(linksIn(text), testing::IsEmpty()) << text;
  }
}

TEST(FileReferences, areReadFromTargetsOfLinks) {
  const auto target = [](std::string_view text) {
    const auto file = desktop::fileOfTarget(text);
    return file ? shown(*file) : "-";
  };
  EXPECT_EQ(target("src/a%20b.cpp#L3-L9"), "src/a b.cpp 3");
  EXPECT_EQ(target("/abs/x:7:2"), "/abs/x 7 2");
  EXPECT_EQ(target("src/noextension"), "src/noextension");
  EXPECT_EQ(target("README.md"), "README.md");
  for (const std::string_view none : {"", "#part", "word", "dir/", "//host/a.c", "javascript:1", "file:///a.c",
                                      "C:/a.c", "a.c?x", "a.c#x", "a.c:1x", "a%2.c", "a/%00.c", "tel:5", "/"}) {
    EXPECT_EQ(target(none), "-") << none;
  }
}

TEST(FileReferences, areTheSameBehindAnAddress) {
  for (const FileReference& file : {FileReference{"src/a.cpp", 12, 5}, FileReference{"a b:c#?%&\"<é\n.md", 3},
                                    FileReference{"//evil.com/x"}, FileReference{"C:\\a.c"}, FileReference{"..", 1}}) {
    const std::string href = desktop::hrefOf(file);
    EXPECT_EQ(desktop::fileOfHref(href), file) << href;
    EXPECT_EQ(desktop::linkKind(href), LinkKind::fileReference) << href;
    EXPECT_EQ(href.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._/:%"), href.npos)
        << href;
  }
}

TEST(LinkKind, letsOnlyTheseThrough) {
  const auto kind = [](std::string_view href) { return desktop::linkKind(href); };
  for (const std::string_view href :
       {"https://example.com", "http://localhost:8080/a?b#c", "mailto:a@b.c", "https://e.org/%E2%80%AE"}) {
    EXPECT_EQ(kind(href), LinkKind::external) << href;
  }
  for (const std::string_view href : {"",
                                      "https:",
                                      "https://",
                                      "https:///a",
                                      "https:example.com",
                                      "HTTPS://e.org",
                                      " https://e.org",
                                      "https://e.org/ a",
                                      "https://e.org/\n",
                                      "https://e.org/\u202E",
                                      "https://e.org/\"x",
                                      "http:\\\\e.org",
                                      "mailto:",
                                      "mailto:a",
                                      "mailto:a@b.c\nbcc:d",
                                      "mailto:a@b.c?attach=/etc/passwd",
                                      "mailto:a@b.c%0Abcc:d@e.f",
                                      "javascript:alert(1)",
                                      "data:text/html,x",
                                      "file:///etc/passwd",
                                      "vscode://x",
                                      "ssh://e.org",
                                      "src/a.cpp",
                                      "file-reference:",
                                      "file-reference:a:0",
                                      "file-reference:a:1:",
                                      "file-reference:a b",
                                      "file-reference:%zz",
                                      "file-reference:%61",
                                      "file-reference:a:1-2",
                                      "File-Reference:a"}) {
    EXPECT_EQ(kind(href), LinkKind::none) << href;
  }
}

struct WebRow {
  std::string_view text;
  std::vector<std::string> links;
};

TEST(WebLinks, endBeforeTheSentenceDoes) {
  for (const auto& [text, links] : std::vector<WebRow>{
           {"(https://e.org/a_(b)), https://e.org.", {"https://e.org/a_(b)", "https://e.org"}},
           {"**https://e.org/a**; \"https://e.org/b\" <https://e.org/c>",
            {"https://e.org/a", "https://e.org/b", "https://e.org/c"}},
           {"[https://e.org/[x]] https://e.org/?a=b&c=d!", {"https://e.org/[x]", "https://e.org/?a=b&c=d"}},
           {"xhttps://e.org 1http://e.org", {"xhttps://e.org", "http://e.org"}},
           {"https:// http://. ://", {}},
           {"ada@example.com, x.y+z@a-b.co.uk. @a.bc a@b a@b.c1 a@b.cd/e a@b.cd:e https://u@e.org",
            {"ada@example.com", "x.y+z@a-b.co.uk", "https://u@e.org"}}}) {
    std::vector<std::string> found;
    for (const auto& link : desktop::webLinks(text)) found.emplace_back(text.substr(link.begin, link.length));
    EXPECT_THAT(found, ElementsAreArray(links)) << text;
  }
}

TEST(LinkedText, keepsLinesAndIndentation) {
  EXPECT_EQ(desktop::linkedText("a <b>\n  see src/a.cpp:1\t*c*\n"),
            "a &lt;b&gt;<br>\u00A0\u00A0see <a "
            "href=\"file-reference:src/a.cpp:1\">src/a.cpp:1</a>\u00A0\u00A0\u00A0\u00A0*c*<br>");
  EXPECT_EQ(desktop::linkedText("a   b https://e.org/?a&b"),
            "a \u00A0\u00A0b <a href=\"https://e.org/?a&amp;b\">https://e.org/?a&amp;b</a>");
}

}  // namespace
}  // namespace ravant::test
