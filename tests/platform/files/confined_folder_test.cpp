#include "platform/files/confined_folder.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <fstream>
#include <iterator>
#include <thread>

#include "platform/files/private_file.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

namespace fs = std::filesystem;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Resolution = ConfinedFolder::Resolution;

constexpr std::size_t kLimit = 1024 * 1024;
constexpr std::string_view kLeadsOut = "leads out";

mode_t modeOf(const fs::path& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// What `operation` returns or which error it throws: `leads out`, or the reason.
std::string outcome(const std::function<std::string()>& operation) {
  try {
    return operation();
  } catch (const ConfinementError&) {
    return std::string(kLeadsOut);
  } catch (const ConfinedFileError& error) {
    return std::string("error: ") + error.what();
  }
}

/// A project, with things beside it that are nobody's business there.
class ConfinedFolderTest : public testing::TestWithParam<Resolution> {
 protected:
  ConfinedFolderTest() {
    fs::create_directories(project_ / "sub");
    fs::create_directories(outside_ / "folder");
    fs::create_directories(base_ / "project-other");
    write(project_ / "inside.txt", "inside");
    write(project_ / "sub/file.txt", "deep");
    write(outside_ / "secret.txt", "hush");
    write(outside_ / "folder/secret.txt", "hush");
    write(base_ / "project-other/secret.txt", "hush");
    asFound_ = aroundProject();
  }
  ~ConfinedFolderTest() override { EXPECT_EQ(aroundProject(), asFound_) << "something outside has changed"; }

  static void write(const fs::path& path, std::string_view contents) {
    std::ofstream(path, std::ios::binary) << contents;
  }
  void link(const std::string& name, const fs::path& target) { fs::create_symlink(target, project_ / name); }

  std::map<std::string, std::string> aroundProject() const {
    std::map<std::string, std::string> found;
    for (auto entry = fs::recursive_directory_iterator(base_); entry != fs::recursive_directory_iterator(); ++entry) {
      if (entry->path() == project_) {
        entry.disable_recursion_pending();
        continue;
      }
      found[entry->path()] = fmt::format("{:o} {}", modeOf(entry->path()),
                                         entry->is_regular_file() ? readFile(entry->path()).value_or("") : "");
    }
    return found;
  }

  ConfinedFolder confined() const { return ConfinedFolder(project_, GetParam()); }
  std::string read(std::string_view path) const {
    return outcome([&] { return confined().read(path, kLimit); });
  }
  std::string replace(std::string_view path, std::string_view contents = "replaced") const {
    return outcome([&] {
      confined().write(path, contents);
      return "written";
    });
  }
  /// Names in a row, a slash behind folders.
  std::string list(std::string_view path) const {
    return outcome([&] {
      std::string names;
      for (const auto& [name, isFolder] : confined().list(path)) names += name + (isFolder ? "/ " : " ");
      return names;
    });
  }
  void expectNoTemporaryFile() const {
    for (const auto& entry : fs::recursive_directory_iterator(project_)) {
      EXPECT_FALSE(entry.path().filename().native().starts_with(".ravant-")) << entry.path();
    }
  }

  TemporaryFolder folder_;
  const fs::path base_ = fs::canonical(folder_.path());
  const fs::path project_ = base_ / "project";
  const fs::path outside_ = base_ / "outside";
  std::map<std::string, std::string> asFound_;
};

std::string nameOf(const testing::TestParamInfo<Resolution>& info) {
  return info.param == Resolution::kernel ? "kernel" : "stepwise";
}

INSTANTIATE_TEST_SUITE_P(, ConfinedFolderTest, testing::Values(Resolution::kernel, Resolution::stepwise), nameOf);

TEST_P(ConfinedFolderTest, pathsThatClimbOutAreRefusedUnseen) {
  const std::string base = base_.string();
  const std::vector<std::string> paths = {"..",
                                          "../",
                                          "../outside/secret.txt",
                                          "./..//outside/secret.txt",
                                          "sub/../../outside/secret.txt",
                                          "sub/../../outside/",
                                          "missing/../../outside/secret.txt",
                                          "inside.txt/../../outside/secret.txt",
                                          "../project-other/secret.txt",
                                          base,
                                          base + "/outside/secret.txt",
                                          base + "/project/../outside/secret.txt",
                                          base + "/project-other/secret.txt",
                                          base + "/project/missing/../../outside/secret.txt",
                                          base + "/Project/inside.txt",
                                          "/" + base + "/outside/secret.txt",
                                          "/../../etc/hostname",
                                          "/",
                                          "/proc/self/root/etc/hostname"};
  for (const std::string& path : paths) {
    SCOPED_TRACE(path);
    EXPECT_EQ(read(path), kLeadsOut);
    EXPECT_EQ(replace(path), kLeadsOut);
    EXPECT_EQ(list(path), kLeadsOut);
  }
}

TEST_P(ConfinedFolderTest, linksThatLeadOutAreRefused) {
  link("file", "../outside/secret.txt");
  link("absoluteFile", outside_ / "secret.txt");
  link("folder", "../outside");
  link("absoluteFolder", outside_);
  link("sub/up", "../..");
  link("first", "second");
  link("second", "sub/third");
  link("sub/third", "../folder/secret.txt");
  link("new", "../outside/new.txt");
  link("throughRoot", "/proc/self/root" + (outside_ / "secret.txt").string());
  link("self", "/proc/self/cwd");
  for (const std::string path :
       {"file", "absoluteFile", "folder/secret.txt", "folder/folder/secret.txt", "absoluteFolder/secret.txt",
        "sub/up/outside/secret.txt", "first", "new", "throughRoot"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(read(path), kLeadsOut);
    EXPECT_EQ(replace(path), kLeadsOut);
  }
  for (const std::string path :
       {"folder/new.txt", "folder/new/new.txt", "absoluteFolder/folder/new.txt", "sub/up/new.txt", "self/new.txt"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(replace(path), kLeadsOut);
  }
  for (const std::string path : {"folder", "folder/", "absoluteFolder", "absoluteFolder/folder", "sub/up", "self"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(list(path), kLeadsOut);
  }
  expectNoTemporaryFile();
}

TEST_P(ConfinedFolderTest, linksOfTheKernelLeadNowhere) {
  const UniqueFd held(::open(outside_.c_str(), O_PATH | O_CLOEXEC));
  const ConfinedFolder processes("/proc/self", GetParam());
  const std::string secret = (outside_ / "secret.txt").string();
  for (const std::string& path : {"root" + secret, "fd/" + std::to_string(held.get()) + "/secret.txt"}) {
    EXPECT_TRUE(fs::exists("/proc/self/" + path));
    EXPECT_THAT(outcome([&] { return processes.read(path, kLimit); }), AnyOf(kLeadsOut, StartsWith("error: ")));
    EXPECT_THAT(outcome([&] {
                  processes.write(path, "replaced");
                  return "written";
                }),
                AnyOf(kLeadsOut, StartsWith("error: ")));
  }
}

TEST_P(ConfinedFolderTest, aNulEndsNoPath) {
  using namespace std::string_view_literals;
  for (const std::string_view path : {"inside.txt\0.png"sv, "\0"sv, "sub\0/../../outside/secret.txt"sv}) {
    EXPECT_THAT(read(path), StartsWith("error: "));
    EXPECT_THAT(replace(path), StartsWith("error: "));
    EXPECT_THAT(list(path), StartsWith("error: "));
  }
  EXPECT_EQ(readFile(project_ / "inside.txt"), "inside");
}

TEST_P(ConfinedFolderTest, pathsInsideMayBeWrittenInManyWays) {
  fs::create_symlink("project", base_ / "alias");
  asFound_ = aroundProject();
  const std::string project = project_.string();
  for (const std::string& path :
       {std::string("inside.txt"), std::string("./sub/..//inside.txt"), std::string("missing/../inside.txt"),
        project + "/inside.txt", project + "/sub/../../project/inside.txt", "/" + project + "//inside.txt"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(read(path), "inside");
  }
  for (const std::string& path : {std::string(), std::string("."), std::string("sub/.."), project, project + "/"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(list(path), "inside.txt sub/ ");
  }
  for (const fs::path& spelling : {base_ / "alias", base_ / "alias/", base_ / "outside/../project"}) {
    SCOPED_TRACE(spelling);
    const ConfinedFolder confined(spelling, GetParam());
    for (const fs::path& path : {spelling / "sub/file.txt", project_ / "sub/file.txt"}) {
      EXPECT_EQ(confined.resolveConfined(path.native()), "sub/file.txt");
      EXPECT_EQ(confined.read(path.native(), kLimit), "deep");
    }
    EXPECT_THROW(confined.read((outside_ / "secret.txt").native(), kLimit), ConfinementError);
  }
}

TEST_P(ConfinedFolderTest, linksInsideAreFollowedByTheKernelAlone) {
  const bool areFollowed = GetParam() == Resolution::kernel;
  link("link.txt", "inside.txt");
  link("folder", "sub");
  link("sub/side.txt", "../inside.txt");
  EXPECT_EQ(read("link.txt"), areFollowed ? "inside" : kLeadsOut);
  EXPECT_EQ(read("sub/side.txt"), areFollowed ? "inside" : kLeadsOut);
  EXPECT_EQ(read("folder/file.txt"), areFollowed ? "deep" : kLeadsOut);
  EXPECT_EQ(list("folder"), areFollowed ? "file.txt side.txt " : kLeadsOut);
}

TEST_P(ConfinedFolderTest, aWrittenLinkStaysOne) {
  const bool areFollowed = GetParam() == Resolution::kernel;
  link("folder", "sub");
  link("sub/first", "../folder/second");
  link("sub/second", project_ / "sub/file.txt");
  link("new", "sub/new/made.txt");
  ::chmod((project_ / "sub/file.txt").c_str(), 0640);
  EXPECT_EQ(replace("folder/first", "one"), areFollowed ? "written" : kLeadsOut);
  EXPECT_EQ(replace("new", "two"), areFollowed ? "written" : kLeadsOut);
  EXPECT_EQ(readFile(project_ / "sub/file.txt"), areFollowed ? "one" : "deep");
  EXPECT_EQ(modeOf(project_ / "sub/file.txt"), 0640u);
  EXPECT_EQ(readFile(project_ / "sub/new/made.txt"), areFollowed ? std::optional<std::string>("two") : std::nullopt);
  for (const std::string name : {"folder", "sub/first", "sub/second", "new"}) {
    EXPECT_TRUE(fs::is_symlink(project_ / name)) << name;
  }
}

TEST_P(ConfinedFolderTest, linksInACircleEnd) {
  link("one", "two");
  link("two", "one");
  for (const std::string path : {"one", "one/file.txt"}) {
    EXPECT_THAT(read(path), AnyOf(kLeadsOut, "error: Too many levels of symbolic links"));
    EXPECT_THAT(replace(path), AnyOf(kLeadsOut, "error: Too many levels of symbolic links"));
  }
}

TEST_P(ConfinedFolderTest, onlyRegularFilesAreReadAndReplaced) {
  const std::string pipe = project_ / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  ASSERT_EQ(::mknod((project_ / "socket").c_str(), S_IFSOCK | 0600, 0), 0);
  std::map<std::string, std::string> kinds = {
      {"sub", "it is a folder"}, {".", "it is a folder"}, {"pipe", "it is a pipe"}, {"socket", "it is a socket"}};
  const bool hasDevice = ::mknod((project_ / "device").c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0;
  if (hasDevice) kinds["device"] = "it is a device";
  for (const auto& [path, reason] : kinds) {
    SCOPED_TRACE(path);
    EXPECT_EQ(read(path), "error: " + reason);
    EXPECT_EQ(replace(path), "error: " + reason);
  }
  EXPECT_EQ(list("pipe"), "error: Not a directory");
  EXPECT_EQ(list("inside.txt"), "error: Not a directory");
  EXPECT_EQ(read("inside.txt/file"), "error: Not a directory");
  EXPECT_EQ(replace("inside.txt/file"), "error: Not a directory");
  EXPECT_EQ(read("missing/file"), "error: No such file or directory");
  EXPECT_EQ(list("missing"), "error: No such file or directory");
  EXPECT_EQ(read(std::string(300, 'n')), "error: File name too long");
  EXPECT_EQ(replace(std::string(300, 'n')), "error: File name too long");
  expectNoTemporaryFile();
  if (!hasDevice) GTEST_SKIP() << "no device can be made here; all other kinds of files were tried";
}

TEST_P(ConfinedFolderTest, aFolderThatIsGoneIsAnError) {
  fs::remove_all(project_);
  EXPECT_EQ(read("inside.txt"), "error: No such file or directory");
  EXPECT_EQ(replace("inside.txt"), "error: No such file or directory");
  EXPECT_EQ(list("."), "error: No such file or directory");
  EXPECT_FALSE(fs::exists(project_));
}

TEST_P(ConfinedFolderTest, readsAsFarAsTheLimit) {
  std::string contents;
  for (int i = 0; contents.size() < 300'000; ++i) contents += std::to_string(i) + std::string(1, '\0');
  write(project_ / "large", contents);
  for (const std::size_t limit : {std::size_t{0}, std::size_t{1}, std::size_t{65'536}, std::size_t{100'000},
                                  contents.size(), contents.size() + 1}) {
    EXPECT_TRUE(confined().read("large", limit) == contents.substr(0, limit)) << limit;
  }
}

TEST_P(ConfinedFolderTest, listsEverythingInOrder) {
  fs::create_directory(project_ / ".hidden");
  write(project_ / ".config", "");
  write(project_ / "Upper", "");
  link("toFile", "inside.txt");
  link("toFolder", "sub");
  link("toNothing", "missing");
  const std::string followed = GetParam() == Resolution::kernel ? "/" : "";
  EXPECT_EQ(list("."), ".config .hidden/ Upper inside.txt sub/ toFile toFolder" + followed + " toNothing ");
  EXPECT_EQ(list(".hidden"), "");
}

TEST_P(ConfinedFolderTest, writesNewFilesAndReplacesOthers) {
  EXPECT_EQ(replace("a/b/new.txt", "new"), "written");
  EXPECT_EQ(readFile(project_ / "a/b/new.txt"), "new");
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(modeOf(project_ / "a/b/new.txt"), 0666 & ~mask);
  EXPECT_EQ(modeOf(project_ / "a/b"), 0777 & ~mask);

  for (const mode_t mode : {0755u, 0640u, 0666u, 0600u}) {
    ::chmod((project_ / "inside.txt").c_str(), mode);
    EXPECT_EQ(replace("inside.txt", std::string("\0x", 2)), "written");
    EXPECT_EQ(modeOf(project_ / "inside.txt"), mode);
  }
  EXPECT_EQ(readFile(project_ / "inside.txt"), std::string("\0x", 2));
  EXPECT_EQ(replace("inside.txt", ""), "written");
  EXPECT_EQ(readFile(project_ / "inside.txt"), "");
  expectNoTemporaryFile();
}

TEST_P(ConfinedFolderTest, noReaderSeesHalfAFile) {
  constexpr std::size_t kSize = 256 * 1024;
  const std::string path = project_ / "inside.txt";
  write(path, std::string(kSize, 'a'));
  std::atomic<bool> isOver = false;
  int read = 0;
  int broken = 0;
  std::thread reader([&] {
    while (!isOver) {
      const std::string seen = readFile(path).value_or("");
      ++read;
      broken += seen.size() == kSize && seen.find_first_not_of(seen.front()) == std::string::npos ? 0 : 1;
    }
  });
  for (int i = 0; i < 60; ++i) EXPECT_EQ(replace("inside.txt", std::string(kSize, i % 2 == 0 ? 'b' : 'a')), "written");
  isOver = true;
  reader.join();
  EXPECT_GT(read, 0);
  EXPECT_EQ(broken, 0);
  expectNoTemporaryFile();
}

TEST_P(ConfinedFolderTest, aFailedWriteChangesNothing) {
  const Forked fullDisk([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit size{.rlim_cur = 1000, .rlim_max = 1000};
    ::setrlimit(RLIMIT_FSIZE, &size);
    if (replace("inside.txt", std::string(5000, 'x')) != "error: File too large") throw std::logic_error("written");
  });
  EXPECT_TRUE(fullDisk.succeeds());
  EXPECT_EQ(readFile(project_ / "inside.txt"), "inside");
  expectNoTemporaryFile();
}

/// In a process that is not almighty.
TEST_P(ConfinedFolderTest, whatMayNotBeReadOrWrittenIsLeftAlone) {
  constexpr uid_t kNobody = 65534;
  fs::create_directory(project_ / "closed");
  write(project_ / "closed/file.txt", "closed");
  write(project_ / "unreadable.txt", "unreadable");
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(base_.c_str(), kNobody, kNobody), 0);
    for (const auto& entry : fs::recursive_directory_iterator(base_)) {
      ASSERT_EQ(::chown(entry.path().c_str(), kNobody, kNobody), 0);
    }
  }
  ::chmod((project_ / "inside.txt").c_str(), 0444);
  ::chmod((project_ / "unreadable.txt").c_str(), 0200);
  ::chmod((project_ / "closed").c_str(), 0555);
  const Forked nobody([&] {
    if (::geteuid() == 0 && (::setegid(kNobody) != 0 || ::seteuid(kNobody) != 0)) throw std::logic_error("still root");
    for (const std::string& result : {replace("inside.txt"), read("unreadable.txt"), replace("closed/file.txt"),
                                      replace("closed/new.txt"), replace("closed/new/new.txt")}) {
      if (result != "error: Permission denied") throw std::logic_error(result);
    }
    if (replace("sub/file.txt") != "written") throw std::logic_error("a file of its own");
  });
  EXPECT_TRUE(nobody.succeeds());
  EXPECT_EQ(readFile(project_ / "inside.txt"), "inside");
  EXPECT_EQ(readFile(project_ / "closed/file.txt"), "closed");
  EXPECT_EQ(readFile(project_ / "sub/file.txt"), "replaced");
  EXPECT_EQ(modeOf(project_ / "inside.txt"), 0444u);
  expectNoTemporaryFile();
  ::chmod((project_ / "closed").c_str(), 0755);
}

/// Changes two names for each other, again and again.
class Swapping {
 public:
  Swapping(fs::path one, fs::path other)
      : thread_([this, one = std::move(one), other = std::move(other)] {
          while (!isOver_)
            failures_ += ::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) != 0;
        }) {}
  ~Swapping() {
    isOver_ = true;
    thread_.join();
    EXPECT_EQ(failures_, 0);
  }
  Swapping(const Swapping&) = delete;
  Swapping& operator=(const Swapping&) = delete;

 private:
  std::atomic<bool> isOver_ = false;
  int failures_ = 0;
  std::thread thread_;
};

/// Until `operation` has often enough met the one state and the other.
void tryBothWays(const std::function<bool()>& operation) {
  constexpr int kEach = 100;
  constexpr int kMost = 100'000;
  int done = 0;
  int refused = 0;
  for (int i = 0; i < kMost && std::min(done, refused) < kEach; ++i) ++(operation() ? done : refused);
  EXPECT_GE(std::min(done, refused), kEach) << done << " done, " << refused << " refused";
}

TEST_P(ConfinedFolderTest, aFolderThatBecomesALinkMeanwhileLeadsNowhere) {
  fs::create_directories(project_ / "a/door");
  write(project_ / "a/door/secret.txt", "inside");
  link("a/trap", outside_);
  int number = 0;
  {
    const Swapping swapping(project_ / "a/door", project_ / "a/trap");
    tryBothWays([&] {
      const std::string text = read("a/door/secret.txt");
      EXPECT_THAT(text, AnyOf("inside", kLeadsOut));
      return text == "inside";
    });
    tryBothWays([&] {
      const std::string names = list("a/door");
      EXPECT_THAT(names, AnyOf("secret.txt ", kLeadsOut));
      return names == "secret.txt ";
    });
    tryBothWays([&] { return replace("a/door/secret.txt", "inside") == "written"; });
    tryBothWays([&] {
      ++number;
      return replace(fmt::format("a/door/{}/{}.txt", number % 10, number)) == "written";
    });
  }
  expectNoTemporaryFile();
}

TEST_P(ConfinedFolderTest, aFileThatBecomesALinkMeanwhileLeadsNowhere) {
  write(project_ / "door.txt", "inside");
  link("trap.txt", outside_ / "secret.txt");
  const Swapping swapping(project_ / "door.txt", project_ / "trap.txt");
  tryBothWays([&] {
    const std::string text = read("door.txt");
    EXPECT_THAT(text, AnyOf("inside", kLeadsOut));
    return text == "inside";
  });
}

TEST_P(ConfinedFolderTest, aFileThatBecomesALinkIsReplacedItself) {
  for (int i = 0; i < 200; ++i) {
    fs::remove(project_ / "door.txt");
    fs::remove(project_ / "trap.txt");
    write(project_ / "door.txt", "inside");
    link("trap.txt", outside_ / "secret.txt");
    const Swapping swapping(project_ / "door.txt", project_ / "trap.txt");
    EXPECT_THAT(replace("door.txt"), AnyOf("written", kLeadsOut, StartsWith("error: ")));
  }
}

}  // namespace
}  // namespace ravant::test
