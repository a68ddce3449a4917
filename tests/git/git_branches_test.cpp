#include "tests/git/status_reader_test.hpp"

#include <random>
#include <sstream>

namespace ravant::test {
namespace {

using testing::SizeIs;

TEST_F(StatusReaderTest, readsBranchesAndTheirUpstreams) {
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

  const std::vector<GitBranch> listed = branches(clone.path());
  ASSERT_THAT(listed, SizeIs(2));
  EXPECT_EQ(listed[0].name, "feature/x");
  EXPECT_EQ(listed[0].upstream, std::nullopt);
  EXPECT_EQ(listed[1].name, "main");
  EXPECT_TRUE(listed[1].isCurrent);
  EXPECT_EQ(listed[1].upstream, "origin/main");
  EXPECT_EQ(listed[1].ahead, 2);
  EXPECT_EQ(listed[1].behind, 1);
  EXPECT_EQ(listed[1].lastCommitSummary, "ours, two");
  EXPECT_TRUE(listed[1].lastCommitDate);

  clone.git({"checkout", "-q", "--detach"});
  EXPECT_EQ(details(clone.path()).branch, "HEAD");
}

TEST_F(StatusReaderTest, upstreamsAreFoundAsGitFindsThem) {
  const TestRepository repository;
  repository.commit();
  repository.git({"branch", "base"});
  repository.commit();
  for (const char* name : {"refs/remotes/one/x", "refs/remotes/deep/er/y", "refs/mirror/z"}) {
    repository.git({"update-ref", name, "base"});
  }
  repository.git({"symbolic-ref", "refs/remotes/one/HEAD", "refs/remotes/one/x"});
  repository.git({"symbolic-ref", "refs/heads/dangling", "refs/heads/nowhere"});
  std::string config = repository.read(".git/config");
  config +=
      "[remote \"one\"]\nurl=u\npushurl=p\nfetch=+refs/heads/*:refs/remotes/one/*\n"
      "[remote \"deep/er\"]\nurl=u\nfetch=refs/heads/odd:refs/remotes/deep/er/y\n"
      "[remote \"mirror\"]\nurl=u\nfetch=+refs/heads/*:refs/mirror/*\n";
  const std::vector<std::pair<std::string, std::string>> settings = {
      {"plain", "one\nmerge=refs/heads/x"},
      {"local", ".\nmerge=refs/heads/base"},
      {"q\\\"]uoted", "one\nmerge=refs/heads/x"},
      {"odd", "deep/er\nmerge=refs/heads/odd"},
      {"gone", "one\nmerge=refs/heads/never"},
      {"unknown", "nobody\nmerge=refs/heads/x"},
      {"mirrored", "mirror\nmerge=refs/heads/z"},
      {"head", "one\nmerge=refs/heads/HEAD"},
      {"two", "one\nmerge=refs/heads/x\nmerge=refs/heads/never"}};
  for (const auto& [name, remote] : settings) config += fmt::format("[branch \"{}\"]\nremote={}\n", name, remote);
  repository.write(".git/config", config);
  for (const char* name : {"plain", "local", "q\"]uoted", "odd", "gone", "unknown", "mirrored", "head", "two"}) {
    repository.git({"update-ref", fmt::format("refs/heads/{}", name), "main"});
  }
  std::string found;
  for (const GitBranch& branch : branches(repository.path())) {
    found += fmt::format("{} {} {}\n", branch.name, branch.upstream.value_or("-"), branch.ahead);
  }
  EXPECT_EQ(found,
            "base - 0\ngone - 0\nhead one/HEAD 1\nlocal base 1\nmain - 0\nmirrored mirror/z 1\nodd deep/er/y 1\n"
            "plain one/x 1\nq\"]uoted one/x 1\ntwo one/x 1\nunknown - 0\n");
}

/// A history for git-fast-import(1) with as many branches as commits: merges of whatever came before, by clocks that
/// are wrong by up to `skew` seconds.
std::string randomHistory(std::mt19937& random, int commits, int skew) {
  const auto pick = [&](int count) { return std::uniform_int_distribution<int>(0, count - 1)(random); };
  std::string history;
  for (int i = 1; i <= commits; ++i) {
    history += fmt::format("commit refs/heads/b{0}\nmark :{0}\ncommitter T <t@example.com> {1} +0000\ndata 1\nx\n", i,
                           1'700'000'000 + 60 * i - pick(skew));
    if (i == 1) continue;
    history += fmt::format("from :{}\n", std::max(1, i - 1 - pick(4)));
    for (int merged = pick(3) - 1; merged > 0; --merged) history += fmt::format("merge :{}\n", 1 + pick(i - 1));
    history += '\n';
  }
  return history;
}

TEST_F(StatusReaderTest, distancesAreThoseThatGitCounts) {
  constexpr int kBranches = 150;
  std::mt19937 random(20261121);
  for (const int skew : {1, 3600}) {
    const TestRepository repository;
    repository.git({"fast-import", "--quiet"}, randomHistory(random, kBranches, skew));
    std::string config = repository.read(".git/config");
    for (int i = 1; i <= kBranches; ++i) {
      config += fmt::format("[branch \"b{}\"]\nremote=.\nmerge=refs/heads/b{}\n", i,
                            1 + std::uniform_int_distribution<int>(0, kBranches - 1)(random));
    }
    repository.write(".git/config", config);
    const auto found = branches(repository.path());
    ASSERT_THAT(found, SizeIs(kBranches));
    for (const GitBranch& branch : found) {
      std::istringstream counts(repository.git(
          {"rev-list", "--left-right", "--count", fmt::format("{}...{}", branch.name, branch.upstream.value())}));
      std::int64_t ahead = 0;
      std::int64_t behind = 0;
      counts >> ahead >> behind;
      ASSERT_EQ(std::pair(branch.ahead, branch.behind), std::pair(ahead, behind)) << branch.name << " skew " << skew;
    }
  }
}

TEST_F(StatusReaderTest, aWrongClockHidesNothing) {
  const TestRepository repository;
  int commits = 0;
  const auto commit = [&](std::string_view branch, std::int64_t time, std::string_view parents) {
    return fmt::format("commit refs/heads/{}\nmark :{}\ncommitter T <t@example.com> {} +0000\ndata 1\nx\n{}\n", branch,
                       ++commits, time, parents);
  };
  std::string history = commit("base", 1'700'000'000, "");
  for (int i = 1; i <= 50; ++i) history += commit("base", 1'700'000'000 + i, fmt::format("from :{}\n", commits));
  history += commit("side", 1'700'000'100, "from :51\n");
  history += commit("side", 1, "from :52\n");  // 1970
  history += commit("upstream", 1'700'000'200, "from :53\n");
  history += commit("local", 1'700'000'300, "from :53\nmerge :51\n");
  repository.git({"fast-import", "--quiet"}, history);
  repository.git({"checkout", "-q", "local"});
  repository.git({"branch", "-q", "--set-upstream-to=upstream"});
  const GitWorkingCopyDetails read = details(repository.path());
  EXPECT_EQ(read.ahead, 1);
  EXPECT_EQ(read.behind, 1);
}

TEST_F(StatusReaderTest, aBranchThatCannotBeCountedIsListedWithTheOthers) {
  const TestRepository repository;
  repository.commit("common");
  repository.git({"checkout", "-q", "-b", "broken", "--track", "main"});
  for (int i = 0; i < 3; ++i) repository.commit();
  const std::string lost = repository.git({"rev-parse", "broken~1"});
  repository.git({"checkout", "-q", "-b", "sound", "--track", "main"});
  repository.commit();
  std::filesystem::remove(repository.path() / ".git/objects" / lost.substr(0, 2) / lost.substr(2, 38));

  const auto reading = run(reader->branches(repository.path()));
  EXPECT_THAT(reading.unsupportedReason.value_or(""), testing::HasSubstr("git's objects are not all there"));
  ASSERT_THAT(reading.value, SizeIs(3));
  EXPECT_EQ(reading.value[0].name, "broken");
  EXPECT_EQ(reading.value[0].upstream, "main");
  EXPECT_EQ(std::pair(reading.value[0].ahead, reading.value[0].behind), std::pair(0L, 0L));
  EXPECT_EQ(reading.value[2].name, "sound");
  EXPECT_EQ(std::pair(reading.value[2].ahead, reading.value[2].behind), std::pair(1L, 0L));
}

TEST_F(StatusReaderTest, aShallowCloneCountsAsFarAsItGoes) {
  const TestRepository origin;
  for (int i = 0; i < 5; ++i) origin.commit();
  const TestRepository clone;
  clone.git({"remote", "add", "origin", "file://" + origin.path().string()});
  clone.git({"fetch", "-q", "--depth=2", "origin"});
  clone.git({"checkout", "-q", "-b", "main", "origin/main"});
  clone.commit();
  EXPECT_EQ(details(clone.path()).ahead, 1);
  EXPECT_EQ(details(clone.path()).behind, 0);

  const TestRepository whole;
  whole.git({"remote", "add", "origin", "file://" + origin.path().string()});
  whole.git({"fetch", "-q", "origin"});
  whole.git({"checkout", "-q", "-b", "main", "origin/main"});
  whole.commit();
  origin.commit();
  whole.git({"fetch", "-q", "--depth=1", "origin"});
  std::istringstream counts(whole.git({"rev-list", "--left-right", "--count", "HEAD...@{u}"}));
  std::int64_t ahead = 0;
  std::int64_t behind = 0;
  counts >> ahead >> behind;
  const GitWorkingCopyDetails read = details(whole.path());
  EXPECT_EQ(std::pair(read.ahead, read.behind), std::pair(ahead, behind)) << "cut later";
}

}  // namespace
}  // namespace ravant::test
