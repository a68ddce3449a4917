#include "platform/process/child_process.hpp"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/as_tuple.hpp>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "platform/process/unique_fd.hpp"
#include "platform/text/uuid.hpp"

namespace ravant {

struct ChildProcess::Pipes {
  UniqueFd input;
  UniqueFd output;
  UniqueFd error;
  UniqueFd process;
};

namespace {

[[noreturn]] void fail(int error, const std::string& what) {
  throw std::system_error(error, std::generic_category(), what);
}

void check(int error, const std::string& what) {
  if (error != 0) fail(error, what);
}

struct Pipe {
  UniqueFd read;
  UniqueFd write;
};

Pipe makePipe() {
  std::array<int, 2> ends;
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) fail(errno, "pipe");
  return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

struct FileActions {
  posix_spawn_file_actions_t value;
  FileActions() { check(::posix_spawn_file_actions_init(&value), "posix_spawn_file_actions_init"); }
  ~FileActions() { ::posix_spawn_file_actions_destroy(&value); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
};

struct Attributes {
  posix_spawnattr_t value;
  Attributes() { check(::posix_spawnattr_init(&value), "posix_spawnattr_init"); }
  ~Attributes() { ::posix_spawnattr_destroy(&value); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
};

std::vector<std::string> environmentOf(const LaunchOptions& options) {
  const auto& additions = options.environment;
  std::vector<std::string> environment;
  for (char** variable = ::environ; variable != nullptr && *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    const std::string name(text.substr(0, text.find('=')));
    const bool isWithheld = std::ranges::count(options.withheldVariables, name) > 0;
    if (!isWithheld && !additions.contains(name)) environment.emplace_back(text);
  }
  for (const auto& [name, value] : additions) environment.push_back(name + "=" + value);
  return environment;
}

std::vector<char*> pointersTo(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  for (std::string& string : strings) pointers.push_back(string.data());
  pointers.push_back(nullptr);
  return pointers;
}

// posix_spawn reports a missing folder as if the program were missing.
void checkFolder(const std::filesystem::path& folder) {
  struct stat status;
  if (::stat(folder.c_str(), &status) != 0) fail(errno, folder.string());
  if (!S_ISDIR(status.st_mode)) fail(ENOTDIR, folder.string());
  if (::access(folder.c_str(), X_OK) != 0) fail(errno, folder.string());
}

pid_t spawn(const LaunchOptions& options, int input, int output, int error) {
  FileActions actions;
  if (!options.workingDirectory.empty()) {
    checkFolder(options.workingDirectory);
    check(::posix_spawn_file_actions_addchdir_np(&actions.value, options.workingDirectory.c_str()), "chdir");
  }
  check(::posix_spawn_file_actions_adddup2(&actions.value, input, STDIN_FILENO), "dup2");
  check(::posix_spawn_file_actions_adddup2(&actions.value, output, STDOUT_FILENO), "dup2");
  check(::posix_spawn_file_actions_adddup2(&actions.value, error, STDERR_FILENO), "dup2");
  check(::posix_spawn_file_actions_addclosefrom_np(&actions.value, STDERR_FILENO + 1), "closefrom");

  Attributes attributes;
  sigset_t all;
  sigset_t none;
  sigfillset(&all);
  sigemptyset(&none);
  check(::posix_spawnattr_setflags(&attributes.value,
                                   POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK),
        "posix_spawnattr_setflags");
  check(::posix_spawnattr_setsigdefault(&attributes.value, &all), "posix_spawnattr_setsigdefault");
  check(::posix_spawnattr_setsigmask(&attributes.value, &none), "posix_spawnattr_setsigmask");

  std::vector<std::string> words = {options.executable};
  words.insert(words.end(), options.arguments.begin(), options.arguments.end());
  std::vector<std::string> environment = environmentOf(options);
  pid_t pid = 0;
  check(::posix_spawn(&pid, options.executable.c_str(), &actions.value, &attributes.value, pointersTo(words).data(),
                      pointersTo(environment).data()),
        options.executable);
  return pid;
}

UniqueFd openProcess(pid_t pid) {
  UniqueFd descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
  if (!descriptor) {
    const int error = errno;
    ::kill(-pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    fail(error, "pidfd_open");
  }
  return descriptor;
}

std::string tokenBehind(const char* inherited, const std::string& token) {
  return inherited == nullptr ? token : std::string(inherited) + ":" + token;
}

}  // namespace

void ignoreBrokenPipes() { ::signal(SIGPIPE, SIG_IGN); }

std::unique_ptr<ChildProcess> ChildProcess::launch(LaunchOptions options, const any_io_executor& executor) {
  static const bool signalsAreSet = [] {
    ignoreBrokenPipes();
    // A program can be started with SIGCHLD ignored; the status of its children would be lost.
    ::signal(SIGCHLD, SIG_DFL);
    return true;
  }();
  static_cast<void>(signalsAreSet);

  const std::string token = Uuid::random().text();
  const std::string variable(kProcessTokenVariable);
  options.environment[variable] = tokenBehind(std::getenv(variable.c_str()), token);

  Pipe input;
  if (options.standardInput == StandardInput::pipe) {
    input = makePipe();
  } else {
    input.read.reset(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  }
  Pipe output = makePipe();
  Pipe error;
  const bool isErrorApart = options.standardError == StandardError::pipe;
  if (isErrorApart) error = makePipe();

  if (options.ledger) options.ledger->willStart(token);
  try {
    const pid_t pid = spawn(options, input.read.get(), output.write.get(), (isErrorApart ? error : output).write.get());
    Pipes pipes{std::move(input.write), std::move(output.read), std::move(error.read), openProcess(pid)};
    const ProcessIdentity identity = processIdentity(pid).value_or(ProcessIdentity{pid, 0});
    if (options.ledger) options.ledger->started(token, identity);
    return std::unique_ptr<ChildProcess>(
        new ChildProcess(executor, std::move(pipes), identity, token, std::move(options.ledger)));
  } catch (...) {
    if (options.ledger) options.ledger->ended(token);
    throw;
  }
}

ChildProcess::ChildProcess(const any_io_executor& executor, Pipes pipes, ProcessIdentity identity, std::string token,
                           std::shared_ptr<ProcessLedger> ledger)
    : standardInput_(executor),
      standardOutput_(executor, pipes.output.release()),
      standardError_(executor),
      processDescriptor_(executor, pipes.process.release()),
      identity_(identity),
      token_(std::move(token)),
      ledger_(std::move(ledger)) {
  if (pipes.input) standardInput_.assign(pipes.input.release());
  if (pipes.error) standardError_.assign(pipes.error.release());
}

ChildProcess::~ChildProcess() {
  if (isRunning()) {
    kill();
    isRunning();
  }
}

bool ChildProcess::isRunning() {
  if (exitStatus_) return false;
  siginfo_t info{};
  const auto descriptor = static_cast<id_t>(processDescriptor_.native_handle());
  if (::waitid(P_PIDFD, descriptor, &info, WEXITED | WNOHANG) == 0 && info.si_pid == 0) return true;
  const auto reason = info.si_code == CLD_EXITED ? ExitStatus::Reason::exit : ExitStatus::Reason::signal;
  exitStatus_ = ExitStatus{reason, info.si_status};
  return false;
}

std::optional<ExitStatus> ChildProcess::exitStatus() {
  isRunning();
  return exitStatus_;
}

awaitable<std::optional<ExitStatus>> ChildProcess::waitForExit() {
  while (isRunning()) {
    const auto [error] = co_await processDescriptor_.async_wait(asio::posix::stream_descriptor::wait_read,
                                                                asio::as_tuple(use_awaitable));
    if (error) co_return std::nullopt;
  }
  co_return exitStatus_;
}

awaitable<TreeEnd> ChildProcess::endTree() {
  const TreeEnd end = co_await endTrees({ProcessTree{identity_, token_}});
  if (end == TreeEnd::complete) {
    co_await waitForExit();
    if (ledger_) ledger_->ended(token_);
  }
  co_return end;
}

void ChildProcess::leaveTree() {
  if (ledger_) ledger_->ended(token_);
}

void ChildProcess::kill() {
  if (isRunning()) ::kill(-identity_.pid, SIGKILL);
}

}  // namespace ravant
