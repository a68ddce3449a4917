#include "cli/command/user_input.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <initializer_list>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "cli/output/command_error.hpp"
#include "platform/files/scratch_folder.hpp"
#include "platform/files/write_all.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

enum class Until { lineEnd, inputEnd };

int wakeUp = -1;  // where the handler of a signal writes

/// Turns signals into the end of a wait for input, whichever thread they come to and however early.
class Interrupts {
 public:
  explicit Interrupts(std::initializer_list<int> signals) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) throw std::system_error(errno, std::generic_category());
    came_.reset(ends[0]);
    handled_.reset(ends[1]);
    wakeUp = ends[1];
    struct sigaction action{};
    action.sa_handler = [](int) { std::ignore = ::write(wakeUp, "", 1); };
    for (const int signal : signals) {
      struct sigaction& before = before_.emplace_back(signal, action).second;
      ::sigaction(signal, nullptr, &before);
      if (before.sa_handler != SIG_IGN) ::sigaction(signal, &action, nullptr);
    }
  }
  ~Interrupts() {
    for (const auto& [signal, action] : before_) ::sigaction(signal, &action, nullptr);
    wakeUp = -1;
  }
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

  /// Until something can be read. Throws `Interrupted`.
  void awaitInput(int descriptor) const {
    std::array<pollfd, 2> waits = {
        {{.fd = came_.get(), .events = POLLIN, .revents = 0}, {.fd = descriptor, .events = POLLIN, .revents = 0}}};
    while (::poll(waits.data(), waits.size(), -1) < 0) {
      if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "the input could not be awaited");
    }
    if (waits.front().revents != 0) throw Interrupted();
  }

 private:
  UniqueFd came_;
  UniqueFd handled_;
  std::vector<std::pair<int, struct sigaction>> before_;
};

std::string read(Until until, const Interrupts& interrupts) {
  std::string input;
  std::array<char, 64 * 1024> piece;
  for (;;) {
    interrupts.awaitInput(STDIN_FILENO);
    const ssize_t count = ::read(STDIN_FILENO, piece.data(), piece.size());
    if (count < 0) throw std::system_error(errno, std::generic_category(), "standard input could not be read");
    if (count == 0) return input;
    input.append(piece.data(), static_cast<std::size_t>(count));
    if (until == Until::lineEnd && input.ends_with('\n')) return input;
  }
}

/// Keeps the terminal from showing what is typed.
class HiddenTyping {
 public:
  HiddenTyping() : isHidden_(::tcgetattr(STDIN_FILENO, &before_) == 0) {
    termios hidden = before_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (isHidden_) ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  ~HiddenTyping() {
    if (!isHidden_) return;
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    std::fputc('\n', stderr);
  }
  HiddenTyping(const HiddenTyping&) = delete;
  HiddenTyping& operator=(const HiddenTyping&) = delete;

 private:
  termios before_{};
  bool isHidden_;
};

}  // namespace

void confirm(const Arguments& arguments, std::string_view question) {
  if (arguments.has("--yes")) return;
  if (::isatty(STDIN_FILENO) == 0 || ::isatty(STDERR_FILENO) == 0) {
    throw UsageError("nobody can be asked here: give --yes to agree");
  }
  const Interrupts interrupts({SIGINT, SIGTERM, SIGHUP});
  std::fputs(fmt::format("{} [y/N] ", question).c_str(), stderr);
  const std::string answer = lowerCase(trimmed(read(Until::lineEnd, interrupts)));
  if (answer == "y" || answer == "yes") return;
  throw CommandError("nothing was changed");
}

std::string readStandardInput() { return read(Until::inputEnd, Interrupts({SIGINT, SIGTERM, SIGHUP})); }

UniqueFd copyOfInput(int descriptor) {
  const ScratchFolder folder("ravant-input");
  UniqueFd copy(::open((folder.path() / "input").c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!copy) throw std::system_error(errno, std::generic_category(), folder.path().string());
  const Interrupts interrupts({SIGINT, SIGTERM, SIGHUP});
  std::array<char, 64 * 1024> piece;
  for (;;) {
    interrupts.awaitInput(descriptor);
    const ssize_t count = ::read(descriptor, piece.data(), piece.size());
    if (count < 0) throw std::system_error(errno, std::generic_category(), "the input could not be read");
    if (count == 0) break;
    if (!writeAll(copy.get(), {piece.data(), static_cast<std::size_t>(count)})) {
      throw std::system_error(errno, std::generic_category(), "the input could not be kept in a temporary file");
    }
  }
  ::lseek(copy.get(), 0, SEEK_SET);
  return copy;
}

std::string readSecret(std::string_view question) {
  if (::isatty(STDIN_FILENO) == 0) return readStandardInput();
  // The key that quits a program would leave the terminal without echo.
  const Interrupts interrupts({SIGINT, SIGTERM, SIGHUP, SIGQUIT});
  const HiddenTyping hidden;
  std::fputs(std::string(question).c_str(), stderr);
  return read(Until::lineEnd, interrupts);
}

}  // namespace ravant::cli
