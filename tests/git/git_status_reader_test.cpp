#include "tests/git/status_reader_test.hpp"

#include <sys/stat.h>

#include <map>

#include "platform/files/private_file.hpp"

namespace ravant::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(StatusReaderTest, aProjectBelowTheTopSeesItsOwnFilesOnly) {
  const TestRepository repository;
  repository.write("above", "1\n");
  repository.write("sub/inside", "1\n");
  repository.write("subway", "1\n");
  repository.commit();
  for (const char* file : {"above", "sub/inside", "subway"}) repository.write(file, "2\n");
  EXPECT_EQ(listing(repository.path() / "sub"), "unstaged modified inside +1 -1\n");
  EXPECT_EQ(stat(repository.path() / "sub"), (GitWorkingCopyStat{.insertions = 1, .deletions = 1}));
  EXPECT_THAT(hunks(repository.path() / "sub", "inside").unstaged, SizeIs(1));

  const TemporaryFolder elsewhere;
  std::filesystem::create_directory_symlink(repository.path() / "sub", elsewhere / "project");
  EXPECT_EQ(listing(elsewhere / "project"), "unstaged modified inside +1 -1\n");
  repository.write("new/project/a", "1\n");
  EXPECT_EQ(listing(repository.path() / "new"), "unstaged untracked ./ +0 -0\n");
  EXPECT_EQ(listing(repository.path() / "new/project"), "unstaged untracked ./ +0 -0\n");
}

TEST_F(StatusReaderTest, whatCannotBeReadIsNotClean) {
  const TemporaryFolder none;
  EXPECT_EQ(reason(none.path()), "the folder is in no git repository");
  EXPECT_EQ(reason("/no/such/folder"), "the folder is not there");
  none.write(".git", "gitdir: /nowhere\n");
  EXPECT_THAT(reason(none.path()), HasSubstr("leads to no repository (\"gitdir: /nowhere\")"));
  EXPECT_EQ(reason(TestRepository({"--bare"}).path()), "the repository is bare: it has no working copy");
  const TestRepository sha256({"--object-format=sha256"});
  EXPECT_THAT(reason(sha256.path()), HasSubstr("SHA-256"));
  EXPECT_EQ(reason(sha256.path() / ".git"), reason(sha256.path()));
  const TestRepository plain;
  EXPECT_THAT(reason(plain.path() / ".git"), HasSubstr("git's own"));
  plain.git({"config", "core.repositoryFormatVersion", "1"});
  plain.git({"config", "extensions.objectFormat", "sha1"});
  EXPECT_EQ(details(plain.path()).head.state, GitHeadState::unborn);
  plain.write(".git/config", "[core]\nrepositoryFormatVersion = 1\n[extensions]\nrefStorage = reftable\n");
  EXPECT_THAT(reason(plain.path()), HasSubstr("reftable"));
  plain.write(".git/config", "[core]\nrepositoryFormatVersion = 1\n[extensions]\nunheardOf = true\n");
  EXPECT_THAT(reason(plain.path()), HasSubstr("unheardof"));
}

TEST_F(StatusReaderTest, whatBecomesUnreadableIsNotClean) {
  const TestRepository repository;
  repository.write("a", "1\n");
  repository.commit();
  repository.write("a", "2\n");
  const std::string changed = "unstaged modified a +1 -1\n";
  EXPECT_EQ(listing(repository.path()), changed);
  repository.git({"update-index", "--split-index"});
  const auto unlisted = run(reader->workingCopyFiles(repository.path()));
  EXPECT_THAT(unlisted.unsupportedReason.value_or(""), HasSubstr("git update-index --no-split-index"));
  EXPECT_EQ(unlisted.value, (GitWorkingCopyDetails{.branch = "main", .head = {.branch = "main", .name = "main"}}));
  EXPECT_THAT(run(reader->hunks(repository.path(), "a")).unsupportedReason.value_or(""), HasSubstr("--no-split-index"));
  EXPECT_THAT(run(reader->workingCopyStat(repository.path())).unsupportedReason.value_or(""),
              HasSubstr("-split-index"));
  repository.git({"update-index", "--no-split-index"});
  EXPECT_EQ(listing(repository.path()), changed);
  const std::string index = repository.read(".git/index");
  repository.write(".git/index", index + "rubbish");
  EXPECT_EQ(run(reader->workingCopyFiles(repository.path())).value, unlisted.value);
  EXPECT_TRUE(run(reader->workingCopyFiles(repository.path())).unsupportedReason);
  repository.write(".git/index", index);
  EXPECT_EQ(listing(repository.path()), changed) << "the same index as before";
  const std::string head = repository.read(".git/refs/heads/main");
  for (const auto& [contents, branch] :
       {std::pair(std::string(40, '1'), "main"), std::pair(std::string("rubbish"), "HEAD")}) {
    repository.write(".git/refs/heads/main", contents + "\n");
    const auto unstaged = run(reader->workingCopyFiles(repository.path()));
    EXPECT_TRUE(unstaged.unsupportedReason);
    EXPECT_EQ(unstaged.value.branch, branch);
    EXPECT_THAT(unstaged.value.staged, IsEmpty());
    EXPECT_THAT(unstaged.value.unstaged, SizeIs(1)) << "the index tells that";
  }
  repository.write(".git/refs/heads/main", head);

  const std::string blob = repository.git({"rev-parse", "HEAD:a"});
  std::filesystem::remove(repository.path() / ".git/objects" / blob.substr(0, 2) / blob.substr(2, 38));
  repository.write("b", "");
  const auto partly = run(reader->workingCopyFiles(repository.path()));
  EXPECT_THAT(partly.unsupportedReason.value_or(""), HasSubstr("a: git's objects are not all there"));
  EXPECT_THAT(partly.value.unstaged, SizeIs(1)) << "what can be read is";
  EXPECT_THAT(run(reader->workingCopyStat(repository.path())).unsupportedReason.value_or(""), HasSubstr("a: git's"));

  std::filesystem::remove_all(repository.path() / ".git");
  EXPECT_EQ(reason(repository.path()), "the folder is in no git repository");
}

/// A file of the repository that is a pipe meanwhile.
class Pipe {
 public:
  explicit Pipe(std::filesystem::path path) : path_(std::move(path)) {
    if (std::filesystem::exists(path_)) std::filesystem::rename(path_, aside());
    EXPECT_EQ(::mkfifo(path_.c_str(), 0600), 0);
  }
  ~Pipe() {
    std::filesystem::remove(path_);
    if (std::filesystem::exists(aside())) std::filesystem::rename(aside(), path_);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

 private:
  std::filesystem::path aside() const { return path_.string() + ".aside"; }

  std::filesystem::path path_;
};

TEST_F(StatusReaderTest, aPipeInPlaceOfAFileKeepsNobodyWaiting) {
  const TestRepository repository;
  repository.write("a", "1\n");
  repository.commit();
  repository.write("a", "2\n");
  const std::filesystem::path worktree = repository.path().parent_path() / "linked";
  repository.git({"worktree", "add", "-q", worktree});
  for (const char* file :
       {".git/HEAD", ".git/index", ".git/config", ".git/packed-refs", ".git/info/exclude", ".git/info/attributes",
        ".git/refs/heads/main", ".git/objects/info/alternates", ".gitignore", ".gitattributes"}) {
    const Pipe pipe(repository.path() / file);
    EXPECT_EQ(reason(repository.path()), (repository.path() / file).string() + " is a pipe, where git has a file");
    EXPECT_TRUE(run(reader->branches(repository.path())).unsupportedReason);
  }
  const Pipe index(repository.path() / ".git/worktrees/linked/index");
  EXPECT_THAT(reason(worktree), HasSubstr("worktrees/linked/index is a pipe"));
  std::filesystem::remove(repository.path() / "a");
  const Pipe file(repository.path() / "a");
  const Pipe untracked(repository.path() / "new");
  EXPECT_EQ(listing(repository.path()), "unstaged deleted a +0 -1\n");
  EXPECT_EQ(stat(repository.path()), (GitWorkingCopyStat{.insertions = 0, .deletions = 1}));
  EXPECT_EQ(hunks(repository.path(), "new"), GitFileHunks{});
  EXPECT_THAT(hunks(repository.path(), "a").unstaged, SizeIs(1));
}

TEST_F(StatusReaderTest, anOpenRepositoryIsReadAsItIsNow) {
  const TestRepository repository;
  repository.write("sub/a", "1\n");
  repository.commit();
  std::filesystem::permissions(repository.path() / "sub/a", std::filesystem::perms::owner_all);
  EXPECT_EQ(listing(repository.path()), "unstaged modified sub/a +0 -0\n");
  repository.git({"config", "core.fileMode", "false"});
  EXPECT_EQ(listing(repository.path()), "");
  repository.git({"config", "extensions.worktreeConfig", "true"});
  repository.git({"config", "--worktree", "core.fileMode", "true"});
  EXPECT_EQ(listing(repository.path()), "unstaged modified sub/a +0 -0\n");
  EXPECT_EQ(details(repository.path() / "sub").branch, "main");
  repository.git({"init", "-q", "-b", "inner", "sub"});
  EXPECT_EQ(details(repository.path() / "sub").head.name, "inner") << "it is in a repository of its own now";
}

TEST_F(StatusReaderTest, headIsToldWhateverItIs) {
  const TestRepository unborn;
  unborn.write("a", "1\n");
  unborn.git({"add", "a"});
  EXPECT_EQ(details(unborn.path()).branch, "HEAD");
  EXPECT_EQ(details(unborn.path()).head.name, "main");
  EXPECT_EQ(listing(unborn.path()), "staged added a +1 -0\n");
  EXPECT_EQ(stat(unborn.path()), (GitWorkingCopyStat{.insertions = 1, .deletions = 0}));
  unborn.commit();
  unborn.git({"worktree", "add", "-q", (unborn.path() / "linked").string()});
  EXPECT_EQ(details(unborn.path() / "linked").branch, "linked");
}

/// Every file of a repository's own folder, with what is in it and when it was written.
std::map<std::string, std::string> insides(const TestRepository& repository) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(repository.path() / ".git")) {
    struct stat found{};
    ::lstat(entry.path().c_str(), &found);
    files[entry.path()] = fmt::format("{} {} {}", found.st_mtim.tv_sec, found.st_mtim.tv_nsec,
                                      entry.is_regular_file() ? readFile(entry.path()).value() : "");
  }
  return files;
}

TEST_F(StatusReaderTest, readingChangesNothing) {
  const TestRepository repository;
  for (int i = 0; i < 50; ++i) repository.write(fmt::format("f{}", i), "1\n");
  repository.commit();
  repository.write("f1", "2\n");
  repository.git({"add", "f1"});
  repository.write("f2", "2\n");
  const auto before = insides(repository);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(listing(repository.path()), "staged modified f1 +1 -1\nunstaged modified f2 +1 -1\n");
    stat(repository.path());
    hunks(repository.path(), "f2");
    branches(repository.path());
  }
  EXPECT_EQ(insides(repository), before);
  repository.commit("it is not locked");
  EXPECT_EQ(listing(repository.path()), "") << "what is kept open sees the new state";
}

/// A thousand commits, each of one file that is not the one before.
constexpr std::string_view kCommitter = R"(trap 'touch .git/over' EXIT
i=0
while [ $i -lt 1000 ]; do
  i=$((i + 1))
  echo $i > f$((i % 7)) && git commit -q -a -m $i || exit 1
done)";

TEST_F(StatusReaderTest, readingAndCommittingDoNotDisturbEachOther) {
  constexpr int kFiles = 7;
  const TestRepository repository;
  for (int i = 0; i < kFiles; ++i) repository.write(fmt::format("f{}", i), "0\n");
  repository.commit();
  std::filesystem::permissions(repository.path() / "f0", std::filesystem::perms::owner_all);
  Program committer({.path = "/bin/sh",
                     .arguments = {"-c", std::string(kCommitter)},
                     .environment = {{"HOME", repository.path().parent_path()},
                                     {"GIT_CONFIG_NOSYSTEM", "1"},
                                     {"PATH", "/usr/bin:/bin"}},
                     .workingDirectory = repository.path()});
  const auto last = [&] { return repository.read(".git/refs/heads/main"); };
  const std::string first = last();
  int reads = 0;
  int readsBeside = 0;
  for (bool isOver = false; !isOver || reads < 1000; ++reads) {
    const std::string before = last();
    const GitWorkingCopyDetails read = details(repository.path());
    ASSERT_EQ(read.branch, "main");
    // However many commits one reading sees, they change one line of files that are always there.
    for (const auto& changes : {read.unstaged, read.staged})
      for (const GitFileChange& change : changes) ASSERT_EQ(change.status, GitFileStatus::modified) << change.path;
    const GitWorkingCopyStat lines = stat(repository.path());
    ASSERT_LE(lines.insertions, kFiles);
    ASSERT_LE(lines.deletions, kFiles);
    if (last() != before) ++readsBeside;
    isOver = std::filesystem::exists(repository.path() / ".git/over");
  }
  const ProgramResult committed = committer.wait();
  EXPECT_EQ(committed.status, 0) << committed.errors;
  EXPECT_NE(last(), first);
  EXPECT_GT(readsBeside, 10);
  EXPECT_EQ(listing(repository.path()), "");
  EXPECT_EQ(repository.git({"rev-list", "--count", "HEAD"}), "1001\n");
}

}  // namespace
}  // namespace ravant::test
