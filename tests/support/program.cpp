#include "tests/support/program.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tests/support/pseudo_terminal.hpp"

namespace ravant::test {
namespace {

constexpr std::chrono::milliseconds kSilenceLimit{60'000};

std::vector<char*> pointersTo(std::vector<std::string>& words) {
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> environmentOf(const ProgramOptions& options) {
  std::vector<std::string> environment;
  for (const auto& [name, value] : options.environment) environment.push_back(name + "=" + value);
  for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"}) {
    if (const char* value = std::getenv(name)) environment.push_back(std::string(name) + "=" + value);
  }
  return environment;
}

std::string contentsOf(const std::filesystem::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

}  // namespace

Program::Program(ProgramOptions options) {
  UniqueFd childEnd;
  if (options.output == ProgramOutput::terminal) {
    PseudoTerminal terminal;
    outputEnd_ = terminal.takeOtherEnd();
    childEnd = terminal.takeDevice();
  } else {
    std::array<int, 2> pipe;
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
    outputEnd_ = UniqueFd(pipe[0]);
    childEnd = UniqueFd(pipe[1]);
  }
  if (options.output == ProgramOutput::closedPipe) outputEnd_ = UniqueFd();

  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, 0, folder_.write("input", options.input).c_str(), O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, childEnd.get(), 1);
  ::posix_spawn_file_actions_addopen(&actions, 2, (folder_ / "errors").c_str(), O_WRONLY | O_CREAT, 0600);
  ::posix_spawn_file_actions_addchdir_np(&actions, options.workingDirectory.c_str());

  std::vector<std::string> words = {options.path};
  words.insert(words.end(), options.arguments.begin(), options.arguments.end());
  std::vector<std::string> environment = environmentOf(options);
  const int error = ::posix_spawn(&pid_, options.path.c_str(), &actions, nullptr, pointersTo(words).data(),
                                  pointersTo(environment).data());
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::system_error(error, std::generic_category(), options.path);
}

Program::~Program() {
  if (pid_ == 0) return;
  ::kill(pid_, SIGKILL);
  ::waitpid(pid_, nullptr, 0);
}

bool Program::readUntil(std::string_view text) {
  while (!output_.contains(text)) {
    if (!readMore()) return false;
  }
  return true;
}

ProgramResult Program::wait() {
  while (readMore()) {
  }
  int status = 0;
  ::waitpid(std::exchange(pid_, 0), &status, 0);
  return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
          .output = output_,
          .errors = contentsOf(folder_ / "errors")};
}

void Program::signal(int number) const { ::kill(pid_, number); }

bool Program::readMore() {
  if (outputEnd_.get() < 0) return false;
  pollfd wanted{.fd = outputEnd_.get(), .events = POLLIN, .revents = 0};
  if (::poll(&wanted, 1, static_cast<int>(kSilenceLimit.count())) == 0) {
    throw std::runtime_error("the program prints nothing more; it printed: " + output_);
  }
  std::array<char, 4096> piece;
  const ssize_t count = ::read(outputEnd_.get(), piece.data(), piece.size());
  if (count > 0) output_.append(piece.data(), static_cast<std::size_t>(count));
  return count > 0;
}

}  // namespace ravant::test
