#include "cli/commands/github_account_commands.hpp"

#include <fmt/ranges.h>

#include <algorithm>

#include "cli/command/key_words.hpp"
#include "cli/command/lookup.hpp"
#include "cli/command/user_input.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/github_text.hpp"
#include "cli/output/json_form.hpp"
#include "cli/output/terminal_text.hpp"
#include "integrations/github/github_account_detection.hpp"
#include "integrations/github/github_host.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

bool areSame(std::string_view a, std::string_view b) { return lowerCase(a) == lowerCase(b); }

std::string nameOf(const GithubAccount& account) { return fmt::format("{}@{}", account.username, account.host); }

void show(CommandContext& context, const GithubIntegration& account, std::string_view what) {
  if (context.wantsJson()) return context.output.json(jsonForm(account));
  context.output.line(oneLine(fmt::format("{} {}", what, accountName(account))));
}

awaitable<ExitStatus> accounts(CommandContext& context, Arguments) {
  const auto offered = co_await detectAccounts(context.application().githubDetection());
  const auto added = co_await context.application().github().integrations().integrations();
  json::array forms;
  Table table({"ACCOUNT", "IN GH", "IN RAVANT"}, {0});
  for (const GithubAccount& account : offered) {
    const bool isAdded = std::ranges::any_of(added, [&](const GithubIntegration& known) {
      return areSame(known.host, account.host) && areSame(known.username, account.username);
    });
    forms.push_back(
        {{"host", account.host}, {"username", account.username}, {"isActive", account.isActive}, {"isAdded", isAdded}});
    table.add({nameOf(account), account.isActive ? "active" : "", isAdded ? "added" : ""});
  }
  if (context.wantsJson()) {
    context.output.json(forms);
  } else {
    context.output.write(table.text(context.output.style()));
  }
  co_return ExitStatus::done;
}

/// The account of that name that the tool `gh` is logged in to.
awaitable<GithubAccount> offeredAccount(CommandContext& context, std::string host, std::string username) {
  std::vector<std::string> names;
  for (GithubAccount& account : co_await detectAccounts(context.application().githubDetection())) {
    if (areSame(account.host, host) && areSame(account.username, username)) co_return std::move(account);
    names.push_back(nameOf(account));
  }
  throw CommandError(
      fmt::format("gh is not logged in to {}@{}, but to {}; log in with \"gh auth login\", or give a "
                  "token of your own with --token-stdin",
                  username, host, names.empty() ? "none" : fmt::format("{}", fmt::join(names, ", "))));
}

awaitable<ExitStatus> add(CommandContext& context, Arguments arguments) {
  const std::string host = checkedGithubHost(arguments.text("HOST"));
  const std::string username(trimmed(arguments.text("USERNAME")));
  if (username.empty()) throw CommandError("the username is empty");
  GithubService& github = context.application().github();
  std::optional<GithubIntegration> account;
  if (arguments.has("--token-stdin")) {
    std::string token = readSecret(oneLine(fmt::format("Access token of {}@{}:", username, host)) + ' ');
    account = co_await github.add(host, username, std::move(token));
  } else {
    account = co_await github.addDiscovered(co_await offeredAccount(context, host, username));
  }
  show(context, *account, "Added");
  if (!context.wantsJson()) context.output.line(oneLine(whereStored(context, "access token")));
  co_return ExitStatus::done;
}

awaitable<ExitStatus> list(CommandContext& context, Arguments) {
  const auto added = co_await context.application().github().integrations().integrations();
  if (context.wantsJson()) {
    context.output.json(jsonForms(added));
    co_return ExitStatus::done;
  }
  Table table({"ACCOUNT", "ID"}, {0, 1});
  for (const GithubIntegration& account : added) table.add({accountName(account), account.id.text()});
  context.output.write(table.text(context.output.style()));
  co_return ExitStatus::done;
}

awaitable<ExitStatus> remove(CommandContext& context, Arguments arguments) {
  const GithubIntegration account = co_await findGithubIntegration(context.application(), arguments.text("ACCOUNT"));
  confirm(arguments, oneLine(fmt::format("Remove {}? Ravant will forget this account. Your gh CLI login is unaffected.",
                                         accountName(account))));
  co_await context.application().github().remove(account.id);
  show(context, account, "Removed");
  co_return ExitStatus::done;
}

}  // namespace

CommandGroup githubAccountCommands() {
  return {
      .name = "github",
      .summary = "Accounts of GitHub, and the pull requests that they reach",
      .commands = {
          {.name = "accounts",
           .summary = "Show the accounts that the tool gh is logged in to",
           .description = "gh is looked for in the search path of your login shell.",
           .run = accounts},
          {.name = "add",
           .summary = "Add an account",
           .description = "HOST is github.com or the name of a GitHub Enterprise host. Without --token-stdin the "
                          "account is one that gh is logged in to, and gets the token that gh has. The token is tried "
                          "before it is stored.",
           .positionals = {{.name = "HOST"}, {.name = "USERNAME"}},
           .options = {{.name = "--token-stdin",
                        .description = "Read the access token from standard input; asked for "
                                       "on a terminal"}},
           .run = add},
          {.name = "list", .summary = "List the accounts that were added", .run = list},
          {.name = "remove",
           .summary = "Forget an account and its token",
           .description = "What is stored of it and its pinned views go too; what gh keeps stays. Asks first on a "
                          "terminal.",
           .positionals = {{.name = "ACCOUNT"}},
           .options = {{.name = "--yes", .description = "Do not ask"}},
           .run = remove}}};
}

}  // namespace ravant::cli
