#include "git/git_command_runner.hpp"

#include <fmt/format.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <utility>

#include "git/branch_name.hpp"
#include "git/fetched_commit.hpp"
#include "platform/log/log.hpp"
#include "platform/process/captured_process.hpp"
#include "platform/process/shell_quoted.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.git", "GitCommandRunner");
constexpr std::size_t kOutputLimit = 1024 * 1024;  // bytes
constexpr std::int32_t kTimedOut = 124;            // as timeout(1) has it
constexpr std::int32_t kNotRun = 128;              // as git has it for what it cannot do

// An empty GIT_ASKPASS also stands before core.askPass and SSH_ASKPASS (gitcredentials(7)).
const std::map<std::string, std::string> kAskNothing = {{"GIT_TERMINAL_PROMPT", "0"},     {"GIT_ASKPASS", ""},
                                                        {"SSH_ASKPASS_REQUIRE", "never"}, {"GIT_EDITOR", "false"},
                                                        {"GIT_SEQUENCE_EDITOR", "false"}, {"GIT_PAGER", "cat"}};

// What would send a command to another repository than that of the folder, as git sets it for its hooks, or change
// which files a name means (git(1), "Environment Variables").
const std::vector<std::string> kOfOtherRepositories = {"GIT_ALTERNATE_OBJECT_DIRECTORIES",
                                                       "GIT_COMMON_DIR",
                                                       "GIT_DIR",
                                                       "GIT_GLOB_PATHSPECS",
                                                       "GIT_GRAFT_FILE",
                                                       "GIT_ICASE_PATHSPECS",
                                                       "GIT_IMPLICIT_WORK_TREE",
                                                       "GIT_INDEX_FILE",
                                                       "GIT_INTERNAL_SUPER_PREFIX",
                                                       "GIT_NAMESPACE",
                                                       "GIT_NO_REPLACE_OBJECTS",
                                                       "GIT_OBJECT_DIRECTORY",
                                                       "GIT_PREFIX",
                                                       "GIT_REPLACE_REF_BASE",
                                                       "GIT_SHALLOW_FILE",
                                                       "GIT_WORK_TREE"};

const std::string kPull = "git pull --ff-only";
const std::string kFetch = "git fetch --prune";
constexpr std::string_view kCheckoutOfFetched = "git -c core.hooksPath=/dev/null checkout --no-overwrite-ignore";

std::string checkoutLine(const std::string& branch) { return fmt::format("git checkout {}", shellQuoted(branch)); }

std::string fetchLine(const FetchedBranch& fetched) {
  return fmt::format("git fetch --no-tags {} {}", shellQuoted(fetched.remote), shellQuoted(fetched.reference));
}

void expectBranchName(const std::string& name) {
  if (const std::string objection = objectionToBranchName(name); !objection.empty()) throw BranchNameError(objection);
}

std::string describe(const std::string& command, std::int32_t status, const std::string& output) {
  return trimmed(output).empty() ? fmt::format("{} failed with exit {}", command, status) : output;
}

}  // namespace

GitCommandError::GitCommandError(const std::string& command, std::int32_t status, const std::string& output)
    : std::runtime_error(describe(command, status, output)), command_(command), status_(status), output_(output) {}

GitCommandRunner::GitCommandRunner(GitCommandOptions options)
    : Actor(options.io), options_(std::move(options)), withheldVariables_(kOfOtherRepositories), changed_(strand()) {
  const auto& more = options_.withheldVariables;
  withheldVariables_.insert(withheldVariables_.end(), more.begin(), more.end());
}

GitCommandRunner::~GitCommandRunner() = default;

awaitable<std::string> GitCommandRunner::pull(std::filesystem::path folder) {
  return onActor([this, folder = std::move(folder)] { return inTurn(kPull, run(kPull, folder)); });
}

awaitable<std::string> GitCommandRunner::fetch(std::filesystem::path folder) {
  return onActor([this, folder = std::move(folder)] { return inTurn(kFetch, run(kFetch, folder)); });
}

awaitable<std::string> GitCommandRunner::checkout(std::string branch, std::filesystem::path folder) {
  return onActor([this, branch = std::move(branch), folder = std::move(folder)]() -> awaitable<std::string> {
    expectBranchName(branch);
    co_return co_await inTurn(checkoutLine(branch), checkOut(branch, folder));
  });
}

awaitable<CheckedOutBranch> GitCommandRunner::checkoutFetched(FetchedBranch fetched, std::filesystem::path folder) {
  return onActor([this, fetched = std::move(fetched), folder = std::move(folder)]() -> awaitable<CheckedOutBranch> {
    expectBranchName(fetched.branch);
    CheckedOutBranch done;
    done.output = co_await inTurn(fetchLine(fetched), fetchAndCheckOut(fetched, folder, done.ahead));
    co_return done;
  });
}

awaitable<std::string> GitCommandRunner::createBranch(std::string name, std::filesystem::path folder) {
  return onActor([this, name = std::move(name), folder = std::move(folder)] {
    return runOnBranch("git switch -c", name, folder);
  });
}

awaitable<std::string> GitCommandRunner::deleteBranch(std::string name, std::filesystem::path folder) {
  return onActor([this, name = std::move(name), folder = std::move(folder)] {
    return runOnBranch("git branch -d", name, folder);
  });
}

awaitable<void> GitCommandRunner::shutdown() {
  return onActor([this]() -> awaitable<void> {
    isShutDown_ = true;
    if (running_) running_->stop();
    changed_.notify();
    while (isBusy_) co_await changed_.wait();
  });
}

awaitable<std::string> GitCommandRunner::runOnBranch(std::string command, std::string name,
                                                     std::filesystem::path folder) {
  expectBranchName(name);
  const std::string line = fmt::format("{} {}", command, shellQuoted(name));
  co_return co_await inTurn(line, run(line, std::move(folder)));
}

awaitable<std::string> GitCommandRunner::checkOut(std::string branch, std::filesystem::path folder) {
  const std::string objection = co_await onWork([&] { return objectionToCheckout(branch, folder); });
  if (!objection.empty()) throw BranchNameError(objection);
  co_return co_await run(checkoutLine(branch), std::move(folder));
}

awaitable<std::string> GitCommandRunner::fetchAndCheckOut(FetchedBranch fetched, std::filesystem::path folder,
                                                          std::int64_t& ahead) {
  std::string output = co_await run(fetchLine(fetched), folder);
  const FetchedCommit commit =
      co_await onWork([&] { return fetchedCommit(folder, fetched.reference, fetched.branch); });
  ahead = commit.ahead.value_or(0);
  const std::string branch = shellQuoted(fetched.branch);
  output += co_await run(commit.ahead ? fmt::format("{} {} --", kCheckoutOfFetched, branch)
                                      : fmt::format("{} -B {} {}", kCheckoutOfFetched, branch, commit.id),
                         folder);
  co_return output;
}

template <class Read>
auto GitCommandRunner::onWork(Read read) -> awaitable<decltype(read())> {
  co_return co_await asio::co_spawn(
      options_.work, [&]() -> awaitable<decltype(read())> { co_return read(); },
      asio::bind_cancellation_slot(asio::cancellation_slot(), use_awaitable));
}

/// Runs `operation` when those before it are over.
awaitable<std::string> GitCommandRunner::inTurn(std::string command, awaitable<std::string> operation) {
  while (isBusy_ && !isShutDown_) co_await changed_.wait();
  if (isShutDown_) throw GitCommandError(command, kNotRun, "the command was not run: the program ends");
  isBusy_ = true;
  std::string output;
  std::exception_ptr error;
  try {
    output = co_await std::move(operation);
  } catch (...) {
    error = std::current_exception();
  }
  running_.reset();
  isBusy_ = false;
  changed_.notify();
  if (error) std::rethrow_exception(error);
  co_return output;
}

awaitable<std::string> GitCommandRunner::run(std::string command, std::filesystem::path folder) {
  if (isShutDown_) throw GitCommandError(command, kNotRun, "the command was not run: the program ends");
  kLog.info("git: running `{}` in {}", command, folder.string());
  running_ = std::make_unique<CapturedProcess>(CaptureOptions{.launch = {.executable = options_.shellPath,
                                                                         .arguments = {"-l", "-c", command},
                                                                         .workingDirectory = folder,
                                                                         .environment = kAskNothing,
                                                                         .withheldVariables = withheldVariables_,
                                                                         .standardInput = StandardInput::nullDevice,
                                                                         .standardError = StandardError::standardOutput,
                                                                         .ledger = options_.processes},
                                                              .limit = options_.timeout,
                                                              .outputLimit = kOutputLimit,
                                                              .background = CaptureOptions::Background::left},
                                               strand());
  co_await running_->run();
  const std::int32_t status = running_->hasTimedOut() ? kTimedOut : running_->exitStatus().shellCode();
  kLog.info("git: `{}` exit {}", command, status);
  std::string output = repairUtf8(running_->takeOutput());
  const auto addLine = [&](const std::string& line) {
    if (!output.empty() && !output.ends_with('\n')) output += '\n';
    output += line;
  };
  if (running_->hasTooMuchOutput()) addLine("(the rest of the output was dropped)\n");
  if (running_->hasTimedOut()) addLine(fmt::format("{} was ended after {} s", command, options_.timeout.count()));
  if (status != 0 || running_->wasStopped()) throw GitCommandError(command, status, output);
  co_return output;
}

}  // namespace ravant
