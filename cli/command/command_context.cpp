#include "cli/command/command_context.hpp"

#include <fmt/format.h>

#include <cstdio>

#include "cli/output/terminal_text.hpp"

namespace ravant::cli {

void CommandContext::note(std::string_view text) {
  if (wantsJson()) return;
  output.flush();
  std::fputs(fmt::format("{}\n", oneLine(text)).c_str(), stderr);
}

void CommandContext::warn(std::string_view text) {
  output.flush();
  std::fputs(fmt::format("ravant: {}\n", oneLine(text)).c_str(), stderr);
}

}  // namespace ravant::cli
