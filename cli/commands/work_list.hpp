#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "cli/command/arguments.hpp"
#include "cli/command/command_context.hpp"

namespace ravant::cli {

/// Pull requests or issues as they are shown.
struct WorkList {
  json::array forms;
  std::string table;
  std::string remark;     ///< for people: how old it is, what it lacks, or what brings it
  std::string lack = {};  ///< for scripts: what it lacks
};

/// Whether the service is asked before the store is read.
enum class Sync { no, first };
Sync syncFrom(const Arguments& arguments);

awaitable<WorkList> listPulls(CommandContext& context, GithubIntegration account, GithubContentFilter filter,
                              Sync sync);
/// Of one team, or of all. `sync` says whether Linear was asked just now.
awaitable<WorkList> listIssues(CommandContext& context, LinearIntegration workspace, std::optional<std::string> teamKey,
                               LinearIssuesSortOrder order, Sync sync);
/// Brings teams and issues up to date.
awaitable<void> syncWorkspace(CommandContext& context, LinearIntegration workspace);

/// As an array, or as a table; then what `sayAbout` says.
void show(CommandContext& context, const WorkList& list);
/// On standard error, what is for those who read the chosen format.
void sayAbout(CommandContext& context, const WorkList& list);

/// For people, below an empty list; `what` says so ("The workspace has no team"). Names `--sync` where the service was
/// not asked.
std::string nothingText(std::string_view what, std::string_view service, Sync sync);

}  // namespace ravant::cli
