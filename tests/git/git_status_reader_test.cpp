#include "git/git_status_reader.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <atomic>
#include <boost/asio/thread_pool.hpp>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "tests/git/test_repository.hpp"
#include "tests/support/run.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class GitStatusReaderTest : public testing::Test {
 protected:
  GitWorkingCopyDetails details(const std::filesystem::path& folder) {
    const auto reading = run(reader_->workingCopyFiles(folder));
    EXPECT_EQ(reading.unsupportedReason, std::nullopt);
    return reading.value;
  }
  GitWorkingCopyStat stat(const std::filesystem::path& folder) { return run(reader_->workingCopyStat(folder)).value; }
  GitFileHunks hunks(const std::filesystem::path& folder, const std::string& path) {
    return run(reader_->hunks(folder, path)).value;
  }
  std::optional<std::string> reason(const std::filesystem::path& folder) {
    const auto reading = run(reader_->workingCopyFiles(folder));
    EXPECT_EQ(reading.value, GitWorkingCopyDetails{});
    EXPECT_EQ(run(reader_->workingCopyStat(folder)).unsupportedReason, reading.unsupportedReason);
    return reading.unsupportedReason;
  }

  /// A line a change: side, status, path, counts.
  std::string listing(const std::filesystem::path& folder) {
    std::string lines;
    for (const GitFileEntry& entry : details(folder).entries()) {
      for (const auto& change : {entry.staged, entry.unstaged}) {
        if (!change) continue;
        lines += fmt::format("{} {} {}{} +{} -{}{}\n", change->staged ? "staged" : "unstaged", rawValue(change->status),
                             change->oldPath ? *change->oldPath + " -> " : "", change->path, change->insertions,
                             change->deletions, change->isBinary ? " binary" : "");
      }
    }
    return lines;
  }

 private:
  asio::thread_pool pool_{1};
  std::shared_ptr<GitStatusReader> reader_ = std::make_shared<GitStatusReader>(pool_.get_executor());
};

TEST_F(GitStatusReaderTest, readsEachKindOfChangeOnItsSide) {
  const TestRepository repository;
  repository.write("kept", "a\nb\nc\n");
  repository.write("edited", "a\nb\nc\n");
  repository.write("both", "1\n2\n");
  repository.write("removed", "x\n");
  repository.write("moved", "the same\nas before\n");
  repository.write("mode", "run\n");
  repository.write("link", "a file\n");
  repository.write("binary", std::string("\0\1\2", 3));
  repository.commit();
  repository.write("edited", "a\nB\nc\nd\n");
  repository.write("both", "1\n2\n3\n");
  repository.git({"add", "both"});
  repository.write("both", "2\n3\n");
  repository.git({"rm", "-q", "removed"});
  repository.git({"mv", "moved", "to here \"ü\""});
  std::filesystem::permissions(repository.path() / "mode", std::filesystem::perms::owner_all);
  std::filesystem::remove(repository.path() / "link");
  std::filesystem::create_symlink("kept", repository.path() / "link");
  repository.write("binary", std::string("\0\1\2\3", 4));
  repository.write("new", "untracked\n");
  repository.write("folder/new", "untracked\n");
  EXPECT_EQ(listing(repository.path()),
            "unstaged modified binary +0 -0 binary\n"
            "staged modified both +1 -0\nunstaged modified both +0 -1\n"
            "unstaged modified edited +2 -1\n"
            "unstaged untracked folder/ +0 -0\n"
            "unstaged typeChanged link +1 -1\n"
            "unstaged modified mode +0 -0\n"
            "unstaged untracked new +0 -0\n"
            "staged deleted removed +0 -1\n"
            "staged renamed moved -> to here \"ü\" +0 -0\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 4, .deletions = 4}));
}

TEST_F(GitStatusReaderTest, readsBranchesAndTheirUpstreams) {
  const TestRepository origin;
  origin.commit("first of all");
  const TestRepository clone;
  clone.git({"remote", "add", "origin", origin.path()});
  clone.git({"fetch", "-q", "origin"});
  clone.git({"checkout", "-q", "-b", "main", "origin/main"});
  origin.commit("theirs");
  clone.git({"fetch", "-q", "origin"});
  clone.commit("ours, one");
  clone.commit("ours, two");
  clone.git({"branch", "-q", "feature/x"});
  const GitWorkingCopyDetails read = details(clone.path());
  EXPECT_EQ(read.branch, "main");
  EXPECT_EQ(read.ahead, 2);
  EXPECT_EQ(read.behind, 1);

  asio::thread_pool pool(1);
  const auto branches = run(std::make_shared<GitStatusReader>(pool.get_executor())->branches(clone.path())).value;
  ASSERT_THAT(branches, SizeIs(2));
  EXPECT_EQ(branches[0].name, "feature/x");
  EXPECT_EQ(branches[0].upstream, std::nullopt);
  EXPECT_EQ(branches[1].name, "main");
  EXPECT_TRUE(branches[1].isCurrent);
  EXPECT_EQ(branches[1].upstream, "origin/main");
  EXPECT_EQ(branches[1].ahead, 2);
  EXPECT_EQ(branches[1].behind, 1);
  EXPECT_EQ(branches[1].lastCommitSummary, "ours, two");
  EXPECT_TRUE(branches[1].lastCommitDate);

  clone.git({"checkout", "-q", "--detach"});
  EXPECT_EQ(details(clone.path()).branch, "HEAD");
}

TEST_F(GitStatusReaderTest, readsHunksAsGitShowsThem) {
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

  std::string text;
  std::int64_t index = 0;
  for (const GitDiffHunk& hunk : read.unstaged) {
    text += hunk.header + '\n';
    for (const GitDiffLine& line : hunk.lines) {
      EXPECT_EQ(line.index, index++);
      EXPECT_EQ(line.oldNumber.has_value(), line.kind != GitDiffLineKind::addition);
      EXPECT_EQ(line.newNumber.has_value(), line.kind != GitDiffLineKind::deletion);
      text += (line.kind == GitDiffLineKind::context    ? ' '
               : line.kind == GitDiffLineKind::addition ? '+'
                                                        : '-') +
              line.content + '\n';
    }
  }
  EXPECT_EQ(text,
            "@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+five\r\n 6\n 7\n 8\n"
            "@@ -27,4 +27,4 @@\n 27\n 28\n 29\n-30\n+no line feed \xEF\xBF\xBD\n");

  repository.git({"add", "-A"});
  EXPECT_EQ(hunks(repository.path(), "[a]*.txt").staged, read.unstaged);
  repository.write("new/file", "one\ntwo");
  EXPECT_THAT(hunks(repository.path(), "new/file").unstaged, SizeIs(1));
}

TEST_F(GitStatusReaderTest, aProjectBelowTheTopSeesItsOwnFilesOnly) {
  const TestRepository repository;
  repository.write("above", "1\n");
  repository.write("sub/inside", "1\n");
  repository.write("subway", "1\n");
  repository.commit();
  for (const char* file : {"above", "sub/inside", "subway"}) repository.write(file, "2\n");
  EXPECT_EQ(listing(repository.path() / "sub"), "unstaged modified inside +1 -1\n");
  EXPECT_EQ(stat(repository.path() / "sub"), (GitWorkingCopyStat{.insertions = 1, .deletions = 1}));
  EXPECT_THAT(hunks(repository.path() / "sub", "inside").unstaged, SizeIs(1));
}

TEST_F(GitStatusReaderTest, whatCannotBeReadIsNotClean) {
  const TemporaryFolder none;
  EXPECT_EQ(reason(none.path()), "the folder is in no git repository");
  EXPECT_EQ(reason("/no/such/folder"), "the folder is in no git repository");
  EXPECT_EQ(reason(TestRepository({"--bare"}).path()), "the repository is bare: it has no working copy");
  const TestRepository sha256({"--object-format=sha256"});
  EXPECT_THAT(reason(sha256.path()).value_or(""), HasSubstr("SHA-256"));
  const TestRepository split;
  split.write("a", "1\n");
  split.commit();
  split.git({"update-index", "--split-index"});
  EXPECT_THAT(reason(split.path()).value_or(""), HasSubstr("git update-index --no-split-index"));
  split.git({"update-index", "--no-split-index"});
  EXPECT_EQ(details(split.path()).branch, "main");
}

TEST_F(GitStatusReaderTest, unusualRepositoriesAreRead) {
  const TestRepository unborn;
  unborn.write("a", "1\n");
  unborn.git({"add", "a"});
  EXPECT_EQ(details(unborn.path()).branch, "HEAD");
  EXPECT_EQ(listing(unborn.path()), "staged added a +1 -0\n");
  EXPECT_EQ(stat(unborn.path()), (GitWorkingCopyStat{.insertions = 1, .deletions = 0}));

  const TestRepository sparse;
  sparse.write("in/a", "1\n");
  sparse.write("out/b", "1\n");
  sparse.commit();
  sparse.git({"sparse-checkout", "set", "in"});
  EXPECT_FALSE(std::filesystem::exists(sparse.path() / "out"));
  EXPECT_EQ(listing(sparse.path()), "") << "what is left out is not deleted";
  EXPECT_EQ(stat(sparse.path()), GitWorkingCopyStat{});

  const TestRepository main;
  main.commit();
  main.git({"worktree", "add", "-q", (main.path() / "linked").string()});
  EXPECT_EQ(details(main.path() / "linked").branch, "linked");
  main.git({"config", "extensions.worktreeConfig", "true"});
  EXPECT_EQ(details(main.path()).branch, "main");
}

/// Counts by path, as `git diff --numstat` has them.
std::map<std::string, std::pair<std::string, std::string>> numstat(const TestRepository& repository,
                                                                   std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"diff", "--numstat", "--no-renames"});
  std::map<std::string, std::pair<std::string, std::string>> counts;
  std::istringstream lines(repository.git(std::move(arguments)));
  for (std::string added, deleted, path; lines >> added >> deleted >> path;) counts[path] = {added, deleted};
  return counts;
}

TEST_F(GitStatusReaderTest, agreesWithGitAfterRandomChanges) {
  const TestRepository repository;
  std::mt19937 random(20261121);
  const auto pick = [&](int count) { return std::uniform_int_distribution<int>(0, count - 1)(random); };
  const auto anyFile = [&] { return fmt::format("d{}/f{}", pick(3), pick(6)); };
  for (int step = 0; step < 120; ++step) {
    const std::string file = anyFile();
    switch (pick(6)) {
      case 0:
      case 1: {
        std::string contents;
        for (int line = pick(20); line >= 0; --line) contents += fmt::format("line {}\n", pick(12));
        repository.write(file, contents);
        break;
      }
      case 2:
        std::filesystem::remove(repository.path() / file);
        break;
      case 3:
        repository.git({"add", "-A", "--", "."});
        break;
      case 4:
        if (std::filesystem::exists(repository.path() / file)) repository.git({"add", "--", file});
        break;
      default:
        if (pick(4) == 0) repository.commit();
        break;
    }
    if (step % 6 != 5) continue;
    for (const bool staged : {true, false}) {
      const auto expected =
          numstat(repository, staged ? std::vector<std::string>{"--cached"} : std::vector<std::string>{});
      std::map<std::string, std::pair<std::string, std::string>> found;
      const GitWorkingCopyDetails read = details(repository.path());
      for (const GitFileChange& change : staged ? read.staged : read.unstaged) {
        if (change.status == GitFileStatus::untracked) continue;
        const auto counts = [](std::int64_t added, std::int64_t deleted) {
          return std::pair(std::to_string(added), std::to_string(deleted));
        };
        if (!change.oldPath) {
          found[change.path] = counts(change.insertions, change.deletions);
          continue;
        }
        // Git was told to show a rename as two changes.
        ASSERT_TRUE(expected.contains(*change.oldPath) && expected.contains(change.path)) << change.path;
        found[change.path] = expected.at(change.path);
        found[*change.oldPath] = expected.at(*change.oldPath);
      }
      ASSERT_EQ(found, expected) << "step " << step << (staged ? " staged" : " unstaged");
    }
  }
}

TEST_F(GitStatusReaderTest, readingChangesNothing) {
  const TestRepository repository;
  for (int i = 0; i < 50; ++i) repository.write(fmt::format("f{}", i), "1\n");
  repository.commit();
  repository.write("f1", "2\n");
  repository.git({"add", "f1"});
  repository.write("f2", "2\n");
  const std::string index = repository.read(".git/index");
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(listing(repository.path()), "staged modified f1 +1 -1\nunstaged modified f2 +1 -1\n");
    stat(repository.path());
    hunks(repository.path(), "f2");
  }
  EXPECT_EQ(repository.read(".git/index"), index);
  repository.commit("it is not locked");
  EXPECT_EQ(listing(repository.path()), "") << "what is kept open sees the new state";
}

TEST_F(GitStatusReaderTest, readingAndCommittingDoNotDisturbEachOther) {
  const TestRepository repository;
  for (int i = 0; i < 200; ++i) repository.write(fmt::format("f{}", i), "1\n");
  repository.commit();
  std::atomic<bool> isOver = false;
  std::jthread committer([&] {
    for (int i = 0; i < 60; ++i) {
      repository.write(fmt::format("f{}", i), "2\n");
      repository.commit();
    }
    isOver = true;
  });
  int reads = 0;
  while (!isOver) {
    const GitWorkingCopyDetails read = details(repository.path());
    ASSERT_EQ(read.branch, "main");
    ASSERT_LE(read.unstaged.size() + read.staged.size(), 2U);
    stat(repository.path());
    ++reads;
  }
  committer.join();
  EXPECT_GT(reads, 10);
  EXPECT_EQ(listing(repository.path()), "");
  EXPECT_EQ(repository.git({"rev-list", "--count", "HEAD"}), "61\n");
}

}  // namespace
}  // namespace ravant::test
