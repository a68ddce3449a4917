#pragma once

#include <optional>
#include <vector>

#include "app/work_item_prompt.hpp"
#include "cli/command/command.hpp"

namespace ravant::cli {

/// The options that name what a new conversation begins with.
std::vector<OptionDescription> workItemOptions();

/// Throws `UsageError` for two such options, for one beside those of a conversation that is there, and for a text that
/// names no pull request or issue.
void expectOneWorkItem(const Arguments& arguments);

/// What the options name; nothing without them. What is doubtful about it is said on standard error. Throws
/// `CommandError`, and what `readPullRequest` and `readIssue` do.
awaitable<std::optional<WorkItemText>> chosenWorkItem(CommandContext& context, Arguments arguments);

}  // namespace ravant::cli
