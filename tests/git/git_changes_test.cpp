#include "tests/git/status_reader_test.hpp"

namespace ravant::test {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

TEST_F(StatusReaderTest, readsEachKindOfChangeOnItsSide) {
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

TEST_F(StatusReaderTest, tellsWhatAMergeLeftUndecided) {
  const TestRepository repository;
  repository.write("both", "1\n2\n3\n");
  repository.write("gone", "1\n");
  repository.commit();
  repository.git({"checkout", "-q", "-b", "other"});
  repository.write("both", "1\ntheirs\n3\n");
  repository.git({"rm", "-q", "gone"});
  repository.commit();
  repository.git({"checkout", "-q", "main"});
  repository.write("both", "1\nours\n3\n");
  repository.write("gone", "2\n");
  repository.commit();
  repository.tryGit({"merge", "-q", "other"});
  const GitWorkingCopyDetails read = details(repository.path());
  EXPECT_EQ(read.branch, "main");
  EXPECT_EQ(read.head.operation, "merge");
  EXPECT_EQ(listing(repository.path()),
            "staged conflicted modified both +0 -0\nunstaged conflicted modified both +4 -0\n"
            "staged conflicted modified gone +0 -0\nunstaged conflicted modified gone +0 -0\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 4, .deletions = 0}));
  const GitFileHunks marked = hunks(repository.path(), "both");
  ASSERT_THAT(marked.unstaged, SizeIs(1));
  EXPECT_EQ(marked.unstaged[0].lines[1].content, "<<<<<<< HEAD");
  EXPECT_THAT(marked.staged, IsEmpty());

  repository.git({"merge", "--abort"});
  repository.tryGit({"rebase", "-q", "other"});
  const GitHead stopped = details(repository.path()).head;
  EXPECT_EQ(stopped.operation, "rebase");
  EXPECT_EQ(stopped.state, GitHeadState::detached);
  EXPECT_EQ(stopped.branch, "HEAD");
  EXPECT_EQ(stopped.name, repository.git({"rev-parse", "HEAD"}).substr(0, 7));
}

TEST_F(StatusReaderTest, whatIsOnlyPromisedIsNotStaged) {
  const TestRepository repository;
  repository.commit();
  repository.write("empty", "");
  repository.write("new", "1\n2\n");
  repository.git({"add", "--intent-to-add", "empty", "new"});
  EXPECT_EQ(listing(repository.path()), "unstaged added empty +0 -0\nunstaged added new +2 -0\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 2, .deletions = 0}));
}

TEST_F(StatusReaderTest, whatGitWasToldToOverlookIsNotCounted) {
  const TestRepository repository;
  for (const char* name : {"assumed", "skipped", "seen", "linked"}) repository.write(name, "1\n");
  repository.commit();
  repository.git({"update-index", "--assume-unchanged", "assumed"});
  repository.git({"update-index", "--skip-worktree", "skipped"});
  for (const char* name : {"assumed", "skipped", "seen"}) repository.write(name, "1\n2\n3\n4\n");
  std::filesystem::remove(std::filesystem::path(repository.path()) / "linked");
  std::filesystem::create_symlink("seen", std::filesystem::path(repository.path()) / "linked");
  EXPECT_EQ(repository.git({"diff", "HEAD", "--shortstat"}), " 2 files changed, 4 insertions(+), 1 deletion(-)\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 4, .deletions = 1}));
}

TEST_F(StatusReaderTest, whatLiesBehindALinkIsNotInTheWorkingCopy) {
  const TestRepository repository;
  for (const char* name : {"outside/x", "outside/y"}) repository.write(name, "2\n3\n4\n");
  for (const char* name : {"folder/x", "folder/y"}) repository.write(name, "1\n");
  repository.git({"add", "folder"});
  repository.git({"commit", "-qm", "a folder"});
  repository.write("folder/y", "1\n2\n");
  repository.git({"add", "folder/y"});
  std::filesystem::remove_all(repository.path() / "folder");
  std::filesystem::create_directory_symlink("outside", repository.path() / "folder");
  EXPECT_EQ(repository.git({"diff", "HEAD", "--shortstat"}), " 2 files changed, 2 deletions(-)\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 0, .deletions = 2}));
}

TEST_F(StatusReaderTest, submodulesDifferAsTheirSettingsHaveIt) {
  const TestRepository library;
  library.write("a", "1\n");
  library.commit();
  const TestRepository repository;
  for (const char* name : {"dirty", "moved", "same", "left"}) {
    repository.git({"submodule", "--quiet", "add", library.path(), name});
  }
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 16, .deletions = 0})) << "with .gitmodules";
  repository.commit();
  EXPECT_EQ(listing(repository.path()), "");
  repository.write("dirty/a", "2\n");
  repository.write("left/untracked", "");
  repository.git({"-C", "moved", "commit", "-q", "--allow-empty", "-m", "x"});
  repository.git({"config", "submodule.left.ignore", "untracked"});
  EXPECT_EQ(listing(repository.path()), "unstaged modified dirty +1 -1\nunstaged modified moved +1 -1\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 2, .deletions = 2}));
  repository.git({"add", "moved"});
  repository.git({"config", "submodule.dirty.ignore", "all"});
  EXPECT_EQ(listing(repository.path()), "staged modified moved +1 -1\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 1, .deletions = 1}));
  EXPECT_EQ(listing(repository.path() / "dirty"), "unstaged modified a +1 -1\n") << "as a project of its own";
}

TEST_F(StatusReaderTest, submodulesThatAreGoneOrBrokenAreTold) {
  const TestRepository library;
  library.commit();
  const TestRepository repository;
  for (const char* name : {"gone", "replaced", "restored", "broken"}) {
    repository.git({"submodule", "--quiet", "add", library.path(), name});
  }
  repository.commit();
  std::filesystem::remove_all(repository.path() / "gone");
  std::filesystem::remove_all(repository.path() / "replaced");
  repository.write("replaced", "a file\n");
  repository.git({"-C", "restored", "commit", "-q", "--allow-empty", "-m", "x"});
  repository.git({"add", "restored"});
  repository.git({"-C", "restored", "checkout", "-q", "HEAD~1"});
  EXPECT_EQ(listing(repository.path()),
            "unstaged deleted gone +0 -1\nunstaged typeChanged replaced +1 -1\n"
            "staged modified restored +1 -1\nunstaged modified restored +1 -1\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 1, .deletions = 2}));

  repository.git({"-C", "broken", "update-index", "--split-index"});
  const auto partly = run(reader->workingCopyFiles(repository.path()));
  EXPECT_THAT(partly.unsupportedReason.value_or(""), testing::StartsWith("broken: the repository's index is split"));
  EXPECT_THAT(partly.value.unstaged, SizeIs(5)) << "the others are listed";
}

TEST_F(StatusReaderTest, anEmptyFileIsReadWhateverFiltersItHas) {
  const TestRepository repository;
  repository.write(".gitattributes", "* text=auto\n*.cpp diff=cpp ident\n");
  repository.write("a.cpp", "1\n");
  repository.write("a.txt", "1\n");
  repository.commit();
  for (const char* file : {"a.cpp", "a.txt", "new.txt"}) repository.write(file, "");
  EXPECT_EQ(listing(repository.path()),
            "unstaged modified a.cpp +0 -1\nunstaged modified a.txt +0 -1\nunstaged untracked new.txt +0 -0\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 0, .deletions = 2}));
  EXPECT_THAT(hunks(repository.path(), "a.txt").unstaged, SizeIs(1));
  EXPECT_THAT(hunks(repository.path(), "new.txt").unstaged, IsEmpty());
}

TEST_F(StatusReaderTest, whatASparseCheckoutLeavesOutIsNotDeleted) {
  const TestRepository repository;
  repository.write("in/a", "1\n");
  repository.write("out/b", "1\n");
  repository.commit();
  repository.git({"sparse-checkout", "set", "in"});
  EXPECT_FALSE(std::filesystem::exists(repository.path() / "out"));
  EXPECT_EQ(listing(repository.path()), "");
  EXPECT_EQ(stat(repository.path()), GitWorkingCopyStat{});
  EXPECT_EQ(hunks(repository.path(), "out/b"), GitFileHunks{});
  std::filesystem::remove(repository.path() / "in/a");
  EXPECT_EQ(listing(repository.path()), "unstaged deleted in/a +0 -1\n");
  repository.write("out/b", "1\n2\n");
  EXPECT_EQ(listing(repository.path()), "unstaged deleted in/a +0 -1\nunstaged modified out/b +1 -0\n")
      << "what is there is not left out";
  std::filesystem::remove(repository.path() / "out/b");
  EXPECT_EQ(listing(repository.path()), "unstaged deleted in/a +0 -1\n");
  repository.write("out/b", "1\n2\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 1, .deletions = 1}));
}

TEST_F(StatusReaderTest, aPathIsWhateverBytesItHas) {
  const TestRepository repository;
  const std::vector<std::string> paths = {" a b ", "\"q\"\\", "caf\xe8", "caf\xe9", "line\nbreak", "*", ":(top)z"};
  for (const std::string& path : paths) repository.write(path, "1\n");
  repository.commit();
  for (const std::string& path : paths) repository.write(path, "2\n");
  std::vector<std::string> found;
  for (const GitFileEntry& entry : details(repository.path()).entries()) {
    EXPECT_EQ(entry.unstaged->status, GitFileStatus::modified) << entry.path;
    EXPECT_THAT(hunks(repository.path(), entry.path).unstaged, SizeIs(1)) << entry.path;
    found.push_back(entry.path);
  }
  EXPECT_THAT(found, testing::UnorderedElementsAreArray(paths));
}

TEST_F(StatusReaderTest, linesAreThoseThatGitWouldStore) {
  const TestRepository repository;
  repository.write(".gitattributes", "*.txt text eol=crlf\n*.raw -diff\n");
  repository.write("a.txt", "1\r\n2\r\n");
  repository.write("a.raw", "1\n");
  repository.write("plain", "1\n2\r\n");
  repository.commit();
  std::filesystem::last_write_time(repository.path() / "a.txt", std::filesystem::file_time_type::clock::now());
  EXPECT_EQ(listing(repository.path()), "");
  repository.write("a.txt", "1\r\n2\r\n3\r\n");
  repository.write("a.raw", "2\n");
  repository.write("plain", "1\n2\n");
  EXPECT_EQ(listing(repository.path()),
            "unstaged modified a.raw +0 -0 binary\nunstaged modified a.txt +1 -0\nunstaged modified plain +1 -1\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 2, .deletions = 1}));
}

TEST_F(StatusReaderTest, aHugeFileCountsAsBinary) {
  const TestRepository repository;
  std::string text;
  while (text.size() < 60 * 1024 * 1024) text += "a line that repeats itself over and over, without end\n";
  repository.write("huge", text);
  repository.commit();
  repository.write("huge", text + "one more\n");
  EXPECT_EQ(listing(repository.path()), "unstaged modified huge +0 -0 binary\n");
  EXPECT_EQ(stat(repository.path()), GitWorkingCopyStat{});
  EXPECT_EQ(hunks(repository.path(), "huge"), GitFileHunks{});
}

}  // namespace
}  // namespace ravant::test
