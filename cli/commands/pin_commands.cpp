#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>

#include "cli/command/command.hpp"
#include "cli/command/filter_options.hpp"
#include "cli/command/lookup.hpp"
#include "cli/commands/work_list.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/github_text.hpp"
#include "cli/output/json_form.hpp"
#include "cli/output/pin_text.hpp"
#include "cli/output/terminal_text.hpp"

namespace ravant::cli {
namespace {

void show(CommandContext& context, const PinnedItem& pin, std::string_view what) {
  if (context.wantsJson()) return context.output.json(jsonForm(pin));
  context.output.line(oneLine(fmt::format("{} {} ({})", what, displayTitle(pin), pin.id.text())));
}

void refuse(const Arguments& arguments, const std::vector<std::string_view>& options, std::string_view service) {
  for (const std::string_view option : options) {
    if (arguments.has(option)) throw UsageError(fmt::format("{} is not for views of {}", option, service));
  }
}

awaitable<PinnedItem::Detail> githubView(CommandContext& context, Arguments arguments) {
  refuse(arguments, {"--team", "--sort"}, "GitHub");
  const auto account = co_await findGithubIntegration(context.application(), arguments.text("INTEGRATION"));
  co_return GithubPullRequestsPinnedItem{.integration = account.id, .filter = filterFrom(arguments)};
}

awaitable<PinnedItem::Detail> linearView(CommandContext& context, Arguments arguments) {
  refuse(arguments, {"--repo", "--involvement", "--state", "--review", "--checks", "--draft"}, "Linear");
  const auto key = arguments.optional("--team");
  if (!key) throw UsageError("a view of Linear needs --team");
  const auto workspace = co_await findLinearIntegration(context.application(), arguments.text("INTEGRATION"));
  LinearTeamName team = co_await findLinearTeam(context.application(), workspace, *key);
  LinearIssuesPinnedItem view{
      .integration = workspace.id, .teamKey = std::move(team.key), .teamName = std::move(team.name)};
  if (const auto order = arguments.optional("--sort")) {
    view.sortOrder = linearIssuesSortOrderFromRawValue(*order).value();
  }
  co_return view;
}

awaitable<ExitStatus> add(CommandContext& context, Arguments arguments) {
  const bool isOfGithub = arguments.text("SERVICE") == "github";
  PinnedItem::Detail detail =
      isOfGithub ? co_await githubView(context, arguments) : co_await linearView(context, arguments);
  show(context, co_await context.application().pins().create(std::move(detail), arguments.optional("--title")),
       "Pinned");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> list(CommandContext& context, Arguments) {
  Application& application = context.application();
  const std::vector<PinnedItem> pins = co_await application.pins().pinnedItems();
  if (context.wantsJson()) {
    context.output.json(jsonForms(pins));
    co_return ExitStatus::done;
  }
  std::map<std::string, std::string> names;
  for (const auto& account : co_await application.github().integrations().integrations()) {
    names.emplace(account.id.text(), accountName(account));
  }
  const auto workspaces = co_await application.linear().integrations();
  for (const LinearIntegration& workspace : workspaces) {
    const auto& key = workspace.workspaceUrlKey;
    const bool isOnly = std::ranges::count(workspaces, key, &LinearIntegration::workspaceUrlKey) == 1;
    names.emplace(workspace.id.text(), isOnly ? key : fmt::format("{} ({})", key, workspace.userEmail));
  }
  context.output.write(pinsText(pins, names, context.output.style()));
  co_return ExitStatus::done;
}

awaitable<ExitStatus> remove(CommandContext& context, Arguments arguments) {
  const PinnedItem pin = co_await findPin(context.application(), arguments.text("PIN"));
  co_await context.application().pins().remove(pin.id);
  show(context, pin, "Removed");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> reorder(CommandContext& context, Arguments arguments) {
  std::vector<PinnedItemId> order;
  for (const std::string& word : arguments.list("PIN")) {
    order.push_back((co_await findPin(context.application(), word)).id);
  }
  co_await context.application().pins().reorder(std::move(order));
  co_return co_await list(context, {});
}

awaitable<WorkList> contentOf(CommandContext& context, PinnedItem pin, Sync sync) {
  Application& application = context.application();
  if (const auto* pulls = std::get_if<GithubPullRequestsPinnedItem>(&pin.detail)) {
    const auto account = co_await findGithubIntegration(application, pulls->integration.text());
    co_return co_await listPulls(context, account, pulls->filter, sync);
  }
  const auto& issues = std::get<LinearIssuesPinnedItem>(pin.detail);
  const auto workspace = co_await findLinearIntegration(application, issues.integration.text());
  if (sync == Sync::first) co_await syncWorkspace(context, workspace);
  co_return co_await listIssues(context, workspace, issues.teamKey, issues.sortOrder, sync);
}

awaitable<ExitStatus> showContent(CommandContext& context, Arguments arguments) {
  const PinnedItem pin = co_await findPin(context.application(), arguments.text("PIN"));
  const WorkList content = co_await contentOf(context, pin, syncFrom(arguments));
  if (context.wantsJson()) {
    context.output.json({{"pin", jsonForm(pin)}, {"items", content.forms}});
    sayAbout(context, content);
  } else {
    context.output.line(context.output.style().bold(oneLine(displayTitle(pin))));
    show(context, content);
  }
  co_return ExitStatus::done;
}

}  // namespace

CommandGroup pinCommands() {
  const PositionalDescription pin = {.name = "PIN"};
  return {.name = "pin",
          .summary = "Views of GitHub and Linear that you keep",
          .commands = {
              {.name = "add",
               .summary = "Pin the pull requests of a filter, or the issues of a team",
               .description = "ravant pin add github ACCOUNT takes the options of a filter, as \"ravant github pulls\" "
                              "does. ravant pin add linear WORKSPACE takes --team, and --sort.",
               .positionals = {{.name = "SERVICE", .kind = ValueKind::pinService}, {.name = "INTEGRATION"}},
               .options = withFilterOptions(
                   {{.name = "--team", .value = "KEY", .description = "The issues of the team with this key"},
                    {.name = "--sort",
                     .value = "ORDER",
                     .description = "The order of the issues; lastUpdated by default",
                     .kind = ValueKind::issuesOrder},
                    {.name = "--title", .value = "TITLE", .description = "The title in place of what it shows"}}),
               .run = add},
              {.name = "list", .summary = "List the pinned views in their order", .run = list},
              {.name = "show",
               .summary = "Show what a pinned view shows",
               .positionals = {pin},
               .options = {{.name = "--sync", .description = "Ask GitHub or Linear first"}},
               .run = showContent},
              {.name = "remove", .summary = "Unpin a view", .positionals = {pin}, .run = remove},
              {.name = "reorder",
               .summary = "Put the named views first, in that order",
               .positionals = {{.name = "PIN", .occurrence = Occurrence::atLeastOnce}},
               .run = reorder}}};
}

}  // namespace ravant::cli
