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
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <chrono>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string_view>
#include <system_error>

#include "platform/process/descriptors.hpp"
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

using namespace std::chrono_literals;

constexpr auto kTimeToBeGone = 100ms;
constexpr auto kPause = 2ms;

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
  restoreDescriptorLimit(pid);
  return pid;
}

/// A child that has just been started; ended unless it is kept.
class NewChild {
 public:
  explicit NewChild(pid_t pid) : pid_(pid) {}
  ~NewChild() {
    if (pid_ == 0) return;
    ::kill(-pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  NewChild(const NewChild&) = delete;
  NewChild& operator=(const NewChild&) = delete;

  UniqueFd open() const {
    UniqueFd descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
    if (!descriptor) fail(errno, "pidfd_open");
    return descriptor;
  }
  ProcessIdentity identity() const {
    const auto identity = processIdentity(pid_);
    if (!identity) fail(ESRCH, "/proc");
    return *identity;
  }
  void keep() { pid_ = 0; }

 private:
  pid_t pid_;
};

/// The trees of this program's children that have not ended.
class Children {
 public:
  void willStart(const std::string& token) {
    const std::lock_guard lock(mutex_);
    if (isClosed_) fail(ECANCELED, "the program ends");
    trees_[token].token = token;
  }
  void change(const ProcessTree& tree) {
    const std::lock_guard lock(mutex_);
    trees_[tree.token] = tree;
  }
  void ended(const std::string& token) {
    const std::lock_guard lock(mutex_);
    trees_.erase(token);
  }
  std::vector<ProcessTree> close() {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
    std::vector<ProcessTree> trees;
    for (const auto& [token, tree] : trees_) trees.push_back(tree);
    return trees;
  }

 private:
  std::mutex mutex_;
  bool isClosed_ = false;
  std::map<std::string, ProcessTree> trees_;
};

/// Never destroyed: whoever exits can still end them.
Children& children() {
  static Children* const ofThisProgram = new Children;
  return *ofThisProgram;
}

/// See kProcessTokenVariable.
std::string tokensOf(const std::string& shared, const std::string& own) {
  const char* const inherited = std::getenv(std::string(kProcessTokenVariable).c_str());
  const ProcessIdentity self = processIdentity(::getpid()).value_or(ProcessIdentity{});
  std::string tokens = inherited == nullptr ? "" : std::string(inherited) + ":";
  for (const std::string& token : {shared, own}) {
    if (token.empty()) continue;
    if (!tokens.empty() && !tokens.ends_with(':')) tokens += ':';
    tokens += token + "@" + std::to_string(self.pid) + "." + std::to_string(self.startTime);
  }
  return tokens;
}

/// Owned by one of the two all the time, whatever fails. Nothing where there is no descriptor.
void hand(asio::posix::stream_descriptor& stream, UniqueFd& descriptor) {
  if (!descriptor) return;
  stream.assign(descriptor.get());
  static_cast<void>(descriptor.release());
}

}  // namespace

void ignoreBrokenPipes() { ::signal(SIGPIPE, SIG_IGN); }

std::unique_ptr<ChildProcess> ChildProcess::launch(LaunchOptions options, const any_io_executor& executor) {
  static const bool signalsAreSet = [] {
    ignoreBrokenPipes();
    // A program can be started with SIGCHLD ignored; the status of its children would be lost.
    ::signal(SIGCHLD, SIG_DFL);
    descriptor_reserve::fill();
    return true;
  }();
  static_cast<void>(signalsAreSet);

  const std::string token = Uuid::random().text();
  options.environment[std::string(kProcessTokenVariable)] = tokensOf(options.sharedToken, token);

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
    children().willStart(token);
    NewChild child(spawn(options, input.read.get(), output.write.get(), (isErrorApart ? error : output).write.get()));
    const ProcessTree tree{.root = child.identity(), .token = token};
    Pipes pipes{std::move(input.write), std::move(output.read), std::move(error.read), child.open()};
    children().change(tree);
    if (options.ledger) options.ledger->started(token, *tree.root);
    std::unique_ptr<ChildProcess> process(new ChildProcess(executor, std::move(pipes), tree, options.ledger));
    child.keep();
    return process;
  } catch (...) {
    children().ended(token);
    if (options.ledger) options.ledger->ended(token);
    throw;
  }
}

ChildProcess::ChildProcess(const any_io_executor& executor, Pipes pipes, ProcessTree tree,
                           std::shared_ptr<ProcessLedger> ledger)
    : standardInput_(executor),
      standardOutput_(executor),
      standardError_(executor),
      processDescriptor_(executor),
      tree_(std::move(tree)),
      ledger_(std::move(ledger)) {
  hand(standardInput_, pipes.input);
  hand(standardOutput_, pipes.output);
  hand(standardError_, pipes.error);
  hand(processDescriptor_, pipes.process);
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
  while (isRunning() && !isGivenUp_) {
    const auto [error] = co_await processDescriptor_.async_wait(asio::posix::stream_descriptor::wait_read,
                                                                asio::as_tuple(use_awaitable));
    if (error) break;
  }
  co_return exitStatus();
}

void ChildProcess::leaveDetachedUntil(std::uint64_t tick) {
  tree_.detachedUntil = tick;
  children().change(tree_);
}

awaitable<void> ChildProcess::newDetachedCanBeTold() {
  asio::steady_timer timer(co_await asio::this_coro::executor);
  for (const auto until = tree_.detachedUntil; until && ticksSinceBoot() <= *until;) {
    timer.expires_after(restOfTick());
    co_await timer.async_wait(asio::as_tuple(use_awaitable));
  }
}

awaitable<TreeEnd> ChildProcess::endTree() {
  TreeEnd end = co_await endTrees({tree_});
  if (end == TreeEnd::survivorsLeft) kill();
  if (!co_await isGoneSoon()) end = TreeEnd::survivorsLeft;
  if (end == TreeEnd::complete) {
    leaveTree();
  } else if (isRunning()) {
    isGivenUp_ = true;
    processDescriptor_.cancel();
  }
  co_return end;
}

awaitable<TreeEnd> ChildProcess::endDetached() {
  const auto end = co_await ravant::endDetached({tree_});
  co_return end;
}

/// What was killed is gone a moment later.
awaitable<bool> ChildProcess::isGoneSoon() {
  const auto deadline = std::chrono::steady_clock::now() + kTimeToBeGone;
  asio::steady_timer timer(co_await asio::this_coro::executor);
  while (isRunning() && std::chrono::steady_clock::now() < deadline) {
    timer.expires_after(kPause);
    co_await timer.async_wait(asio::as_tuple(use_awaitable));
  }
  co_return !isRunning();
}

void ChildProcess::leaveTree() {
  children().ended(tree_.token);
  if (ledger_) ledger_->ended(tree_.token);
}

void ChildProcess::kill() {
  if (isRunning()) ::kill(-pid(), SIGKILL);
}

TreeEnd endAllChildren(Termination termination) {
  const std::vector<ProcessTree> trees = children().close();
  return trees.empty() ? TreeEnd::complete : endTreesBlocking(trees, termination);
}

}  // namespace ravant
