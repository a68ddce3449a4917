#include "platform/process/process_ledger.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <fstream>
#include <functional>
#include <iterator>

#include "platform/text/uuid.hpp"
#include "tests/support/descriptors.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/processes.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A program that does something and then waits to be killed.
class DoomedProgram {
 public:
  explicit DoomedProgram(const std::function<void()>& program) : pid_(::fork()) {
    if (pid_ != 0) return;
    program();
    for (;;) ::pause();
  }
  ~DoomedProgram() {
    if (pid_ > 0) kill();
  }
  DoomedProgram(const DoomedProgram&) = delete;
  DoomedProgram& operator=(const DoomedProgram&) = delete;

  void kill() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = 0;
  }

 private:
  pid_t pid_;
};

class ProcessLedgerTest : public testing::Test {
 protected:
  ProcessLedgerTest() { EXPECT_EQ(::pipe(report_.data()), 0); }
  ~ProcessLedgerTest() override {
    for (const int end : report_) ::close(end);
  }

  /// What the program says: a word without blanks.
  void say(const std::string& word) const { EXPECT_GT(::write(report_[1], (word + "\n").data(), word.size() + 1), 0); }
  std::string heard() const {
    std::string word;
    for (char c = 0; ::read(report_[0], &c, 1) == 1 && c != '\n';) word += c;
    return word;
  }

  LaunchOptions script(const std::string& text, std::shared_ptr<ProcessLedger> ledger) const {
    return {.executable = "/bin/sh", .arguments = {"-c", text}, .ledger = std::move(ledger)};
  }

  /// Started by a program that was killed; its pids in `pids_`.
  std::string deadOwnerOf(const std::string& text, int processes) {
    DoomedProgram program([&] {
      asio::io_context loop;
      const auto ledger = ProcessLedger::open(ledgers_);
      const auto child = ChildProcess::launch(script(text, ledger), loop.get_executor());
      say(ledger->owner());
      char c = 0;
      while (::read(child->standardOutput().native_handle(), &c, 1) == 1) EXPECT_EQ(::write(report_[1], &c, 1), 1);
    });
    const std::string owner = heard();
    for (int i = 0; i < processes; ++i) pids_.push_back(std::stoi(heard()));
    EXPECT_TRUE(ledger_->isAlive(owner));
    program.kill();
    return owner;
  }

  TemporaryFolder folder_;
  std::filesystem::path ledgers_ = folder_ / "state/processes";
  std::array<int, 2> report_{};
  std::vector<pid_t> pids_;
  std::shared_ptr<ProcessLedger> ledger_ = ProcessLedger::open(ledgers_);
};

constexpr const char* kStubborn =
    "trap '' TERM HUP; setsid -w sh -c 'echo $$; exec sleep 1000' & env -i sh -c 'echo $$; exec sleep 1000' & "
    "echo $$; wait; sleep 1000";

TEST_F(ProcessLedgerTest, endsWhatAKilledProgramLeft) {
  const std::string owner = deadOwnerOf(kStubborn, 3);
  EXPECT_THAT(pids_, testing::Each(testing::Truly(isAlive)));
  EXPECT_FALSE(ledger_->isAlive(owner));
  EXPECT_THAT(ledger_->deadOwners(), ElementsAre(owner));

  EXPECT_EQ(ledger_->recover(owner), TreeEnd::complete);
  EXPECT_THAT(pids_, testing::Each(testing::Not(testing::Truly(isAlive))));
  EXPECT_THAT(ledger_->deadOwners(), ElementsAre(owner)) << "until it is forgotten";
  ledger_->forget(owner);
  EXPECT_THAT(ledger_->deadOwners(), IsEmpty());
  EXPECT_EQ(ledger_->recover(owner), TreeEnd::complete);
}

TEST_F(ProcessLedgerTest, leavesWhatDetachedItself) {
  const std::string owner = deadOwnerOf("(setsid sh -c 'echo $$; exec sleep 1000' &); sleep 1000", 1);
  EXPECT_EQ(ledger_->recover(owner), TreeEnd::complete);
  EXPECT_TRUE(isAlive(pids_.front()));
  ::kill(pids_.front(), SIGKILL);
}

TEST_F(ProcessLedgerTest, recoversWithOneDescriptor) {
  const std::string owner = deadOwnerOf(kStubborn, 3);
  {
    const DescriptorLimit limit(openDescriptors() + 20);
    const std::vector<UniqueFd> allButOne = takeAllDescriptors(1);
    EXPECT_EQ(ledger_->recover(owner), TreeEnd::complete);
  }
  EXPECT_THAT(pids_, testing::Each(testing::Not(testing::Truly(isAlive))));
}

TEST_F(ProcessLedgerTest, twoProgramsRecoverAtOnce) {
  const std::string owner = deadOwnerOf(kStubborn, 3);
  const auto recover = [&] {
    const auto ledger = ProcessLedger::open(ledgers_);
    if (ledger->recover(owner) != TreeEnd::complete) throw std::runtime_error("survivors");
    ledger->forget(owner);
  };
  const Forked first(recover);
  const Forked second(recover);
  EXPECT_TRUE(first.succeeds());
  EXPECT_TRUE(second.succeeds());
  EXPECT_THAT(pids_, testing::Each(testing::Not(testing::Truly(isAlive))));
  EXPECT_THAT(ledger_->deadOwners(), IsEmpty());
}

TEST_F(ProcessLedgerTest, findsAChildThatWasNotYetWrittenDown) {
  DoomedProgram program([&] {
    asio::io_context loop;
    const auto ledger = ProcessLedger::open(ledgers_);
    const std::string token = Uuid::random().text();
    ledger->willStart(token);
    LaunchOptions options = script("echo", nullptr);
    ::setenv("RAVANT_PROCESS", token.c_str(), 1);
    options.arguments = {"-c", "exec sleep 1000"};
    const auto child = ChildProcess::launch(std::move(options), loop.get_executor());
    say(ledger->owner());
    say(std::to_string(child->pid()));
    for (;;) ::pause();
  });
  const std::string owner = heard();
  const pid_t pid = std::stoi(heard());
  program.kill();
  EXPECT_TRUE(isAlive(pid));
  EXPECT_EQ(ledger_->recover(owner), TreeEnd::complete);
  EXPECT_FALSE(isAlive(pid));
}

TEST_F(ProcessLedgerTest, leavesTheLivingAlone) {
  const DoomedProgram program([&] {
    asio::io_context loop;
    const auto ledger = ProcessLedger::open(ledgers_);
    const auto child = ChildProcess::launch(script("read line", ledger), loop.get_executor());
    say(ledger->owner());
    say(std::to_string(child->pid()));
    for (;;) ::pause();
  });
  const std::string owner = heard();
  const pid_t pid = std::stoi(heard());
  EXPECT_EQ(ledger_->recover(owner), TreeEnd::complete);
  ledger_->forget(owner);
  EXPECT_TRUE(isAlive(pid));
  EXPECT_TRUE(ledger_->isAlive(owner));
  EXPECT_TRUE(ledger_->isAlive(ledger_->owner()));
  EXPECT_THAT(ledger_->deadOwners(), IsEmpty());
}

TEST_F(ProcessLedgerTest, doesNotTakeAnotherProcessForAChild) {
  asio::io_context loop;
  const auto stranger = ChildProcess::launch(script("read line", nullptr), loop.get_executor());
  const ProcessIdentity identity = processIdentity(stranger->pid()).value();
  const auto writtenDown = [&](const ProcessIdentity& child, const std::string& boot) {
    const std::string owner = Uuid::random().text();
    const std::string token = Uuid::random().text();
    folder_.write("state/processes/" + owner, fmt::format("will-start {0}\nstarted {0} {1} {2} {3}\ntorn li", token,
                                                          child.pid, child.startTime, boot));
    return owner;
  };
  std::string boot;
  std::ifstream("/proc/sys/kernel/random/boot_id") >> boot;
  EXPECT_EQ(ledger_->recover(writtenDown({identity.pid, identity.startTime - 1}, boot)), TreeEnd::complete);
  EXPECT_EQ(ledger_->recover(writtenDown(identity, Uuid::random().text())), TreeEnd::complete);
  EXPECT_TRUE(isAlive(identity.pid));
  EXPECT_EQ(ledger_->recover(writtenDown(identity, boot)), TreeEnd::complete);
  EXPECT_FALSE(isAlive(identity.pid));
}

TEST_F(ProcessLedgerTest, endsASessionWhoseLeaderIsGoneOnlyByItsToken) {
  asio::io_context loop;
  const auto child = ChildProcess::launch(script("sleep 1000 >/dev/null 2>&1 & echo $!", nullptr), loop.get_executor());
  const ProcessIdentity leader = processIdentity(child->pid()).value();
  std::string line(16, '\0');
  const pid_t member = std::stoi(line.substr(0, child->standardOutput().read_some(asio::buffer(line))));
  run(child->waitForExit(), loop);
  ASSERT_FALSE(processIdentity(leader.pid));
  std::string boot;
  std::ifstream("/proc/sys/kernel/random/boot_id") >> boot;
  const auto recovered = [&](const std::string& token) {
    const std::string owner = Uuid::random().text();
    folder_.write("state/processes/" + owner,
                  fmt::format("will-start {0}\nstarted {0} {1} {2} {3}\n", token, leader.pid, leader.startTime, boot));
    return ledger_->recover(owner);
  };
  EXPECT_EQ(recovered(Uuid::random().text()), TreeEnd::complete);
  EXPECT_TRUE(isAlive(member)) << "it is in another session with the same number";
  const std::string tokens = processVariable(member, kProcessTokenVariable);
  const std::string own = tokens.substr(tokens.rfind(':') + 1);
  EXPECT_EQ(recovered(own.substr(0, own.find('@'))), TreeEnd::complete);
  EXPECT_FALSE(isAlive(member));
}

TEST_F(ProcessLedgerTest, recoversSeveralOwnersInTheTimeOfOne) {
  const std::vector<std::string> owners = {deadOwnerOf(kStubborn, 3), deadOwnerOf(kStubborn, 3),
                                           deadOwnerOf(kStubborn, 3)};
  const auto began = std::chrono::steady_clock::now();
  EXPECT_THAT(ledger_->recover(owners), IsEmpty());
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(4)) << "one takes 1.5 s at least";
  EXPECT_THAT(pids_, testing::Each(testing::Not(testing::Truly(isAlive))));
}

TEST_F(ProcessLedgerTest, aVainTryIsKnownToTheNextStartForAWhile) {
  const std::string owner = deadOwnerOf("echo $$; exec sleep 1000", 1);
  EXPECT_THAT(ledger_->leftBy(owner), testing::SizeIs(1));
  EXPECT_FALSE(ledger_->isPostponed(owner));
  ledger_->postpone(owner);
  EXPECT_TRUE(ProcessLedger::open(ledgers_)->isPostponed(owner));
  EXPECT_THAT(ledger_->leftBy(owner), testing::SizeIs(1)) << "what was written down is still there";
  EXPECT_EQ(ledger_->recover(owner), TreeEnd::complete);
  EXPECT_THAT(ledger_->leftBy(owner), IsEmpty());

  std::string boot;
  std::ifstream("/proc/sys/kernel/random/boot_id") >> boot;
  const std::uint64_t longAgo = ticksSinceBoot() - 601 * static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
  const std::string earlier = Uuid::random().text();
  folder_.write("state/processes/" + earlier, fmt::format("postponed {} {}\npostponed {} {}\n", boot, longAgo,
                                                          Uuid::random().text(), ticksSinceBoot()));
  EXPECT_FALSE(ledger_->isPostponed(earlier));
}

TEST_F(ProcessLedgerTest, aLineThatWasCutSpoilsNoOther) {
  const std::filesystem::path file = ledgers_ / ledger_->owner();
  const std::string whole = Uuid::random().text();
  struct rlimit usual{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &usual), 0);
  const auto handler = ::signal(SIGXFSZ, SIG_IGN);
  const struct rlimit small{.rlim_cur = 20, .rlim_max = usual.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_THROW(ledger_->willStart(Uuid::random().text()), std::system_error);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &usual), 0);
  ::signal(SIGXFSZ, handler);
  ASSERT_EQ(std::filesystem::file_size(file), 20U);
  ledger_->willStart(whole);
  std::ifstream written(file);
  const std::string text(std::istreambuf_iterator<char>(written), {});
  EXPECT_THAT(text, testing::EndsWith("\nwill-start " + whole + "\n"));
  ledger_->ended(whole);
}

TEST_F(ProcessLedgerTest, itsFileIsGoneOnceNothingIsRunning) {
  asio::io_context loop;
  const auto path = ledgers_ / ledger_->owner();
  struct stat folder, file;
  ASSERT_EQ(::stat(ledgers_.c_str(), &folder), 0);
  ASSERT_EQ(::stat(path.c_str(), &file), 0);
  EXPECT_EQ(folder.st_mode & 0777, 0700u);
  EXPECT_EQ(file.st_mode & 0777, 0600u);

  auto child = ChildProcess::launch(script("read line", ledger_), loop.get_executor());
  EXPECT_THROW(ChildProcess::launch({.executable = "/missing", .ledger = ledger_}, loop.get_executor()),
               std::system_error);
  EXPECT_GT(std::filesystem::file_size(path), 0u);
  run(child->endTree(), loop);
  EXPECT_EQ(std::filesystem::file_size(path), 0u);
  child.reset();
  ledger_.reset();
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ProcessLedgerTest, itsFileStaysWhileAChildIsLeft) {
  asio::io_context loop;
  const auto other = ProcessLedger::open(ledgers_);
  const std::string owner = ledger_->owner();
  auto child =
      ChildProcess::launch(script("(setsid sh -c 'echo $$; exec sleep 1000' &)", ledger_), loop.get_executor());
  ledger_.reset();
  std::string line(16, '\0');
  const pid_t pid = std::stoi(line.substr(0, child->standardOutput().read_some(asio::buffer(line))));
  child.reset();
  EXPECT_TRUE(isAlive(pid));
  EXPECT_THAT(other->deadOwners(), ElementsAre(owner));
  other->recover(owner);
  EXPECT_TRUE(isAlive(pid)) << "it detached itself";
  ::kill(pid, SIGKILL);
}

TEST_F(ProcessLedgerTest, onlyAnIdentifierIsAnOwner) {
  folder_.write("file", "");
  EXPECT_FALSE(ledger_->isAlive("../../file"));
  ledger_->forget("../../file");
  EXPECT_TRUE(std::filesystem::exists(folder_ / "file"));
}

}  // namespace
}  // namespace ravant::test
