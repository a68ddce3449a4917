#include "tests/git/diff_text.hpp"
#include "tests/git/status_reader_test.hpp"

#include <random>

namespace ravant::test {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

TEST_F(StatusReaderTest, readsHunksAsGitShowsThem) {
  const TestRepository repository;
  std::string numbers;
  for (int i = 1; i <= 30; ++i) numbers += fmt::format("{}\n", i);
  repository.write("[a]*.txt", numbers);
  repository.write("a.txt", "other\n");
  repository.commit();
  std::string edited = numbers;
  edited.replace(edited.find("5\n"), 2, "five\r\n");
  edited.replace(edited.rfind("30\n"), 3, "no line feed \xff");
  repository.write("[a]*.txt", edited);
  repository.write("a.txt", "changed too\n");
  const GitFileHunks read = hunks(repository.path(), "[a]*.txt");
  EXPECT_THAT(read.staged, IsEmpty());
  ASSERT_THAT(read.unstaged, SizeIs(2)) << "of this file alone";

  EXPECT_EQ(diffText(read.unstaged),
            "@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+five\r\n 6\n 7\n 8\n"
            "@@ -27,4 +27,4 @@\n 27\n 28\n 29\n-30\n+no line feed \xEF\xBF\xBD\n");

  repository.git({"add", "-A"});
  EXPECT_EQ(hunks(repository.path(), "[a]*.txt").staged, read.unstaged);
  repository.write("new/file", "one\ntwo");
  EXPECT_THAT(hunks(repository.path(), "new/file").unstaged, SizeIs(1));
}

TEST_F(StatusReaderTest, hunksAreThoseThatGitShows) {
  const TestRepository repository;
  std::mt19937 random(5);
  const auto pick = [&](int count) { return std::uniform_int_distribution<int>(0, count - 1)(random); };
  const auto contents = [&] {
    std::string text = "int main() {\n";
    for (int line = pick(80); line >= 0; --line) {
      text += pick(9) == 0 ? fmt::format("void f{}() {{\n", pick(9)) : fmt::format("  call({});\n", pick(4));
    }
    if (pick(3) == 0) text.pop_back();
    return text;
  };
  for (int round = 0; round < 12; ++round) {
    for (const char* file : {"a.cpp", "sub/b.txt"}) {
      repository.write(file, contents());
      if (pick(4) > 0) repository.git({"add", file});
      repository.write(file, contents());
      for (const bool staged : {true, false}) {
        std::vector<std::string> command = {"diff", "-U3", "--no-indent-heuristic", "--", file};
        if (staged) command.insert(command.begin() + 1, "--cached");
        const GitFileHunks read = hunks(repository.path(), file);
        const std::string expected = hunksOf(repository.git(command));
        if (!staged && round == 0 && expected.empty()) continue;  // not tracked yet
        ASSERT_EQ(diffText(staged ? read.staged : read.unstaged), expected) << file;
      }
    }
    if (pick(3) == 0) repository.commit();
  }
}

TEST_F(StatusReaderTest, aHunkOfTenThousandLinesIsWhole) {
  const TestRepository repository;
  repository.write("long", "");
  repository.commit();
  std::string text;
  for (int line = 1; line <= 10'000; ++line) text += fmt::format("line {}\n", line);
  repository.write("long", text);
  const std::vector<GitDiffHunk> read = hunks(repository.path(), "long").unstaged;
  ASSERT_THAT(read, SizeIs(1));
  ASSERT_THAT(read[0].lines, SizeIs(10'000));
  EXPECT_EQ(read[0].lines.back(), (GitDiffLine{.index = 9'999,
                                               .kind = GitDiffLineKind::addition,
                                               .oldNumber = std::nullopt,
                                               .newNumber = 10'000,
                                               .content = "line 10000"}));
}

TEST_F(StatusReaderTest, hunksOfHugeFilesAreBounded) {
  const auto lines = [](std::size_t count, std::string_view line) {
    std::string text;
    text.reserve(count * line.size());
    for (std::size_t i = 0; i < count; ++i) text += line;
    return text;
  };
  const TestRepository repository;
  repository.write("compared", lines(kMostComparedLines, "a\n"));
  repository.write("tooLong", lines(kMostComparedLines + 1, "a\n"));
  repository.commit();
  repository.write("compared", lines(kMostComparedLines - 1, "a\n") + "b\n");
  repository.write("tooLong", lines(kMostComparedLines, "a\n") + "b\n");
  repository.write("shown", lines(kMostHunkLines, "x\n"));
  repository.write("new", lines(kMostComparedLines + 1, "x\n"));

  EXPECT_THAT(hunks(repository.path(), "compared").unstaged, SizeIs(1));
  EXPECT_EQ(hunks(repository.path(), "compared").unstagedExtent, GitHunksExtent::whole);
  EXPECT_EQ(hunks(repository.path(), "tooLong"), GitFileHunks{.unstagedExtent = GitHunksExtent::notCompared});
  EXPECT_EQ(hunks(repository.path(), "shown").unstagedExtent, GitHunksExtent::whole);
  const GitFileHunks added = hunks(repository.path(), "new");
  EXPECT_EQ(added.unstagedExtent, GitHunksExtent::cut);
  ASSERT_THAT(added.unstaged, SizeIs(1));
  EXPECT_THAT(added.unstaged[0].lines, SizeIs(kMostHunkLines));

  repository.write("compared", lines(kMostHunkLines, "b\n"));
  std::filesystem::remove(repository.path() / "tooLong");
  repository.git({"add", "-A"});
  const auto extentAndLines = [&](const char* file) {
    const GitFileHunks read = hunks(repository.path(), file);
    std::size_t count = 0;
    for (const GitDiffHunk& hunk : read.staged) count += hunk.lines.size();
    return std::pair(read.stagedExtent, count);
  };
  EXPECT_EQ(extentAndLines("compared"), std::pair(GitHunksExtent::cut, kMostHunkLines));
  EXPECT_EQ(extentAndLines("tooLong"), std::pair(GitHunksExtent::cut, kMostHunkLines));
  EXPECT_EQ(extentAndLines("new"), std::pair(GitHunksExtent::cut, kMostHunkLines));
  EXPECT_EQ(extentAndLines("shown"), std::pair(GitHunksExtent::whole, kMostHunkLines));
}

}  // namespace
}  // namespace ravant::test
