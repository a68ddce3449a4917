#include "runners/cursor/acp_unstored.hpp"

#include <ranges>
#include <string>
#include <utility>

namespace ravant {
namespace {

template <class Told>
Told* as(turn::Action& action) {
  auto* const entry = std::get_if<TranscriptAction>(&action);
  return entry ? std::get_if<Told>(entry) : nullptr;
}

/// The update of the call that is the last of what was told of it.
turn::UpdateToolInvocation* openUpdate(std::vector<turn::Action>& taken, const std::string& toolCallId) {
  for (turn::Action& action : taken | std::views::reverse) {
    if (auto* update = as<turn::UpdateToolInvocation>(action); update && update->toolCallId == toolCallId)
      return update;
    const auto* added = as<turn::AppendToolInvocation>(action);
    const auto* completed = as<turn::CompleteToolInvocation>(action);
    if (added && added->toolCallId == toolCallId) return nullptr;
    if (completed && completed->toolCallId == toolCallId) return nullptr;
  }
  return nullptr;
}

void replaceIfTold(std::optional<std::string>& known, std::optional<std::string>& told) {
  if (told) known = std::move(told);
}

}  // namespace

void addUnstored(std::vector<turn::Action>& unstored, std::vector<turn::Action> told) {
  for (turn::Action& action : told) {
    if (auto* update = as<turn::UpdateToolInvocation>(action)) {
      if (auto* open = openUpdate(unstored, update->toolCallId)) {
        replaceIfTold(open->toolName, update->toolName);
        replaceIfTold(open->input, update->input);
        replaceIfTold(open->output, update->output);
        continue;
      }
    } else if (const auto* completed = as<turn::CompleteToolInvocation>(action)) {
      if (auto* open = openUpdate(unstored, completed->toolCallId)) open->output.reset();
    }
    unstored.push_back(std::move(action));
  }
}

}  // namespace ravant
