// read_lines SIZE COUNT ROUNDS: how long lines of a child take to arrive, read in three ways.
// read_lines print SIZE COUNT: the child.

#include <fmt/format.h>
#include <unistd.h>

#include <boost/asio/strand.hpp>
#include <cstring>
#include <stdexcept>
#include <string>

#include "bench/timing.hpp"
#include "platform/async/executors.hpp"
#include "platform/process/child_process.hpp"
#include "platform/process/line_reader.hpp"
#include "platform/process/login_shell.hpp"
#include "platform/process/shell_quoted.hpp"
#include "runners/shell_session.hpp"
#include "tests/support/run.hpp"

namespace ravant::bench {
namespace {

constexpr std::size_t kChunk = 64 * 1024;

void writeAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(STDOUT_FILENO, text.data(), text.size());
    if (count < 0) throw std::runtime_error(std::strerror(errno));
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

void print(std::size_t size, std::size_t count) {
  if (size < kChunk) {
    const std::string line = std::string(size - 1, 'x') + '\n';
    std::string lines;
    for (std::size_t i = 0; i < kChunk / size; ++i) lines += line;
    for (std::size_t left = count * size; left > 0; left -= lines.size()) {
      if (lines.size() > left) lines.resize(left);
      writeAll(lines);
    }
    return;
  }
  const std::string piece(kChunk, 'x');
  for (std::size_t line = 0; line < count; ++line) {
    for (std::size_t left = size - 1; left > 0; left -= std::min(left, kChunk)) {
      writeAll(std::string_view(piece).substr(0, left));
    }
    writeAll("\n");
  }
}

struct Lines {
  std::size_t size;
  std::size_t count;
};

std::string executable() { return std::filesystem::read_symlink("/proc/self/exe"); }

void expectAll(const Lines& lines, std::size_t read) {
  if (read != lines.count) throw std::runtime_error(fmt::format("{} of {} lines arrived", read, lines.count));
}

std::unique_ptr<ChildProcess> launch(const Lines& lines, const any_io_executor& executor) {
  return ChildProcess::launch({.executable = executable(),
                               .arguments = {"print", std::to_string(lines.size), std::to_string(lines.count)},
                               .standardInput = StandardInput::nullDevice},
                              executor);
}

awaitable<double> bareReading(Lines lines, any_io_executor strand) {
  const auto start = std::chrono::steady_clock::now();
  const auto child = launch(lines, strand);
  std::vector<char> chunk(kChunk);
  std::size_t read = 0;
  for (;;) {
    const ssize_t count = ::read(child->standardOutput().native_handle(), chunk.data(), chunk.size());
    if (count < 0) throw std::runtime_error(std::strerror(errno));
    if (count == 0) break;
    const char* const end = chunk.data() + count;
    for (const char* at = chunk.data();
         (at = static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)))) != nullptr; ++at) {
      ++read;
    }
  }
  const double seconds = secondsSince(start);
  co_await child->endTree();
  expectAll(lines, read);
  co_return seconds;
}

awaitable<double> byLineReader(Lines lines, any_io_executor strand) {
  const auto start = std::chrono::steady_clock::now();
  const auto child = launch(lines, strand);
  LineReader reader(child->standardOutput());
  std::size_t read = 0;
  do {
    while (reader.tryNext()) ++read;
  } while (co_await reader.fill());
  const double seconds = secondsSince(start);
  co_await child->endTree();
  expectAll(lines, read);
  co_return seconds;
}

awaitable<double> byShellSession(Lines lines, std::shared_ptr<ShellSession> shell) {
  constexpr std::string_view kEnd = "__END__";
  const auto start = std::chrono::steady_clock::now();
  co_await shell->writeStdin(
      fmt::format("{} print {} {}; echo {}\n", shellQuoted(executable()), lines.size, lines.count, kEnd));
  std::size_t read = 0;
  for (;;) {
    auto line = shell->tryReadLine();
    if (!line) line = co_await shell->readLine();
    if (!line || *line == kEnd) break;
    ++read;
  }
  const double seconds = secondsSince(start);
  expectAll(lines, read);
  co_return seconds;
}

void measure(Lines lines, int rounds) {
  Executors executors;
  const any_io_executor strand = asio::make_strand(executors.io());
  const auto onStrand = [&](auto operation) {
    return test::run(asio::co_spawn(strand, std::move(operation), use_awaitable));
  };
  const auto shell = std::make_shared<ShellSession>(strand, ShellOptions{.shellPath = loginShell().path});
  onStrand(shell->startShell("/"));
  const auto seconds = shortestOf(rounds, {[&] { return onStrand(bareReading(lines, strand)); },
                                           [&] { return onStrand(byLineReader(lines, strand)); },
                                           [&] { return onStrand(byShellSession(lines, shell)); }});
  onStrand(shell->shutdown());
  fmt::print("bare\t{}\nLineReader\t{}\nShellSession\t{}\n", seconds[0], seconds[1], seconds[2]);
}

}  // namespace
}  // namespace ravant::bench

int main(int, char** arguments) {
  using namespace ravant::bench;
  const std::string first = arguments[1];
  if (first == "print") {
    print(std::stoul(arguments[2]), std::stoul(arguments[3]));
  } else {
    measure({.size = std::stoul(first), .count = std::stoul(arguments[2])}, std::stoi(arguments[3]));
  }
}
