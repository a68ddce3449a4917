// stream_turn ADDRESS: the seconds that one turn of a chat-completions service takes, the bytes of its text, and the
// KiB that the process had at most.

#include <fmt/format.h>

#include <fstream>

#include "agent/chat_completions_client.hpp"
#include "bench/timing.hpp"
#include "platform/async/executors.hpp"
#include "tests/support/run.hpp"

namespace ravant::bench {
namespace {

/// In KiB; not what the process was that started this one.
std::string mostMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:"))
      return line.substr(line.find_first_of("0123456789"), line.rfind(' ') - line.find_first_of("0123456789"));
  }
  return {};
}

}  // namespace
}  // namespace ravant::bench

int main(int, char** arguments) {
  using namespace ravant;
  ChatCompletionsClient client(RavantProvider::openrouter, "key",
                               {.http = std::make_shared<HttpEngine>(), .baseAddress = arguments[1]});
  std::size_t fragments = 0;
  const auto start = std::chrono::steady_clock::now();
  const ChatTurn turn = test::run(client.streamTurn({.model = "m", .systemPrompt = "s", .messages = {}, .tools = {}},
                                                    {.onText = [&](std::string_view) { ++fragments; }}));
  const double seconds = bench::secondsSince(start);
  fmt::print("seconds\t{}\ntext\t{}\nfragments\t{}\nmemory\t{}\n", seconds, turn.text.size(), fragments,
             bench::mostMemory());
}
