#include <fmt/ranges.h>

#include <algorithm>

#include "app/agent_scan.hpp"
#include "app/model_discovery.hpp"
#include "cli/command/command.hpp"
#include "cli/command/lookup.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/json_form.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

awaitable<std::optional<AgentId>> chosenAgent(CommandContext& context, std::optional<std::string> word) {
  if (!word) co_return std::nullopt;
  const Agent agent = co_await findAgent(context.application(), *std::move(word));
  co_return agent.id;
}

awaitable<void> show(CommandContext& context, std::optional<AgentId> only) {
  const std::vector<AgentModel> models = co_await context.application().agents().models(only);
  if (context.wantsJson()) {
    context.output.json(jsonForms(models));
    co_return;
  }
  std::map<AgentId, std::string> types;
  for (const Agent& agent : co_await context.application().agents().agents()) types[agent.id] = rawValue(agent.type);
  Table table({"AGENT", "MODEL", "NAME", "STATE", "EFFORTS"}, {0, 1});
  for (const AgentModel& model : models) {
    table.add({model.agent ? types[*model.agent] : std::string(), model.slug, model.displayName,
               model.enabled ? "enabled" : "disabled", fmt::format("{}", fmt::join(model.efforts, ", "))});
  }
  context.output.write(table.text(context.output.style()));
}

awaitable<void> showOne(CommandContext& context, AgentId agent, std::string slug, std::string_view what) {
  for (const AgentModel& model : co_await context.application().agents().models(agent)) {
    if (model.slug != slug) continue;
    if (context.wantsJson()) {
      context.output.json(jsonForm(model));
    } else {
      context.output.line(oneLine(fmt::format("{} {} ({})", what, model.slug, model.displayName)));
    }
  }
}

awaitable<ExitStatus> list(CommandContext& context, Arguments arguments) {
  co_await show(context, co_await chosenAgent(context, arguments.optional("--agent")));
  co_return ExitStatus::done;
}

awaitable<ExitStatus> refresh(CommandContext& context, Arguments arguments) {
  Application& application = context.application();
  const std::optional<AgentId> only = co_await chosenAgent(context, arguments.optional("AGENT"));
  std::vector<std::string> failures;
  for (const Agent& agent : co_await application.agents().agents()) {
    if (only ? agent.id != *only : !agent.enabled) continue;
    try {
      co_await application.agents().refreshModels(
          agent.id, co_await discoverModels(agent, locatorOptions(application.settings(), application.processes()),
                                            application.io()));
    } catch (const ModelDiscoveryError& error) {
      failures.push_back(oneLine(error.what()));
    }
  }
  if (!failures.empty()) {
    throw CommandError(fmt::format("{}; its models stay as they were", fmt::join(failures, "; ")));
  }
  co_await show(context, only);
  co_return ExitStatus::done;
}

awaitable<ExitStatus> add(CommandContext& context, Arguments arguments) {
  const Agent agent = co_await findAgent(context.application(), arguments.text("AGENT"));
  const std::string slug(trimmed(arguments.text("SLUG")));
  if (slug.empty()) throw CommandError("a model's slug cannot be empty");
  const std::vector<AgentModel> models = co_await context.application().agents().models(agent.id);
  const auto present = std::ranges::find(models, slug, &AgentModel::slug);
  const bool isNew = present == models.end();
  if (isNew && agent.type == AgentType::ravant) {
    throw CommandError(fmt::format("Ravant's own agent runs only the models of its list; \"{}\" is not one", slug));
  }
  const auto name = arguments.optional("--name");
  if (name && trimmed(*name).empty()) throw CommandError("a model's name cannot be empty");
  co_await context.application().agents().addCustomModel(agent.id, slug,
                                                         name.value_or(isNew ? slug : present->displayName));
  co_await showOne(context, agent.id, slug, isNew ? "Added" : "Already listed, now enabled:");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> setEnabled(CommandContext& context, Arguments arguments, bool enabled) {
  AgentModelStore& store = context.application().agents();
  const Agent agent = co_await findAgent(context.application(), arguments.text("AGENT"));
  const std::string& slug = arguments.text("SLUG");
  if (!co_await store.setModelEnabled(agent.id, slug, enabled)) {
    std::vector<std::string> slugs;
    for (const AgentModel& model : co_await store.models(agent.id)) slugs.push_back(model.slug);
    throw CommandError(fmt::format("{} has no model \"{}\"; it has {}", rawValue(agent.type), slug,
                                   slugs.empty() ? "none" : fmt::format("{}", fmt::join(slugs, ", "))));
  }
  co_await showOne(context, agent.id, slug, enabled ? "Enabled" : "Disabled");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> enable(CommandContext& context, Arguments arguments) {
  return setEnabled(context, std::move(arguments), true);
}

awaitable<ExitStatus> disable(CommandContext& context, Arguments arguments) {
  return setEnabled(context, std::move(arguments), false);
}

}  // namespace

CommandGroup modelCommands() {
  const PositionalDescription agent = {.name = "AGENT", .kind = ValueKind::agent};
  return {
      .name = "model",
      .summary = "The models that agents can run",
      .commands = {
          {.name = "list",
           .summary = "List the models of one agent or of all",
           .options = {{.name = "--agent",
                        .value = "AGENT",
                        .description = "Only the models of this agent",
                        .kind = ValueKind::agent}},
           .run = list},
          {.name = "refresh",
           .summary = "Bring the models up to date",
           .description =
               "Codex, Cursor and Pi are asked which models they have; the others are known. Without an agent "
               "all that are enabled are asked. What you added, enabled or disabled yourself stays so.",
           .positionals = {{.name = "AGENT", .kind = ValueKind::agent, .occurrence = Occurrence::atMostOnce}},
           .run = refresh},
          {.name = "add",
           .summary = "Add a model by its slug",
           .positionals = {agent, {.name = "SLUG"}},
           .options = {{.name = "--name", .value = "NAME", .description = "The name it is shown under"}},
           .run = add},
          {.name = "enable", .summary = "Offer a model again", .positionals = {agent, {.name = "SLUG"}}, .run = enable},
          {.name = "disable",
           .summary = "Stop offering a model",
           .positionals = {agent, {.name = "SLUG"}},
           .run = disable}}};
}

}  // namespace ravant::cli
