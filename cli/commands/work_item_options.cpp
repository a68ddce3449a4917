#include "cli/commands/work_item_options.hpp"

#include <fmt/format.h>

#include "cli/command/lookup.hpp"
#include "cli/output/command_error.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

GithubPullReference pullIn(const std::string& word) {
  if (auto pull = pullReferenceFrom(word)) return *std::move(pull);
  throw UsageError(fmt::format("--pull takes a pull request as OWNER/NAME#NUMBER, not \"{}\"", word));
}

std::string issueIn(const std::string& word) {
  if (!trimmed(word).empty()) return std::string(trimmed(word));
  throw UsageError("--issue takes an issue's key, such as ENG-42, not a blank");
}

}  // namespace

std::vector<OptionDescription> workItemOptions() {
  return {{.name = "--pull",
           .value = "ACCOUNT OWNER/NAME#NUMBER",
           .description = "Begin with this pull request, quoted before the prompt"},
          {.name = "--issue",
           .value = "WORKSPACE KEY",
           .description = "Begin with this issue of Linear (ENG-42), quoted before the prompt"}};
}

void expectOneWorkItem(const Arguments& arguments) {
  if (!arguments.has("--pull") && !arguments.has("--issue")) return;
  if (arguments.has("--pull") && arguments.has("--issue")) throw UsageError("--pull and --issue exclude each other");
  const std::string_view chosen = arguments.has("--pull") ? "--pull" : "--issue";
  for (const std::string_view other : {"--conversation", "--continue"}) {
    if (!arguments.has(other)) continue;
    throw UsageError(fmt::format("{} begins a new conversation: it excludes {}", chosen, other));
  }
  if (arguments.has("--pull")) pullIn(arguments.list("--pull").at(1));
  if (arguments.has("--issue")) issueIn(arguments.list("--issue").at(1));
}

awaitable<std::optional<WorkItemText>> chosenWorkItem(CommandContext& context, Arguments arguments) {
  Application& application = context.application();
  if (arguments.has("--pull")) {
    const std::vector<std::string> words = arguments.list("--pull");
    const GithubIntegration account = co_await findGithubIntegration(application, words.at(0));
    co_return co_await readPullRequest(application, account, pullIn(words.at(1)));
  }
  if (arguments.has("--issue")) {
    const std::vector<std::string> words = arguments.list("--issue");
    const LinearIntegration workspace = co_await findLinearIntegration(application, words.at(0));
    WorkItemText issue = co_await readIssue(application, workspace, issueIn(words.at(1)));
    if (!issue.doubt.empty()) context.warn(issue.doubt);
    co_return issue;
  }
  co_return std::nullopt;
}

}  // namespace ravant::cli
