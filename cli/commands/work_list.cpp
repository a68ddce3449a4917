#include "cli/commands/work_list.hpp"

#include <fmt/format.h>

#include "cli/output/github_text.hpp"
#include "cli/output/json_form.hpp"
#include "cli/output/linear_text.hpp"

namespace ravant::cli {

Sync syncFrom(const Arguments& arguments) { return arguments.has("--sync") ? Sync::first : Sync::no; }

awaitable<WorkList> listPulls(CommandContext& context, GithubIntegration account, GithubContentFilter filter,
                              Sync sync) {
  GithubService& github = context.application().github();
  if (sync == Sync::first) co_await github.sync(account, filter);
  const auto pulls = co_await github.pulls().pulls(filter, account.id, account.username);
  const auto record = co_await github.integrations().lastSync(account.id, filter.searchQuery());
  co_return WorkList{.forms = jsonForms(pulls),
                     .table = pullsText(pulls, context.output.style()),
                     .remark = syncText(record, SystemClock().now()),
                     .lack = lackText(record)};
}

awaitable<WorkList> listIssues(CommandContext& context, LinearIntegration workspace, std::optional<std::string> teamKey,
                               LinearIssuesSortOrder order, Sync sync) {
  const auto issues = co_await context.application().linear().issues(workspace.id, teamKey, order);
  const std::string what = teamKey ? fmt::format("No unfinished issue of the team {} is assigned to you", *teamKey)
                                   : "No unfinished issue is assigned to you";
  co_return WorkList{.forms = jsonForms(issues),
                     .table = issuesText(issues, context.output.style()),
                     .remark = issues.empty() ? nothingText(what, "Linear", sync) : ""};
}

awaitable<void> syncWorkspace(CommandContext& context, LinearIntegration workspace) {
  LinearService& linear = context.application().linear();
  co_await linear.syncTeams(workspace.workspaceUrlKey, workspace.userEmail, workspace.id);
  const LinearIssuesRefresh refresh = co_await linear.syncIssues(workspace);
  if (refresh.unreadable > 0) {
    context.warn(
        fmt::format("{} of Linear's issues could not be read, and stay as they are stored", refresh.unreadable));
  }
}

void show(CommandContext& context, const WorkList& list) {
  context.wantsJson() ? context.output.json(list.forms) : context.output.write(list.table);
  sayAbout(context, list);
}

void sayAbout(CommandContext& context, const WorkList& list) {
  if (!list.remark.empty()) context.note(list.remark);
  if (!list.lack.empty() && context.wantsJson()) context.warn(list.lack);
}

std::string nothingText(std::string_view what, std::string_view service, Sync sync) {
  return sync == Sync::first ? fmt::format("{}.", what)
                             : fmt::format("{}, as far as is known; --sync asks {}.", what, service);
}

}  // namespace ravant::cli
