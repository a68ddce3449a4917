#include "runners/shell_session.hpp"

#include <gmock/gmock.h>
#include <signal.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <future>
#include <system_error>

#include "platform/process/descriptors.hpp"
#include "tests/runners/shell_session_fixture.hpp"

namespace ravant::test {
namespace {

using namespace std::chrono_literals;
using namespace asio::experimental::awaitable_operators;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Clock = std::chrono::steady_clock;

class EachShellTest : public ShellSessionTest, public testing::WithParamInterface<std::string> {
 protected:
  template <class Body>
  void withSession(Body body) {
    ShellSessionTest::withSession(GetParam(), std::move(body));
  }

  template <class Error>
  static awaitable<std::string> errorOf(awaitable<void> operation) {
    try {
      co_await std::move(operation);
    } catch (const Error& error) {
      co_return error.what();
    }
    co_return "no error";
  }

  static awaitable<void> expectStartFailure(awaitable<void> start, ShellStartError::Case kind,
                                            testing::Matcher<std::string> text) {
    try {
      co_await std::move(start);
      ADD_FAILURE() << "the shell started";
    } catch (const ShellStartError& error) {
      EXPECT_EQ(error.kind(), kind);
      EXPECT_THAT(error.what(), text);
    }
  }

  pid_t pidAtHome() const {
    pid_t pid = 0;
    std::ifstream(home_ / "pid") >> pid;
    return pid;
  }
};

TEST_P(EachShellTest, isKeptBetweenTurnsAndStartedAgainWhenGone) {
  withSession([&](ShellSession& session) -> awaitable<void> {
    EXPECT_FALSE(session.isRunning());
    EXPECT_EQ(co_await session.readLine(), std::nullopt);
    co_await session.ensureShell(home_.path());
    EXPECT_TRUE(session.isRunning());
    co_await session.writeStdin("pwd; echo $$\n");
    EXPECT_EQ(co_await line(session), home_.path().string());
    const pid_t first = co_await pid(session);

    co_await session.ensureShell(home_.path());
    co_await session.writeStdin("echo $$\n");
    EXPECT_EQ(co_await pid(session), first);

    co_await session.writeStdin("exit\n");
    EXPECT_EQ(co_await session.readLine(), std::nullopt);
    co_await session.ensureShell("/");
    co_await session.writeStdin("pwd\n");
    EXPECT_EQ(co_await line(session), "/");
    EXPECT_FALSE(isChild(first));

    co_await session.startShell(home_.path());
    co_await session.writeStdin("pwd\n");
    EXPECT_EQ(co_await line(session), home_.path().string());
  });
}

TEST_P(EachShellTest, isStartedAgainForAnotherFolderAndForOneMadeAnewAtItsPlace) {
  const auto folder = home_ / "project";
  std::filesystem::create_directory(folder);
  withSession([&](ShellSession& session) -> awaitable<void> {
    co_await session.ensureShell(folder);
    std::filesystem::remove(folder);
    std::filesystem::create_directory(folder);
    co_await session.ensureShell(folder);
    co_await session.writeStdin("touch made; /bin/pwd\n");
    EXPECT_EQ(co_await line(session), folder.string());
    EXPECT_TRUE(std::filesystem::exists(folder / "made"));

    co_await session.ensureShell("/");
    co_await session.writeStdin("/bin/pwd\n");
    EXPECT_EQ(co_await line(session), "/");
  });
}

TEST_P(EachShellTest, aProfileThatReadsOrLeavesTheFolderIsOvercome) {
  // Of the last, each line that is run has one in front that is read away.
  for (const char* profile :
       {"read answer", "read one; read two; read three", "cd /; CDPATH=/; cd() { :; }; alias cd=false",
        "PROMPT_COMMAND='read -r -t 1 answer'; precmd() { read -r -t 1 answer }"}) {
    SCOPED_TRACE(profile);
    writeProfile(profile);
    withSession([&](ShellSession& session) -> awaitable<void> {
      co_await session.startShell(home_.path());
      co_await session.writeStdin("echo first; /bin/pwd\n");
      EXPECT_EQ(co_await line(session), "first");
      EXPECT_EQ(co_await line(session), home_.path().string());
      EXPECT_EQ(session.drainStderr(), "");
    });
  }
}

TEST_P(EachShellTest, givesLinesOfAnyShape) {
  withSession([&](ShellSession& session) -> awaitable<void> {
    co_await session.startShell(home_.path());
    co_await session.writeStdin(
        "printf 'half'; sleep 0.05; printf ' line\\n\\r\\ncaf\\303 \\377\\n'; head -c 67108864 "
        "/dev/zero | tr '\\0' x; echo; seq 1 200000; printf 'unfinished'; exit\n");
    EXPECT_EQ(co_await line(session), "half line");
    EXPECT_EQ(co_await line(session), "\r");
    EXPECT_EQ(co_await line(session), "caf\uFFFD \uFFFD");
    EXPECT_EQ((co_await line(session)).size(), 67'108'864u);
    int lines = 0;
    for (auto next = co_await session.readLine(); next; next = co_await session.readLine()) {
      do {
        if (next == std::to_string(lines + 1)) ++lines;
      } while ((next = session.tryReadLine()));
    }
    EXPECT_EQ(lines, 200'000);
  });
}

TEST_P(EachShellTest, keepsTheEndsOfALongComplaint) {
  withSession([&](ShellSession& session) -> awaitable<void> {
    co_await session.startShell(home_.path());
    co_await session.writeStdin("{ seq 10000 18332; printf 18; } >&2; echo done\n");
    EXPECT_EQ(co_await line(session), "done");
    std::string complaint;
    for (int i = 10'000; i < 20'000; ++i) complaint += std::to_string(i) + "\n";
    EXPECT_EQ(session.drainStderr(), complaint.substr(0, 4000) + complaint.substr(38'000, 12'000));
  });
}

TEST_P(EachShellTest, takesMegabytesWhileItPrints) {
  withSession([&](ShellSession& session) -> awaitable<void> {
    co_await session.startShell(home_.path());
    co_await session.writeStdin("seq 1 100000; exec cat\n");
    std::string text;
    while (text.size() < 8'000'000) text += std::string(199, 'y') + "\n";
    const auto readAll = [&]() -> awaitable<void> {
      std::size_t lines = 100'000 + text.size() / 200;
      while (lines > 0 && co_await session.readLine()) --lines;
      EXPECT_EQ(lines, 0u);
    };
    co_await (session.writeStdin(text) && readAll());
  });
}

TEST_P(EachShellTest, writingWithoutAReaderIsAnError) {
  withSession([&](ShellSession& session) -> awaitable<void> {
    EXPECT_THAT(co_await errorOf<std::system_error>(session.writeStdin("x")), HasSubstr("not connected"));
    co_await session.startShell(home_.path());
    co_await session.writeStdin("exit\n");
    EXPECT_EQ(co_await session.readLine(), std::nullopt);
    EXPECT_THAT(co_await errorOf<std::system_error>(session.writeStdin(std::string(1'000'000, 'x'))),
                HasSubstr("Broken pipe"));
  });
}

TEST_P(EachShellTest, launchErrorsAreTheSystems) {
  withSession([&](ShellSession& session) -> awaitable<void> {
    EXPECT_THAT(co_await errorOf<std::system_error>(session.startShell("/missing/folder")),
                HasSubstr("/missing/folder: No such file or directory"));
    EXPECT_FALSE(session.isRunning());
  });
  ShellSessionTest::withSession("/missing/shell", [&](ShellSession& session) -> awaitable<void> {
    EXPECT_THAT(co_await errorOf<std::system_error>(session.startShell("/")),
                HasSubstr("/missing/shell: No such file or directory"));
  });
}

TEST_P(EachShellTest, aProfileThatEndsTheShellIsQuoted) {
  writeProfile("echo 'no access today' >&2; exit 3");
  withSession([&](ShellSession& session) -> awaitable<void> {
    co_await expectStartFailure(
        session.startShell("/"), ShellStartError::Case::ended,
        AllOf(StartsWith(GetParam() + " ended before it was ready, or "), EndsWith("no access today")));
    EXPECT_FALSE(session.isRunning());
  });
}

TEST_P(EachShellTest, aProfileThatDoesNotEndIsGivenUp) {
  startLimit_ = 300ms;
  for (const char* profile : {"sleep 1000 & echo $! > ~/pid; wait", "echo 0 > ~/pid; while :; do read answer; done"}) {
    writeProfile(profile);
    withSession([&](ShellSession& session) -> awaitable<void> {
      co_await expectStartFailure(session.startShell("/"), ShellStartError::Case::timedOut,
                                  StartsWith(GetParam() + " was not ready after 0.3 s"));
      EXPECT_FALSE(isAlive(pidAtHome()));
      writeProfile("");
      co_await session.startShell("/");
      EXPECT_TRUE(session.isRunning());
    });
  }
}

TEST_P(EachShellTest, shutdownEndsTheAgentAndTheReader) {
  ledger_ = ProcessLedger::open(home_ / "processes");
  descriptor_reserve::fill();
  const auto descriptors = openDescriptors();
  withSession([&](ShellSession& session) -> awaitable<void> {
    co_await session.startShell("/");
    co_await session.writeStdin(
        "sh -c 'trap \"\" TERM HUP; (setsid sh -c \"echo \\$\\$; exec sleep 1000\" &); sleep 0.1; echo $$; sleep 1000; "
        ":' "
        "< /dev/null; echo end\n");
    const pid_t grandchild = co_await pid(session);
    const pid_t child = co_await pid(session);
    const auto waitForEnd = [&]() -> awaitable<void> { EXPECT_EQ(co_await session.readLine(), std::nullopt); };
    const auto writeTooMuch = [&]() -> awaitable<void> {
      EXPECT_THAT(co_await errorOf<std::system_error>(session.writeStdin(std::string(1'000'000, 'x'))),
                  HasSubstr("canceled"));
    };
    const auto shutDown = [&]() -> awaitable<void> {
      co_await asio::post(use_awaitable);
      co_await session.shutdown();
      EXPECT_FALSE(session.isRunning());
    };
    const auto start = Clock::now();
    co_await (waitForEnd() && writeTooMuch() && shutDown() && shutDown());
    EXPECT_LT(Clock::now() - start, 3s);
    EXPECT_FALSE(isAlive(child));
    EXPECT_FALSE(isAlive(grandchild));
    EXPECT_EQ(session.drainStderr(), "");

    co_await session.startShell("/");
    co_await session.writeStdin("echo again\n");
    EXPECT_EQ(co_await line(session), "again");
  });
  EXPECT_EQ(openDescriptors(), descriptors + 3) << "what the loop itself needs";
  EXPECT_EQ(std::filesystem::file_size(home_ / "processes" / ledger_->owner()), 0u);
}

TEST_P(EachShellTest, shutdownEndsAStart) {
  writeProfile("echo $$ > ~/pid; sleep 1000");
  withSession([&](ShellSession& session) -> awaitable<void> {
    const auto start = [&]() -> awaitable<void> {
      co_await expectStartFailure(session.startShell("/"), ShellStartError::Case::shutDown, HasSubstr("shut down"));
    };
    const auto shutDown = [&]() -> awaitable<void> {
      while (pidAtHome() == 0) co_await asio::post(use_awaitable);
      co_await session.shutdown();
      EXPECT_FALSE(isAlive(pidAtHome()));
    };
    co_await (start() && shutDown());
  });
}

TEST_P(EachShellTest, anExitIsNoticedWhileAGrandchildHoldsTheOutput) {
  withSession([&](ShellSession& session) -> awaitable<void> {
    co_await session.startShell("/");
    co_await session.writeStdin("setsid sleep 1000 & echo $!; echo last; exit\n");
    const pid_t grandchild = co_await pid(session);
    const auto start = Clock::now();
    EXPECT_EQ(co_await line(session), "last");
    EXPECT_EQ(co_await session.readLine(), std::nullopt);
    EXPECT_LT(Clock::now() - start, 1s);
    EXPECT_FALSE(session.isRunning());
    EXPECT_TRUE(isAlive(grandchild));
    co_await session.shutdown();
    EXPECT_FALSE(isAlive(grandchild));
  });
}

TEST_P(EachShellTest, itsOutputCanEndBeforeTheShell) {
  withSession([&](ShellSession& session) -> awaitable<void> {
    co_await session.startShell("/");
    co_await session.writeStdin("exec >&-; sleep 0.1; exit\n");
    EXPECT_EQ(co_await session.readLine(), std::nullopt);
    EXPECT_FALSE(session.isRunning());

    co_await session.startShell("/");
    co_await session.writeStdin("exec >&-\n");
    EXPECT_EQ(co_await session.readLine(), std::nullopt);
    EXPECT_TRUE(session.isRunning());
    co_await session.ensureShell("/");
    co_await session.writeStdin("echo heard again\n");
    EXPECT_EQ(co_await line(session), "heard again");
  });
}

TEST_P(EachShellTest, isKilledWithASessionThatIsNotShutDown) {
  pid_t shell = 0;
  const auto drop = [&]() -> awaitable<void> {
    ShellSession session(loop_.get_executor(), options(GetParam()));
    co_await session.startShell("/");
    co_await session.writeStdin("echo $$\n");
    shell = co_await pid(session);
  };
  run(drop(), loop_);
  EXPECT_FALSE(isAlive(shell));
  EXPECT_FALSE(isChild(shell));
}

TEST_P(EachShellTest, manyRunOnAPool) {
  asio::thread_pool pool(3);
  const auto turns = [this](any_io_executor strand) -> awaitable<void> {
    ShellSession session(strand, options(GetParam()));
    for (int i = 0; i < 3; ++i) {
      co_await session.ensureShell("/");
      co_await session.writeStdin("seq 1 5000; seq 1 5000 >&2; echo end\n");
      int lines = 0;
      while (co_await line(session) != "end") ++lines;
      EXPECT_EQ(lines, 5000);
      EXPECT_EQ(session.drainStderr().size(), 16'000u);
      if (i == 1) co_await session.shutdown();
    }
    co_await session.shutdown();
  };
  std::vector<std::future<void>> sessions;
  for (int i = 0; i < 4; ++i) {
    const any_io_executor strand = asio::make_strand(pool.get_executor());
    sessions.push_back(asio::co_spawn(strand, turns(strand), asio::use_future));
  }
  for (auto& session : sessions) session.get();
  pool.join();
}

INSTANTIATE_TEST_SUITE_P(Shells, EachShellTest, testing::Values("/bin/bash", "/bin/zsh", "/bin/dash"),
                         [](const auto& info) { return info.param.substr(info.param.rfind('/') + 1); });

}  // namespace
}  // namespace ravant::test
