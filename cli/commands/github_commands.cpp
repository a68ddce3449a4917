#include <fmt/ranges.h>

#include <algorithm>

#include "app/project_of_folder.hpp"
#include "app/pull_request_checkout.hpp"
#include "cli/command/command.hpp"
#include "cli/command/filter_options.hpp"
#include "cli/command/lookup.hpp"
#include "cli/commands/github_account_commands.hpp"
#include "cli/commands/work_list.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/github_text.hpp"
#include "cli/output/json_form.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/text/duration_text.hpp"

namespace ravant::cli {
namespace {

awaitable<ExitStatus> repos(CommandContext& context, Arguments arguments) {
  const GithubIntegration account = co_await findGithubIntegration(context.application(), arguments.text("ACCOUNT"));
  GithubService& github = context.application().github();
  const Sync sync = syncFrom(arguments);
  GithubListEnd end = GithubListEnd::reached;
  if (sync == Sync::first) end = co_await github.syncAllRepositories(account);
  const std::vector<GithubRepository> found = co_await github.repositories(account.id);
  if (context.wantsJson()) {
    context.output.json(jsonForms(found));
  } else {
    context.output.write(repositoriesText(found, context.output.style()));
    if (found.empty()) context.note(nothingText("The account reaches no repository", "GitHub", sync));
  }
  if (end == GithubListEnd::beyond) {
    context.warn("the list can lack repositories: the account reaches more than the 3,000 that are read");
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> query(CommandContext& context, Arguments arguments) {
  const std::string text = filterFrom(arguments).searchQuery();
  if (context.wantsJson()) {
    context.output.json({{"query", text}});
  } else {
    context.output.line(text);
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> pulls(CommandContext& context, Arguments arguments) {
  const GithubIntegration account = co_await findGithubIntegration(context.application(), arguments.text("ACCOUNT"));
  show(context, co_await listPulls(context, account, filterFrom(arguments), syncFrom(arguments)));
  co_return ExitStatus::done;
}

awaitable<ExitStatus> pull(CommandContext& context, Arguments arguments) {
  const GithubIntegration account = co_await findGithubIntegration(context.application(), arguments.text("ACCOUNT"));
  GithubService& github = context.application().github();
  ShownPullRequest shown{.repositoryName = arguments.text("OWNER/NAME"), .number = arguments.count("NUMBER").value()};
  const auto freshness = arguments.has("--sync") ? GithubService::Freshness::fresh : GithubService::Freshness::cached;
  shown.detail = co_await github.pullRequestDetail(account, shown.repositoryName, shown.number, freshness);
  if (context.wantsJson()) {
    context.output.json(jsonForm(shown));
    co_return ExitStatus::done;
  }
  shown.known = co_await github.pulls().pull(account.id, shown.repositoryName, shown.number);
  context.output.write(textForm(shown, context.output.style()));
  context.note(fmt::format("Fetched {}.", ageText(shown.detail.fetchedAt, SystemClock().now())));
  co_return ExitStatus::done;
}

awaitable<Project> chosenProject(CommandContext& context, std::optional<std::string> word) {
  if (word) co_return co_await findProject(context.application(), *std::move(word));
  auto project = registeredProject(co_await context.application().projects().projects(),
                                   whereaboutsOf(std::filesystem::current_path()));
  if (!project) {
    throw CommandError("no project holds the current folder; name one with --project, or add it: ravant project add .");
  }
  co_return *std::move(project);
}

awaitable<ExitStatus> checkout(CommandContext& context, Arguments arguments) {
  const GithubIntegration account = co_await findGithubIntegration(context.application(), arguments.text("ACCOUNT"));
  const Project project = co_await chosenProject(context, arguments.optional("--project"));
  const CheckedOutPullRequest done =
      co_await checkOutPullRequest(context.application(), {.project = project,
                                                           .host = account.host,
                                                           .repositoryName = arguments.text("OWNER/NAME"),
                                                           .number = arguments.count("NUMBER").value()});
  if (context.wantsJson()) {
    context.output.json({{"project", project.id.text()},
                         {"top", done.top.string()},
                         {"branch", done.branch},
                         {"remote", done.remote},
                         {"ahead", done.ahead},
                         {"hasProjectFolder", done.hasProjectFolder},
                         {"output", done.output}});
  } else {
    context.output.write(terminalSafe(done.output));
    context.output.line(
        oneLine(fmt::format("{} is on {}, fetched from {}", done.top.string(), done.branch, done.remote)));
    if (done.ahead > 0) {
      context.output.line(fmt::format("{} of its commits {} not in the pull request: yours, or withdrawn by its author",
                                      done.ahead, done.ahead == 1 ? "is" : "are"));
    }
    if (!done.hasProjectFolder) {
      context.output.line(oneLine(fmt::format("The project's folder {} is not in it, and is gone", project.path)));
    }
  }
  co_return ExitStatus::done;
}

}  // namespace

CommandGroup githubCommands() {
  const PositionalDescription account = {.name = "ACCOUNT"};
  const PositionalDescription repository = {.name = "OWNER/NAME", .kind = ValueKind::repository};
  const PositionalDescription number = {.name = "NUMBER", .kind = ValueKind::count};
  const OptionDescription sync = {.name = "--sync", .description = "Ask GitHub first"};
  CommandGroup group = githubAccountCommands();
  group.commands.insert(
      group.commands.end(),
      {{.name = "repos",
        .summary = "List the repositories that an account reaches",
        .description = "Without --sync only what is stored is shown. With it as many as 3,000 are read.",
        .positionals = {account},
        .options = {sync},
        .run = repos},
       {.name = "query",
        .summary = "Show the search text of a filter",
        .description = "Nothing is sent.",
        .options = withFilterOptions({}),
        .needs = Needs::nothing,
        .run = query},
       {.name = "pulls",
        .summary = "List the pull requests that a filter lets through",
        .description = "Without --sync only what is stored is shown. With it every page of the search is fetched, and "
                       "what the store shows beside it is looked up again. Where neither a repository nor an "
                       "involvement is given, they are those that involve you.",
        .positionals = {account},
        .options = withFilterOptions({sync}),
        .run = pulls},
       {.name = "pull",
        .summary = "Show what a pull request says and changes",
        .description =
            "It is fetched where --sync is given, or where nothing is stored or what is stored is older than "
            "five minutes.",
        .positionals = {account, repository, number},
        .options = {sync},
        .run = pull},
       {.name = "checkout",
        .summary = "Check a pull request out in a project's folder",
        .description =
            "Its commits become the local branch pull/NUMBER, in the whole repository of the project. What is "
            "not committed there is in the way of it, and stays as it is. No hook of the repository sees the "
            "checkout, since the pull request could have brought it.",
        .positionals = {account, repository, number},
        .options = {{.name = "--project",
                     .value = "PROJECT",
                     .description = "The project's id, name or folder; the one that holds the current folder by "
                                    "default",
                     .kind = ValueKind::folder}},
        .run = checkout}});
  return group;
}

}  // namespace ravant::cli
