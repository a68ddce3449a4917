#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "app/agent_scan.hpp"
#include "app/model_catalog.hpp"
#include "cli/command/command.hpp"
#include "cli/command/lookup.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/json_form.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

std::string pathWords(const Agent& agent) {
  if (agent.type == AgentType::ravant) return "built in";
  std::string words = agent.path.empty() ? std::string(defaultCommandName(agent.type)) : agent.path;
  for (const std::string& argument : agent.arguments.value_or(std::vector<std::string>())) words += ' ' + argument;
  return agent.path.empty() ? words + " in PATH" : words;
}

void show(CommandContext& context, const Agent& agent, std::string_view what) {
  if (context.wantsJson()) return context.output.json(jsonForm(agent));
  context.output.line(oneLine(fmt::format("{} {} ({})", what, displayName(agent.type), pathWords(agent))));
}

/// A path as it is stored: absolute, unless it is a name that is looked up when the agent is started.
std::string executablePath(std::string_view typed) {
  const std::string word(trimmed(typed));
  if (word.find('/') == std::string::npos) return word;
  const std::filesystem::path path = std::filesystem::absolute(word).lexically_normal();
  if (std::filesystem::is_directory(path)) throw CommandError(fmt::format("{} is a folder", path.string()));
  if (::access(path.c_str(), X_OK) != 0) {
    throw CommandError(fmt::format("{} cannot be run: {}", path.string(), std::generic_category().message(errno)));
  }
  return path.string();
}

/// There is one built-in agent, and no program that it is.
void refuseBuiltIn(AgentType type) {
  if (type == AgentType::ravant) throw CommandError("Ravant's own agent is built in: it has no program");
}

awaitable<ExitStatus> add(CommandContext& context, Arguments arguments) {
  const AgentType type = agentTypeFromRawValue(arguments.text("TYPE")).value();
  if (arguments.has("--path")) refuseBuiltIn(type);
  const std::string path = executablePath(arguments.optional("--path").value_or(std::string()));
  AgentModelStore& agents = context.application().agents();
  for (const Agent& agent : co_await agents.agents()) {
    if (agent.type != type || agent.path != path) continue;
    show(context, agent, "There is");
    co_return ExitStatus::done;
  }
  show(context, co_await agents.createAgent(type, path, builtInModels(type)), "Added");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> list(CommandContext& context, Arguments) {
  const std::vector<Agent> agents = co_await context.application().agents().agents();
  if (context.wantsJson()) {
    context.output.json(jsonForms(agents));
    co_return ExitStatus::done;
  }
  Table table({"TYPE", "NAME", "STATE", "PROGRAM", "ID"}, {0, 4});
  for (const Agent& agent : agents) {
    table.add({std::string(rawValue(agent.type)), std::string(displayName(agent.type)),
               agent.enabled ? "enabled" : "disabled", pathWords(agent), agent.id.text()});
  }
  context.output.write(table.text(context.output.style()));
  co_return ExitStatus::done;
}

awaitable<ExitStatus> setEnabled(CommandContext& context, Arguments arguments, bool enabled) {
  Agent agent = co_await findAgent(context.application(), arguments.text("AGENT"));
  co_await context.application().agents().setEnabled(agent.id, enabled);
  agent.enabled = enabled;
  show(context, agent, enabled ? "Enabled" : "Disabled");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> enable(CommandContext& context, Arguments arguments) {
  return setEnabled(context, std::move(arguments), true);
}

awaitable<ExitStatus> disable(CommandContext& context, Arguments arguments) {
  return setEnabled(context, std::move(arguments), false);
}

awaitable<ExitStatus> setPath(CommandContext& context, Arguments arguments) {
  Agent agent = co_await findAgent(context.application(), arguments.text("AGENT"));
  refuseBuiltIn(agent.type);
  agent.path = executablePath(arguments.text("PATH"));
  co_await context.application().agents().setPath(agent.id, agent.path);
  show(context, agent, "Changed");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> setArguments(CommandContext& context, Arguments arguments) {
  Agent agent = co_await findAgent(context.application(), arguments.text("AGENT"));
  if (agent.type != AgentType::cursor) {
    throw CommandError(fmt::format("{} is always started with the same arguments; those of the type cursor can be set",
                                   displayName(agent.type)));
  }
  agent.arguments.reset();
  if (arguments.has("ARGUMENT")) agent.arguments = arguments.list("ARGUMENT");
  co_await context.application().agents().setArguments(agent.id, agent.arguments);
  show(context, agent, "Changed");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> reorder(CommandContext& context, Arguments arguments) {
  std::vector<AgentId> order;
  for (const std::string& word : arguments.list("AGENT")) {
    order.push_back((co_await findAgent(context.application(), word)).id);
  }
  co_await context.application().agents().reorder(std::move(order));
  co_return co_await list(context, {});
}

std::string outcomeWords(ScannedAgent::Outcome outcome) {
  switch (outcome) {
    case ScannedAgent::Outcome::known:
      return "registered already";
    case ScannedAgent::Outcome::added:
      return "added";
    case ScannedAgent::Outcome::mended:
      return "path mended";
  }
  __builtin_unreachable();
}

awaitable<ExitStatus> scan(CommandContext& context, Arguments) {
  json::array forms;
  Table table({"TYPE", "NAME", "VERSION", "PROGRAM", "STATE"});
  Application& application = context.application();
  const auto scanned = co_await scanAgents(
      application.agents(), locatorOptions(application.settings(), application.processes()), application.io());
  for (const auto& [located, outcome] : scanned) {
    const auto type = rawValue(located.type);
    json::object form{{"type", type}, {"displayName", displayName(located.type)}, {"path", located.path}};
    if (!located.version.empty()) form.emplace("version", located.version);
    form.emplace("isNew", outcome == ScannedAgent::Outcome::added);
    form.emplace("isMended", outcome == ScannedAgent::Outcome::mended);
    forms.push_back(std::move(form));
    table.add({std::string(type), std::string(displayName(located.type)), located.version, located.path,
               outcomeWords(outcome)});
  }
  if (context.wantsJson()) {
    context.output.json(forms);
  } else if (forms.empty()) {
    context.output.line("No agent was found in the search path of your shell.");
  } else {
    context.output.write(table.text(context.output.style()));
  }
  co_return ExitStatus::done;
}

}  // namespace

CommandGroup agentCommands() {
  const PositionalDescription agent = {.name = "AGENT", .kind = ValueKind::agent};
  return {.name = "agent",
          .summary = "The coding agents that prompts go to",
          .commands = {
              {.name = "add",
               .summary = "Register an agent of a type",
               .description = "Without a path the agent's usual command is looked up in the search path of your login "
                              "shell each time it is started.",
               .positionals = {{.name = "TYPE", .kind = ValueKind::agentType}},
               .options =
                   {{.name = "--path", .value = "PATH", .description = "The agent's program", .kind = ValueKind::file}},
               .run = add},
              {.name = "list", .summary = "List the agents in their order", .run = list},
              {.name = "enable", .summary = "Offer an agent again", .positionals = {agent}, .run = enable},
              {.name = "disable", .summary = "Stop offering an agent", .positionals = {agent}, .run = disable},
              {.name = "set-path",
               .summary = "Change the program of an agent",
               .description = "An empty path stands for the agent's usual command.",
               .positionals = {agent, {.name = "PATH", .kind = ValueKind::file}},
               .run = setPath},
              {.name = "set-arguments",
               .summary = "Change what an agent of the type cursor is started with",
               .description = "Any agent of the Agent Client Protocol can be run as a cursor agent: set its path, and "
                              "the arguments that make it speak the protocol. Without arguments they are acp again. "
                              "Write -- before the first that begins with a hyphen.",
               .positionals = {agent, {.name = "ARGUMENT", .occurrence = Occurrence::any}},
               .run = setArguments},
              {.name = "reorder",
               .summary = "Put the named agents first, in that order",
               .positionals = {{.name = "AGENT", .kind = ValueKind::agent, .occurrence = Occurrence::atLeastOnce}},
               .run = reorder},
              {.name = "scan",
               .summary = "Find the installed agents and register the new ones",
               .description = "Runs by itself on the first start.",
               .run = scan}}};
}

}  // namespace ravant::cli
