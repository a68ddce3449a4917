#include "cli/manual/manual.hpp"

#include <fmt/format.h>

#include "cli/output/command_error.hpp"

namespace ravant::cli {

std::string manual(std::string_view kind) {
  if (kind == "man") return manPage();
  if (kind == "bash") return bashCompletions();
  if (kind == "zsh") return zshCompletions();
  if (kind == "fish") return fishCompletions();
  throw UsageError(fmt::format("there is no manual of the kind \"{}\": man, bash, zsh, fish", kind));
}

}  // namespace ravant::cli
