#include <fmt/format.h>

#include "cli/command/command.hpp"
#include "cli/command/lookup.hpp"
#include "cli/command/project_folder.hpp"
#include "cli/command/user_input.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/json_form.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

void show(CommandContext& context, const Project& project, std::string_view what) {
  if (context.wantsJson()) return context.output.json(jsonForm(project));
  context.output.line(oneLine(fmt::format("{} {} ({})", what, project.name, project.path)));
}

awaitable<ExitStatus> add(CommandContext& context, Arguments arguments) {
  const auto name = arguments.optional("--name");
  if (name && trimmed(*name).empty()) throw CommandError("a project's name cannot be empty");
  const Project project = co_await registerProject(context.application(), arguments.text("PATH"), name);
  show(context, project, "Project");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> list(CommandContext& context, Arguments) {
  const std::vector<Project> projects = co_await context.application().projects().projects();
  if (context.wantsJson()) {
    context.output.json(jsonForms(projects));
    co_return ExitStatus::done;
  }
  Table table({"NAME", "FOLDER", "ID"}, {2});
  for (const Project& project : projects) table.add({project.name, project.path, project.id.text()});
  context.output.write(table.text(context.output.style()));
  co_return ExitStatus::done;
}

awaitable<ExitStatus> rename(CommandContext& context, Arguments arguments) {
  Project project = co_await findProject(context.application(), arguments.text("PROJECT"));
  const std::string name(trimmed(arguments.text("NAME")));
  if (name.empty()) throw CommandError("a project's name cannot be empty");
  co_await context.application().projects().rename(project.id, name);
  project.name = name;
  show(context, project, "Renamed to");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> remove(CommandContext& context, Arguments arguments) {
  const Project project = co_await findProject(context.application(), arguments.text("PROJECT"));
  const auto conversations = co_await context.application().conversations().conversations(
      {.project = project.id, .archived = ArchivedConversations::included});
  confirm(arguments, oneLine(fmt::format("Remove the project {} with its conversations ({})? Its folder stays.",
                                         project.name, conversations.size())));
  co_await context.application().projects().remove(project.id);
  show(context, project, "Removed");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> reorder(CommandContext& context, Arguments arguments) {
  std::vector<ProjectId> order;
  for (const std::string& word : arguments.list("PROJECT")) {
    order.push_back((co_await findProject(context.application(), word)).id);
  }
  co_await context.application().projects().reorder(std::move(order));
  co_return co_await list(context, {});
}

}  // namespace

CommandGroup projectCommands() {
  return {.name = "project",
          .summary = "The folders you work in",
          .commands = {
              {.name = "add",
               .summary = "Register a folder",
               .description = "A folder that is registered already is shown as it stands.",
               .positionals = {{.name = "PATH", .kind = ValueKind::folder}},
               .options = {{.name = "--name", .value = "NAME", .description = "Its name instead of the folder's own"}},
               .run = add},
              {.name = "list", .summary = "List the projects in their order", .run = list},
              {.name = "rename",
               .summary = "Give a project another name",
               .positionals = {{.name = "PROJECT", .kind = ValueKind::folder}, {.name = "NAME"}},
               .run = rename},
              {.name = "remove",
               .summary = "Take a project and its conversations out of the store",
               .description = "The folder itself stays as it is. Asks first on a terminal.",
               .positionals = {{.name = "PROJECT", .kind = ValueKind::folder}},
               .options = {{.name = "--yes", .description = "Do not ask"}},
               .run = remove},
              {.name = "reorder",
               .summary = "Put the named projects first, in that order",
               .positionals = {{.name = "PROJECT", .kind = ValueKind::folder, .occurrence = Occurrence::atLeastOnce}},
               .run = reorder}}};
}

}  // namespace ravant::cli
