#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string_view>

#include "tests/agents/cassette.hpp"

namespace ravant::test {
namespace {

constexpr int kCassetteFailed = 97;

void write(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count < 0) throw std::runtime_error("nobody reads what is printed");
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  if (value == nullptr) throw std::runtime_error(std::string(name) + " is not set");
  return value;
}

std::string unescaped(std::string text) {
  for (std::size_t at = 0; (at = text.find("\\x", at)) != std::string::npos; ++at) {
    text.replace(at, 4, 1, static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16)));
  }
  return text;
}

void kill(pid_t pid) {
  if (::kill(pid, SIGKILL) != 0) throw std::runtime_error("cannot kill " + std::to_string(pid));
}

[[noreturn]] void hang() {
  for (;;) ::pause();
}

class Player {
 public:
  Player(int count, char** arguments)
      : arguments_(arguments + 1, arguments + count),
        state_(environment(kCassetteStateVariable)),
        fault_(CassetteFault::fromText(environment(kCassetteFaultVariable))) {}

  void play() {
    noteProcess(::getppid());
    noteProcess(::getpid());
    const std::size_t run = noteRun();
    const std::size_t named = std::stoul(environment(kCassetteTurnVariable));
    const std::size_t number = named > 0 ? named : run;
    const auto turns = readCassette(environment(kCassetteVariable));
    if (number > turns.size()) throw std::runtime_error("there is no turn " + std::to_string(number));

    const auto& lines = turns[number - 1].lines;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (i == fault_.line) breakOff(lines[i]);
      if (fault_.kind == CassetteFault::Kind::noise) makeNoise();
      perform(lines[i]);
    }
  }

 private:
  void perform(const std::string& line) {
    if (line.starts_with('{')) return write(STDOUT_FILENO, line + '\n');
    if (line.starts_with('!')) return write(STDERR_FILENO, line.substr(1) + '\n');
    const std::size_t blank = std::min(line.find(' '), line.size());
    const std::string verb = line.substr(0, blank);
    const std::string rest = line.substr(std::min(blank + 1, line.size()));
    if (verb == "print") return write(STDOUT_FILENO, unescaped(rest) + '\n');
    if (verb == "no-newline") return write(STDOUT_FILENO, unescaped(rest));
    if (verb == "expect-argument") return expectArgument(rest);
    if (verb == "wait") return waitFor(rest);
    if (verb == "spawn-orphan") return spawnOrphan();
    if (verb == "kill-self") return kill(::getpid());
    if (verb == "kill-shell") return kill(::getppid());
    if (verb == "hang") hang();
    if (verb == "exit") ::_exit(std::stoi(rest));
    throw std::runtime_error("unknown line: " + line);
  }

  void breakOff(const std::string& next) const {
    if (fault_.kind == CassetteFault::Kind::stop) ::_exit(0);
    if (fault_.kind != CassetteFault::Kind::kill) return;
    if (next.starts_with('{')) write(STDOUT_FILENO, next.substr(0, next.size() / 2));
    kill(::getpid());
  }

  static void makeNoise() {
    write(STDOUT_FILENO,
          "Plain text, as a warning of the interpreter would be.\n\n[]\nnull\n{\"type\":42}\n{\"type\":\"assistant\"}\n"
          "{\"type\":\"user\",\"message\":{}}\n{\"type\":\"assistant\",\"message\":{\"content\":\n"
          "{\"type\":\"event_of_next_year\",\"message\":{\"content\":[{\"type\":\"text\",\"text\":\"unknown\"}]}}\n");
  }

  void expectArgument(const std::string& expected) const {
    for (const std::string& argument : arguments_) {
      if (argument == expected) return;
    }
    throw std::runtime_error("the argument " + expected + " is missing");
  }

  void waitFor(const std::string& name) const {
    const int changes = ::inotify_init1(IN_CLOEXEC);
    ::inotify_add_watch(changes, state_.c_str(), IN_CREATE);
    std::array<char, 4096> events;
    while (!std::filesystem::exists(state_ / name) && ::read(changes, events.data(), events.size()) > 0) {
    }
    ::close(changes);
  }

  void spawnOrphan() const {
    std::array<int, 2> ready{};
    if (::pipe2(ready.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    const pid_t orphan = ::fork();
    if (orphan == 0) {
      ::setsid();
      ::signal(SIGTERM, SIG_IGN);
      ::signal(SIGHUP, SIG_IGN);
      ::close(ready[0]);
      ::close(ready[1]);
      hang();
    }
    ::close(ready[1]);
    char nothing = 0;
    static_cast<void>(::read(ready[0], &nothing, 1));
    ::close(ready[0]);
    noteProcess(orphan);
  }

  void noteProcess(pid_t pid) const { std::ofstream(state_ / "processes", std::ios::app) << pid << '\n'; }

  std::size_t noteRun() const {
    for (std::size_t number = 1;; ++number) {
      const auto file = state_ / ("run-" + std::to_string(number));
      if (std::filesystem::exists(file)) continue;
      std::ofstream output(file, std::ios::binary);
      output << std::filesystem::current_path().string() << '\0';
      for (const std::string& argument : arguments_) output << argument << '\0';
      return number;
    }
  }

  std::vector<std::string> arguments_;
  std::filesystem::path state_;
  CassetteFault fault_;
};

}  // namespace
}  // namespace ravant::test

// Nothing is to be cleaned up, and leaving so is quick under a sanitizer too.
int main(int count, char** arguments) {
  try {
    ravant::test::Player(count, arguments).play();
    ::_exit(0);
  } catch (const std::exception& error) {
    std::cerr << "cassette player: " << error.what() << std::endl;
    ::_exit(ravant::test::kCassetteFailed);
  }
}
