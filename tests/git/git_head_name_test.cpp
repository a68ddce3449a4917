#include <gmock/gmock.h>
#include <sys/stat.h>

#include "git/head_name.hpp"
#include "tests/git/status_reader_test.hpp"

namespace ravant::test {
namespace {

using testing::HasSubstr;

class HeadName : public StatusReaderTest {
 protected:
  /// What both readings tell.
  std::string name(const std::filesystem::path& folder) {
    const auto reading = run(reader->headName(folder));
    EXPECT_EQ(reading.unsupportedReason, std::nullopt);
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::symlink_status(reading.value.file)));
    const GitHead head = details(folder).head;
    EXPECT_EQ(reading.value.name, head.name);
    EXPECT_EQ(reading.value.isBranch, head.state != GitHeadState::detached);
    return reading.value.name;
  }
  std::string reason(const std::filesystem::path& folder) {
    const auto reading = run(reader->headName(folder));
    EXPECT_EQ(reading.value, GitHeadName());
    return reading.unsupportedReason.value_or("");
  }
};

TEST_F(HeadName, isThatOfTheWholeReading) {
  const TestRepository repository;
  EXPECT_EQ(name(repository.path()), "main");
  repository.write("sub/a", "1\n");
  repository.commit();
  repository.git({"checkout", "-b", "topic/with-slash"});
  EXPECT_EQ(name(repository.path() / "sub"), "topic/with-slash");
  repository.git({"pack-refs", "--all"});
  EXPECT_EQ(name(repository.path()), "topic/with-slash");

  const TemporaryFolder elsewhere;
  repository.git({"worktree", "add", (elsewhere / "copy").string(), "main"});
  EXPECT_EQ(name(elsewhere / "copy"), "main");
  std::filesystem::create_directory_symlink(repository.path() / "sub", elsewhere / "link");
  EXPECT_EQ(name(elsewhere / "link"), "topic/with-slash");

  repository.git({"checkout", "--detach"});
  EXPECT_EQ(name(repository.path()), repository.git({"rev-parse", "--short=7", "HEAD"}).substr(0, 7));
  std::filesystem::remove(repository.path() / ".git/HEAD");
  std::filesystem::create_symlink("refs/heads/main", repository.path() / ".git/HEAD");
  EXPECT_EQ(run(reader->headName(repository.path())).value.name, "main") << "as old versions of git write it";
}

TEST_F(HeadName, saysWhyThereIsNone) {
  const TemporaryFolder none;
  EXPECT_EQ(reason(none.path()), "the folder is in no git repository");
  EXPECT_EQ(reason(none / "gone"), "the folder is not there");
  none.write(".git", "gitdir: /nowhere\n");
  EXPECT_THAT(reason(none.path()), HasSubstr("/nowhere/HEAD"));

  const TestRepository repository;
  for (const std::string& head :
       {std::string(), std::string("ref:"), std::string(39, '1'), std::string("ref: main"), std::string(5'000, '1')}) {
    repository.write(".git/HEAD", head);
    EXPECT_THAT(reason(repository.path()), HasSubstr((repository.path() / ".git/HEAD").string())) << head;
  }
  repository.write(".git/HEAD", "ref: refs/heads/.invalid\n");
  EXPECT_THAT(reason(repository.path()), HasSubstr("keeps its references in no files"));
  std::filesystem::remove(repository.path() / ".git/HEAD");
  ASSERT_EQ(::mkfifo((repository.path() / ".git/HEAD").c_str(), 0600), 0);
  EXPECT_THAT(reason(repository.path()), HasSubstr("HEAD"));
}

}  // namespace
}  // namespace ravant::test
