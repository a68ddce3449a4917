#include <fmt/format.h>
#include <unistd.h>

#include "cli/command/command.hpp"
#include "cli/command/key_words.hpp"
#include "cli/command/lookup.hpp"
#include "cli/command/user_input.hpp"
#include "cli/commands/work_list.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/json_form.hpp"
#include "cli/output/linear_text.hpp"
#include "cli/output/terminal_text.hpp"

namespace ravant::cli {
namespace {

void show(CommandContext& context, const LinearIntegration& workspace, std::string_view what) {
  if (context.wantsJson()) return context.output.json(jsonForm(workspace));
  context.output.line(oneLine(
      fmt::format("{} {} ({}, {})", what, workspace.workspaceUrlKey, workspace.workspaceName, workspace.userEmail)));
}

awaitable<ExitStatus> add(CommandContext& context, Arguments arguments) {
  if (!arguments.has("--key-stdin") && ::isatty(STDIN_FILENO) == 0) {
    throw UsageError("give --key-stdin to have the key read from standard input");
  }
  std::string key = readSecret("Personal API key (Linear: Settings, Security & access, API keys): ");
  const LinearIntegration workspace = co_await context.application().linear().add(std::move(key));
  show(context, workspace, "Added");
  if (!context.wantsJson()) context.output.line(oneLine(whereStored(context, "API key")));
  std::string fault;
  try {
    co_await syncWorkspace(context, workspace);
  } catch (const std::exception& error) {
    fault = oneLine(error.what());
  }
  if (!fault.empty()) {
    context.warn(fmt::format("its issues could not be read yet: {} (try again: ravant linear issues {} --sync)", fault,
                             co_await wordFor(context.application(), workspace)));
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> list(CommandContext& context, Arguments) {
  const auto workspaces = co_await context.application().linear().integrations();
  if (context.wantsJson()) {
    context.output.json(jsonForms(workspaces));
  } else {
    context.output.write(workspacesText(workspaces, context.output.style()));
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> remove(CommandContext& context, Arguments arguments) {
  const LinearIntegration workspace =
      co_await findLinearIntegration(context.application(), arguments.text("WORKSPACE"));
  confirm(arguments, oneLine(fmt::format("Remove {} ({})? Ravant will forget this workspace and delete the API key "
                                         "from your keychain.",
                                         workspace.workspaceUrlKey, workspace.userEmail)));
  co_await context.application().linear().remove(workspace.id);
  show(context, workspace, "Removed");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> teams(CommandContext& context, Arguments arguments) {
  const LinearIntegration workspace =
      co_await findLinearIntegration(context.application(), arguments.text("WORKSPACE"));
  LinearService& linear = context.application().linear();
  const Sync sync = syncFrom(arguments);
  if (sync == Sync::first) {
    co_await linear.syncTeams(workspace.workspaceUrlKey, workspace.userEmail, workspace.id);
  }
  const std::vector<LinearTeam> found = co_await linear.teams(workspace.id);
  if (context.wantsJson()) {
    context.output.json(jsonForms(found));
  } else {
    context.output.write(teamsText(found, context.output.style()));
    if (found.empty()) context.note(nothingText("The workspace has no team", "Linear", sync));
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> issues(CommandContext& context, Arguments arguments) {
  Application& application = context.application();
  const LinearIntegration workspace = co_await findLinearIntegration(application, arguments.text("WORKSPACE"));
  const Sync sync = syncFrom(arguments);
  if (sync == Sync::first) co_await syncWorkspace(context, workspace);
  std::optional<std::string> key;
  if (const auto word = arguments.optional("--team"))
    key = (co_await findLinearTeam(application, workspace, *word)).key;
  const std::string order = arguments.optional("--sort").value_or("lastUpdated");
  show(context, co_await listIssues(context, workspace, key, linearIssuesSortOrderFromRawValue(order).value(), sync));
  co_return ExitStatus::done;
}

}  // namespace

CommandGroup linearCommands() {
  const PositionalDescription workspace = {.name = "WORKSPACE"};
  const OptionDescription sync = {.name = "--sync", .description = "Ask Linear first"};
  return {
      .name = "linear",
      .summary = "Workspaces of Linear, and your issues in them",
      .commands = {
          {.name = "add",
           .summary = "Connect a workspace",
           .description = "The workspace is the one whose personal API key is read from standard input; Linear makes "
                          "such keys under Settings, Security & access, API keys. Its teams and your issues are read "
                          "at once. Where that fails the workspace is connected all the same.",
           .options = {{.name = "--key-stdin",
                        .description = "Read the key from standard input; asked for on a "
                                       "terminal"}},
           .run = add},
          {.name = "list", .summary = "List the workspaces", .run = list},
          {.name = "remove",
           .summary = "Forget a workspace and delete its key",
           .description = "What is stored of it and its pinned views go too. Asks first on a terminal.",
           .positionals = {workspace},
           .options = {{.name = "--yes", .description = "Do not ask"}},
           .run = remove},
          {.name = "teams",
           .summary = "List the teams of a workspace",
           .positionals = {workspace},
           .options = {sync},
           .run = teams},
          {.name = "issues",
           .summary = "List the issues that are assigned to you and not finished",
           .positionals = {workspace},
           .options = {{.name = "--team", .value = "KEY", .description = "Only those of the team with this key"},
                       {.name = "--sort",
                        .value = "ORDER",
                        .description = "Their order; lastUpdated by default",
                        .kind = ValueKind::issuesOrder},
                       sync},
           .run = issues}}};
}

}  // namespace ravant::cli
