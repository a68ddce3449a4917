#include <fmt/format.h>

#include <algorithm>
#include <boost/asio/experimental/awaitable_operators.hpp>

#include "app/project_of_folder.hpp"
#include "cli/command/command.hpp"
#include "cli/command/lookup.hpp"
#include "cli/command/project_folder.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/git_form.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

/// The folder of the project that is named, else of the one that holds the current folder, else that folder itself.
awaitable<std::filesystem::path> chosenFolder(CommandContext& context, Arguments arguments) {
  if (const auto word = arguments.optional("--project")) {
    co_return std::filesystem::path((co_await findProject(context.application(), *word)).path);
  }
  const Whereabouts place = whereaboutsOf(std::filesystem::current_path());
  const auto project = registeredProject(co_await context.application().projects().projects(), place);
  co_return project ? std::filesystem::path(project->path) : place.folder;
}

/// Shows what was read, and says what could not be.
template <class Value>
ExitStatus show(CommandContext& context, const GitReading<Value>& reading, json::value form, std::string text) {
  const bool wantsJson = context.wantsJson();
  if (auto* object = form.if_object(); object && wantsJson) {
    if (reading.unsupportedReason) object->emplace("unsupportedReason", *reading.unsupportedReason);
    context.output.json(form);
    return ExitStatus::done;
  }
  if (!reading.unsupportedReason || reading.value != Value{}) {
    wantsJson ? context.output.json(form) : context.output.write(text);
  }
  if (!reading.unsupportedReason) return ExitStatus::done;
  context.output.flush();
  throw CommandError(*reading.unsupportedReason);
}

awaitable<ExitStatus> status(CommandContext& context, Arguments arguments) {
  const auto folder = co_await chosenFolder(context, std::move(arguments));
  const auto reading = co_await context.application().gitStatus().workingCopyFiles(folder);
  co_return show(context, reading, jsonForm(reading.value), statusText(reading, context.output.style()));
}

awaitable<ExitStatus> stat(CommandContext& context, Arguments arguments) {
  const auto folder = co_await chosenFolder(context, std::move(arguments));
  const auto reading = co_await context.application().gitStatus().workingCopyStat(folder);
  co_return show(context, reading, jsonForm(reading.value), statText(reading.value));
}

awaitable<ExitStatus> branches(CommandContext& context, Arguments arguments) {
  const auto folder = co_await chosenFolder(context, std::move(arguments));
  const auto reading = co_await context.application().gitStatus().branches(folder);
  json::array forms;
  for (const GitBranch& branch : reading.value) forms.push_back(jsonForm(branch));
  co_return show(context, reading, std::move(forms), branchesText(reading.value, context.output.style()));
}

/// From the project's folder on; as typed where a project is named, else as it is seen from the current folder.
std::string pathInProject(const Arguments& arguments, const std::filesystem::path& folder) {
  const std::filesystem::path typed = arguments.text("PATH");
  const bool isSeenFromProject = arguments.has("--project") && typed.is_relative();
  const auto whole = (isSeenFromProject ? folder : std::filesystem::current_path()) / typed;
  const auto inside =
      (projectFolder(whole.parent_path()) / whole.filename()).lexically_normal().lexically_relative(folder);
  if (inside.empty() || *inside.begin() == "..") {
    throw CommandError(fmt::format("{} is not in {}", typed.string(), folder.string()));
  }
  return inside.string();
}

/// Why a file has no hunks. Throws `CommandError` where it cannot have any.
std::string wordsForNoHunks(const std::filesystem::path& folder, const std::string& path, const GitFileEntry* entry) {
  const std::filesystem::path file = folder / path;
  std::error_code error;
  if (std::filesystem::is_directory(std::filesystem::symlink_status(file, error))) {
    throw CommandError(fmt::format("{} is a folder", file.string()));
  }
  if (entry == nullptr) {
    if (std::filesystem::exists(std::filesystem::symlink_status(file, error))) return "does not differ";
    throw CommandError(fmt::format("there is no {}", file.string()));
  }
  const GitFileChange& change = entry->unstaged ? *entry->unstaged : *entry->staged;
  return change.isBinary ? "is binary" : fmt::format("is {}, its lines do not differ", rawValue(change.status));
}

/// The change of a file by its path, or as that is shown.
const GitFileEntry* entryOf(const std::vector<GitFileEntry>& entries, const std::string& path) {
  const auto found = std::ranges::find_if(
      entries, [&](const GitFileEntry& entry) { return entry.path == path || shownPath(entry.path) == path; });
  return found != entries.end() ? &*found : nullptr;
}

awaitable<ExitStatus> hunks(CommandContext& context, Arguments arguments) {
  const auto folder = co_await chosenFolder(context, arguments);
  const std::string path = pathInProject(arguments, folder);
  GitStatusReader& reader = context.application().gitStatus();
  auto reading = co_await reader.hunks(folder, path);
  std::string text = hunksText(reading.value, context.output.style());
  if (reading.value == GitFileHunks{} && !reading.unsupportedReason) {
    const auto entries = (co_await reader.workingCopyFiles(folder)).value.entries();
    const GitFileEntry* entry = entryOf(entries, path);
    if (entry != nullptr && entry->path != path) reading = co_await reader.hunks(folder, entry->path);
    text = hunksText(reading.value, context.output.style());
    if (text.empty()) text = fmt::format("{} {}\n", shownPath(path), wordsForNoHunks(folder, path, entry));
  }
  co_return show(context, reading, jsonForm(reading.value), text);
}

/// Runs git and shows what it prints; an interruption ends it.
awaitable<ExitStatus> runGit(CommandContext& context, awaitable<std::string> command) {
  using namespace asio::experimental::awaitable_operators;
  std::string output;
  std::exception_ptr failure;
  bool isInterrupted = false;
  const auto run = [&]() -> awaitable<void> {
    try {
      output = co_await std::move(command);
    } catch (...) {
      failure = std::current_exception();
    }
    context.interruption.release();
  };
  const auto stop = [&]() -> awaitable<void> {
    isInterrupted = co_await context.interruption.requested();
    if (isInterrupted) co_await context.application().gitCommands().shutdown();
  };
  co_await (run() && stop());
  if (isInterrupted) co_return ExitStatus::interrupted;
  if (failure) std::rethrow_exception(failure);
  if (context.wantsJson()) {
    context.output.json({{"output", output}});
  } else {
    context.output.write(terminalSafe(output));
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> pull(CommandContext& context, Arguments arguments) {
  const auto folder = co_await chosenFolder(context, std::move(arguments));
  co_return co_await runGit(context, context.application().gitCommands().pull(folder));
}

awaitable<ExitStatus> fetch(CommandContext& context, Arguments arguments) {
  const auto folder = co_await chosenFolder(context, std::move(arguments));
  co_return co_await runGit(context, context.application().gitCommands().fetch(folder));
}

awaitable<ExitStatus> checkout(CommandContext& context, Arguments arguments) {
  const auto folder = co_await chosenFolder(context, arguments);
  co_return co_await runGit(context, context.application().gitCommands().checkout(arguments.text("BRANCH"), folder));
}

awaitable<ExitStatus> createBranch(CommandContext& context, Arguments arguments) {
  const auto folder = co_await chosenFolder(context, arguments);
  co_return co_await runGit(context, context.application().gitCommands().createBranch(arguments.text("NAME"), folder));
}

awaitable<ExitStatus> deleteBranch(CommandContext& context, Arguments arguments) {
  const auto folder = co_await chosenFolder(context, arguments);
  co_return co_await runGit(context, context.application().gitCommands().deleteBranch(arguments.text("NAME"), folder));
}

}  // namespace

CommandGroup gitCommands() {
  const std::vector<OptionDescription> project = {
      {.name = "--project",
       .value = "PROJECT",
       .description = "The project's id, name or folder; the one that holds the current folder by default",
       .kind = ValueKind::folder}};
  const PositionalDescription name = {.name = "NAME"};
  return {
      .name = "git",
      .summary = "The state of a project's repository, and the commands that change it",
      .commands = {
          {.name = "status", .summary = "Show the branch and the files that differ", .options = project, .run = status},
          {.name = "stat",
           .summary = "Count the lines that differ from the last commit",
           .options = project,
           .run = stat},
          {.name = "branches", .summary = "List the local branches", .options = project, .run = branches},
          {.name = "hunks",
           .summary = "Show how a file differs",
           .positionals = {{.name = "PATH", .kind = ValueKind::file}},
           .options = project,
           .run = hunks},
          {.name = "pull",
           .summary = "Take in what the upstream has",
           .description = "Never merges: where the branches have diverged it fails.",
           .options = project,
           .run = pull},
          {.name = "fetch", .summary = "Fetch, and forget branches that are gone", .options = project, .run = fetch},
          {.name = "checkout",
           .summary = "Change to a branch",
           .positionals = {{.name = "BRANCH"}},
           .options = project,
           .run = checkout},
          {.name = "create-branch",
           .summary = "Make a branch and change to it",
           .positionals = {name},
           .options = project,
           .run = createBranch},
          {.name = "delete-branch",
           .summary = "Delete a branch that is merged",
           .positionals = {name},
           .options = project,
           .run = deleteBranch}}};
}

}  // namespace ravant::cli
