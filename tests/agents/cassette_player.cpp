#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string_view>

#include "platform/json/json.hpp"
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
    if (rules_.empty()) {
      noteProcess(::getppid());
      noteProcess(::getpid());
      return playTurn(noteInvocation(arguments_));
    }
    // A server has replaced its shell.
    noteProcess(::getpid());
    for (;;) playTurn(invocations() + 1);
  }

 private:
  void playTurn(std::size_t next) {
    const std::size_t named = std::stoul(environment(kCassetteTurnVariable));
    const std::size_t number = named > 0 ? named : next;
    const auto turns = readCassette(environment(kCassetteVariable));
    if (number > turns.size()) {
      if (!rules_.empty()) receive("nothing more");
      throw std::runtime_error("there is no turn " + std::to_string(number));
    }

    const auto& lines = turns[number - 1].lines;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (i == fault_.line) breakOff(lines[i]);
      if (fault_.kind == CassetteFault::Kind::noise) makeNoise();
      perform(lines[i]);
    }
  }

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
    if (verb == "receive" || verb == "receive-prompt") {
      receive(rest);
      if (verb == "receive") return;
      promptId_ = receivedId_;
      noteInvocation({received_});
      return;
    }
    if (verb == "expect") return expect(received_.contains(rest), rest);
    if (verb == "expect-session") return expect(answered_.contains(rest) || prompts_ > 1, rest);
    if (verb == "reply") return reply(receivedId_, rest);
    if (verb == "reply-to-prompt") return reply(promptId_, rest);
    if (verb == "reply-error") {
      return write(STDOUT_FILENO,
                   "{\"id\":" + receivedId_ + ",\"error\":{\"code\":-32600,\"message\":\"" + rest + "\"}}\n");
    }
    if (verb == "receive-reply") return receiveReply(rest);
    if (verb == "spawn-orphan") return spawnOrphan();
    if (verb == "spawn-detached") return spawnDetached();
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
          "{\"jsonrpc\":\"2.0\",\"id\":4711,\"result\":{}}\n{\"method\":\"event/of/next/year\",\"params\":[]}\n"
          "{\"type\":\"event_of_next_year\",\"message\":{\"content\":[{\"type\":\"text\",\"text\":\"unknown\"}]}}\n");
  }

  static void reply(const std::string& id, const std::string& result) {
    write(STDOUT_FILENO, "{\"jsonrpc\":\"2.0\",\"id\":" + id + ",\"result\":" + result + "}\n");
  }

  static void expect(bool isSo, const std::string& words) {
    if (!isSo) throw std::runtime_error("expected: " + words);
  }

  /// Ends with the input, as servers do.
  json::object receiveMessage() {
    if (!std::getline(std::cin, received_)) ::_exit(0);
    const auto message = parseJson(received_);
    if (!message || !message->is_object()) throw std::runtime_error("no message: " + received_);
    return message->get_object();
  }

  void receive(const std::string& method) {
    for (;;) {
      const json::object message = receiveMessage();
      const std::string name(stringAt(message, "method").value_or("a reply"));
      const json::value* id = message.if_contains("id");
      receivedId_ = id ? compactJson(*id) : std::string();
      if (name == method) return;
      if (!id) continue;
      const auto rule = rules_.find(name);
      if (rule == rules_.end()) throw std::runtime_error("unexpected: " + received_);
      if (fault_.kind == CassetteFault::Kind::leave && rulesApplied_ == fault_.line) ::_exit(0);
      ++rulesApplied_;
      answered_.insert(name);
      reply(receivedId_, rule->second);
    }
  }

  void receiveReply(const std::string& words) {
    const std::size_t blank = words.find(' ');
    const json::object message = receiveMessage();
    const json::value* id = message.if_contains("id");
    expect(id && !message.contains("method") && compactJson(*id) == words.substr(0, blank), words);
    expect(received_.contains(words.substr(blank + 1)), words);
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

  void spawnDetached() const {
    const pid_t between = ::fork();
    if (between == 0) {
      spawnOrphan();
      ::_exit(0);
    }
    ::waitpid(between, nullptr, 0);
  }

  void noteProcess(pid_t pid) const { std::ofstream(state_ / "processes", std::ios::app) << pid << '\n'; }

  std::filesystem::path invocationFile(std::size_t number) const {
    return state_ / ("invocation-" + std::to_string(number));
  }

  std::size_t invocations() const {
    std::size_t count = 0;
    while (std::filesystem::exists(invocationFile(count + 1))) ++count;
    return count;
  }

  std::size_t noteInvocation(const std::vector<std::string>& words) {
    ++prompts_;
    const std::size_t number = invocations() + 1;
    std::ofstream output(invocationFile(number), std::ios::binary);
    output << std::filesystem::current_path().string() << '\0';
    for (const std::string& word : words) output << word << '\0';
    return number;
  }

  std::vector<std::string> arguments_;
  std::filesystem::path state_;
  CassetteFault fault_;
  std::map<std::string, std::string> rules_ = readCassetteRules(environment(kCassetteVariable));
  std::string received_;
  std::string receivedId_;
  std::string promptId_;
  std::set<std::string> answered_;  ///< by rules
  std::size_t rulesApplied_ = 0;
  int prompts_ = 0;
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
