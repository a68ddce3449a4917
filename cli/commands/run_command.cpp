#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "app/default_model.hpp"
#include "app/model_efforts.hpp"
#include "app/project_of_folder.hpp"
#include "cli/command/command.hpp"
#include "cli/command/lookup.hpp"
#include "cli/command/project_folder.hpp"
#include "cli/command/user_input.hpp"
#include "cli/commands/prompt_run.hpp"
#include "cli/commands/work_item_options.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/conversation_text.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::cli {
namespace {

/// Where a prompt goes: a conversation, a project in which a new one begins, or a folder that becomes a project.
struct Destination {
  std::optional<Project> project;
  std::optional<ConversationSummary> conversation;
  std::filesystem::path newProject = {};
};

std::string readPrompt(const Arguments& arguments) {
  const auto argument = arguments.optional("PROMPT");
  std::string prompt;
  if (argument && *argument != "-") {
    prompt = *argument;
  } else {
    if (!argument && ::isatty(STDIN_FILENO) == 1) throw UsageError("there is no prompt (see \"ravant run --help\")");
    prompt = readStandardInput();
    if (prompt.ends_with('\n')) prompt.pop_back();
  }
  if (!isValidUtf8(prompt)) throw CommandError("the prompt is not valid UTF-8");
  if (trimmed(prompt).empty()) throw CommandError("the prompt is empty");
  return prompt;
}

awaitable<Destination> conversationOf(Application& application, std::string conversation,
                                      std::optional<std::string> project) {
  ConversationSummary summary = co_await findConversation(application, std::move(conversation));
  if (project && (co_await findProject(application, *project)).id != summary.conversation.project) {
    throw CommandError(fmt::format("the conversation {} belongs to the project {}", shortId(summary.conversation.id),
                                   summary.projectName));
  }
  Project owner = co_await findProject(application, summary.conversation.project.text());
  co_return Destination{.project = std::move(owner), .conversation = std::move(summary)};
}

/// Whether the word is a folder, as it is written, and not a name.
bool namesFolder(std::string_view word) {
  std::error_code ignored;
  return (word == "." || word == ".." || word.contains('/')) && std::filesystem::is_directory(word, ignored);
}

awaitable<Destination> projectOf(Application& application, std::optional<std::string> word) {
  if (word && !namesFolder(*word))
    co_return Destination{.project = co_await findProject(application, *std::move(word))};
  const std::vector<Project> projects = co_await application.projects().projects();
  if (word) {
    const std::filesystem::path folder = projectFolder(*word);
    const auto known = std::ranges::find(projects, folder.string(), &Project::path);
    if (known != projects.end()) co_return Destination{.project = *known};
    co_return Destination{.newProject = folder};
  }
  const Whereabouts place = whereaboutsOf(std::filesystem::current_path());
  if (auto registered = registeredProject(projects, place)) co_return Destination{.project = *std::move(registered)};
  co_return Destination{.newProject = folderToRegister(projects, place)};
}

awaitable<std::optional<Project>> presentProject(Application& application, std::optional<std::string> word) {
  if (word) co_return co_await findProject(application, *std::move(word));
  co_return registeredProject(co_await application.projects().projects(),
                              whereaboutsOf(std::filesystem::current_path()));
}

awaitable<Destination> latestOf(Application& application, std::optional<std::string> word) {
  std::optional<Project> project = co_await presentProject(application, std::move(word));
  if (!project) throw CommandError("there is nothing to continue: no project holds the current folder");
  auto latest = co_await application.conversations().conversations({.project = project->id, .limit = 1});
  if (latest.empty()) {
    throw CommandError(fmt::format(
        "there is nothing to continue: the project {} has no conversation, or only archived ones", project->name));
  }
  co_return Destination{.project = *std::move(project), .conversation = std::move(latest.front())};
}

awaitable<Destination> findDestination(Application& application, const Arguments& arguments) {
  const auto conversation = arguments.optional("--conversation");
  const auto word = arguments.optional("--project");
  if (conversation && arguments.has("--continue")) {
    throw UsageError("--conversation and --continue exclude each other");
  }
  if (conversation) co_return co_await conversationOf(application, *conversation, word);
  if (arguments.has("--continue")) co_return co_await latestOf(application, word);
  co_return co_await projectOf(application, word);
}

/// The agent that a conversation belongs to, which is the only one that can go on with it.
awaitable<Agent> agentOf(Application& application, const ConversationSummary& summary,
                         std::optional<std::string> word) {
  const std::string name = shortId(summary.conversation.id);
  if (const auto type = summary.conversation.foreignAgentType) {
    throw CommandError(
        fmt::format("the agent of the conversation {0}, {1}, is not registered; add it with: ravant agent "
                    "add {1}",
                    name, rawValue(*type)));
  }
  if (!summary.conversation.agent) {
    throw CommandError(fmt::format("the agent of the conversation {} was removed; begin a new one", name));
  }
  Agent agent = co_await findAgent(application, summary.conversation.agent->text());
  if (word) co_await findUsableAgent(application, *word);
  if (word && *word != rawValue(agent.type) && *word != agent.id.text()) {
    throw CommandError(fmt::format("the conversation {} belongs to the agent {}; begin a new one for {}", name,
                                   rawValue(agent.type), *word));
  }
  co_return agent;
}

awaitable<Agent> firstEnabledAgent(Application& application) {
  std::optional<Agent> withoutKey;
  for (Agent& agent : co_await application.agents().agents()) {
    if (!agent.enabled) continue;
    if (agent.type != AgentType::ravant || co_await hasProviderKey(application)) co_return std::move(agent);
    if (!withoutKey) withoutKey = std::move(agent);
  }
  if (withoutKey) co_return *std::move(withoutKey);
  throw CommandError("there is no enabled agent: add one with \"ravant agent add claude\"");
}

awaitable<Agent> chooseAgent(Application& application, const Destination& destination,
                             std::optional<std::string> word) {
  std::optional<Agent> chosen;
  if (destination.conversation) {
    chosen = co_await agentOf(application, *destination.conversation, word);
  } else if (word) {
    chosen = co_await findUsableAgent(application, *word);
  } else {
    chosen = co_await firstEnabledAgent(application);
  }
  if (!chosen->enabled) {
    throw CommandError(
        fmt::format("the agent {0} is disabled; enable it with: ravant agent enable {0}", rawValue(chosen->type)));
  }
  co_return *std::move(chosen);
}

awaitable<std::string> chooseModel(Application& application, const Destination& destination, Agent agent,
                                   std::optional<std::string> slug) {
  if (!slug && destination.conversation) slug = destination.conversation->conversation.lastUsedModel;
  if (slug) co_return *std::move(slug);
  if (auto slugOfDefault = co_await defaultModel(application, agent)) co_return *std::move(slugOfDefault);
  throw CommandError(
      fmt::format("the agent {0} has no enabled model; add one with: ravant model add {0} SLUG", rawValue(agent.type)));
}

awaitable<PromptSubmission> prepareSubmission(CommandContext& context, Arguments arguments, std::string prompt) {
  Application& application = context.application();
  const Destination destination = co_await findDestination(application, arguments);
  if (destination.project) co_await expectFolderOf(application, *destination.project);
  Agent agent = co_await chooseAgent(application, destination, arguments.optional("--agent"));
  PromptSubmission submission{.prompt = std::move(prompt), .agent = agent};
  const auto slug = arguments.optional("--model");
  if (slug && trimmed(*slug).empty()) throw CommandError("the model's slug is empty");
  submission.model = co_await chooseModel(application, destination, agent, slug);
  submission.effort = arguments.optional("--effort");
  if (submission.effort) {
    co_await expectEffort(application.agents(), agent, submission.model, *submission.effort);
  }
  const std::optional<WorkItemText> about = co_await chosenWorkItem(context, arguments);
  if (about) submission.prompt = promptAbout(*about, submission.prompt, Uuid::random());
  if (destination.project) {
    submission.project = *destination.project;
  } else {
    submission.project = co_await registerProject(application, destination.newProject, std::nullopt);
  }
  if (destination.conversation) {
    const Conversation& conversation = destination.conversation->conversation;
    co_await expectIdle(application, conversation.id);
    submission.conversation = conversation.id;
    submission.resumedSessionId = conversation.agentResumedSessionId;
    if (!submission.effort) {
      submission.effort = co_await lastEffort(application.agents(), conversation, agent, submission.model);
    }
  } else {
    const auto made = co_await application.conversations().createConversation(
        submission.project.id, agent.id, about ? std::optional(about->item) : std::nullopt);
    if (!made) throw CommandError("the project or the agent is gone");
    submission.conversation = *made;
  }
  const auto words = arguments.optional("--title");
  if (words || about) {
    auto title = titleFrom(words ? *words : about->title);
    if (!title && about) title = about->item.name;
    co_await application.conversations().renameConversation(submission.conversation, std::move(title));
  }
  co_return submission;
}

awaitable<ExitStatus> run(CommandContext& context, Arguments arguments) {
  expectOneWorkItem(arguments);
  std::string prompt = readPrompt(arguments);
  const std::vector<Project> before = co_await context.application().projects().projects();
  PromptSubmission submission = co_await prepareSubmission(context, arguments, std::move(prompt));
  if (!context.wantsJson() && std::ranges::count(before, submission.project.id, &Project::id) == 0) {
    context.output.line(
        oneLine(fmt::format("Registered the project {} ({}).", submission.project.name, submission.project.path)));
  }
  PromptRun promptRun(context, std::move(submission));
  RunEnd end;
  try {
    end = co_await promptRun.run();
  } catch (const OutputClosed&) {
    throw CommandError("nobody reads the output any more: the prompt was cancelled");
  }
  switch (end.reason) {
    case PromptEndReason::finished:
      co_return ExitStatus::done;
    case PromptEndReason::cancelled:
      co_return ExitStatus::interrupted;
    case PromptEndReason::failed:
      throw CommandError(end.failure.value_or("the run failed"));
  }
  __builtin_unreachable();
}

std::vector<OptionDescription> runOptions() {
  std::vector<OptionDescription> options = {
      {.name = "--project",
       .value = "PROJECT",
       .description = "The project's id, name or folder",
       .kind = ValueKind::folder},
      {.name = "--agent", .value = "AGENT", .description = "The agent's id or type", .kind = ValueKind::agent},
      {.name = "--model", .value = "SLUG", .description = "The model, as the agent calls it"},
      {.name = "--effort", .value = "EFFORT", .description = "How hard the model is to think"},
      {.name = "--conversation", .value = "CONV", .description = "Go on with this conversation"},
      {.name = "--continue", .description = "Go on with the project's latest conversation"},
      {.name = "--title", .value = "TITLE", .description = "The title of the conversation"}};
  std::ranges::move(workItemOptions(), std::back_inserter(options));
  return options;
}

}  // namespace

Command runCommand() {
  return {
      .name = "run",
      .summary = "Send a prompt to an agent and follow the run",
      .description =
          "The prompt is the argument, or standard input when it is - or absent. The project defaults to the one that "
          "holds the current folder; where there is none, the top of the folder's git repository is registered, else "
          "the folder itself, and a line says so. A home folder, / and what holds another project are registered only "
          "when they are named, for example by --project . in the folder.\n\n"
          "Agent, model and effort default to those the conversation had last, then to the first enabled agent, "
          "Ravant's own without a key last, and its first enabled model; of Ravant's own agent, the first whose "
          "provider has a key. A model that the "
          "agent's list lacks is passed to the agent as it is.\n\n"
          "With --pull or --issue a new conversation begins, which remembers the pull request or issue and has its "
          "title. Its title, text and address stand before the prompt, marked as quoted.\n\n"
          "What Ravant's own agent, Codex, Cursor and Pi write is shown as it grows. Claude Code and Pi are not given "
          "the "
          "line breaks at the end of a prompt.\n\n"
          "Interrupting the program (Ctrl-C) cancels the prompt and waits for the agent to be gone; interrupting "
          "it again stops waiting.\n\n"
          "On a terminal the last line says what the run does or waits for.\n\n"
          "With --json each event is one JSON object on a line of its own: started, item, invocation, output (what a "
          "running tool printed since the last one), state (what the run does or waits for), usage and, always last, "
          "finished.",
      .positionals = {{.name = "PROMPT", .occurrence = Occurrence::atMostOnce}},
      .options = runOptions(),
      .run = run};
}

}  // namespace ravant::cli
