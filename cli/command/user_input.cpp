#include "cli/command/user_input.hpp"

#include <fmt/format.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>

#include "cli/output/command_error.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

enum class Until { lineEnd, inputEnd };

std::string read(Until until) {
  std::string input;
  std::array<char, 64 * 1024> piece;
  for (;;) {
    const ssize_t count = ::read(STDIN_FILENO, piece.data(), piece.size());
    if (count < 0 && errno == EINTR) throw Interrupted();
    if (count < 0) throw std::system_error(errno, std::generic_category(), "standard input could not be read");
    if (count == 0) return input;
    input.append(piece.data(), static_cast<std::size_t>(count));
    if (until == Until::lineEnd && input.ends_with('\n')) return input;
  }
}

/// Keeps the terminal from showing what is typed. The key that quits a program is an interruption meanwhile: the
/// terminal must not be left so.
class HiddenTyping {
 public:
  HiddenTyping() : isHidden_(::tcgetattr(STDIN_FILENO, &before_) == 0) {
    struct sigaction interrupts{};
    interrupts.sa_handler = [](int) {};
    ::sigaction(SIGQUIT, &interrupts, &quitting_);
    termios hidden = before_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (isHidden_) ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  ~HiddenTyping() {
    if (isHidden_) {
      ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
      std::fputc('\n', stderr);
    }
    ::sigaction(SIGQUIT, &quitting_, nullptr);
  }
  HiddenTyping(const HiddenTyping&) = delete;
  HiddenTyping& operator=(const HiddenTyping&) = delete;

 private:
  termios before_{};
  struct sigaction quitting_{};
  bool isHidden_;
};

}  // namespace

void confirm(const Arguments& arguments, std::string_view question) {
  if (arguments.has("--yes")) return;
  if (::isatty(STDIN_FILENO) == 0 || ::isatty(STDERR_FILENO) == 0) {
    throw UsageError("nobody can be asked here: give --yes to agree");
  }
  std::fputs(fmt::format("{} [y/N] ", question).c_str(), stderr);
  const std::string answer = lowerCase(trimmed(read(Until::lineEnd)));
  if (answer == "y" || answer == "yes") return;
  throw CommandError("nothing was changed");
}

std::string readStandardInput() { return read(Until::inputEnd); }

std::string readSecret(std::string_view question) {
  if (::isatty(STDIN_FILENO) == 0) return readStandardInput();
  const HiddenTyping hidden;
  std::fputs(std::string(question).c_str(), stderr);
  return read(Until::lineEnd);
}

}  // namespace ravant::cli
