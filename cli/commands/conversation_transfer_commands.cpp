#include "cli/commands/conversation_transfer_commands.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "app/transfer/conversation_export.hpp"
#include "app/transfer/conversation_import.hpp"
#include "cli/command/lookup.hpp"
#include "cli/command/user_input.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/conversation_text.hpp"
#include "cli/output/terminal_text.hpp"
#include "core/conversation_state.hpp"
#include "core/store/store_error.hpp"
#include "platform/files/file_replacement.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::cli {
namespace {

ExportFormat formatOf(const CommandContext& context, const Arguments& arguments) {
  const auto word = arguments.optional("--format");
  const bool isForFile = arguments.optional("--output").value_or("-") != "-";
  if (!word) return context.wantsJson() && !isForFile ? ExportFormat::json : ExportFormat::markdown;
  return exportFormatFromRawValue(*word).value();
}

UsageError emptyName() { return UsageError("the file's name is empty"); }

/// Where to, unless it is standard output.
std::optional<std::string> fileOf(const CommandContext& context, const Arguments& arguments) {
  const auto path = arguments.optional("--output");
  if (path && path->empty()) throw emptyName();
  if (path && *path != "-") return path;
  if (context.wantsJson() && formatOf(context, arguments) != ExportFormat::json) {
    throw UsageError("--json is JSON on standard output: write another format to a file with --output");
  }
  return std::nullopt;
}

/// A pipe or a device at the path, to be written to as standard output is; no descriptor where a file can be put.
UniqueFd openSpecialFile(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode)) return {};
  UniqueFd file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
  if (!file) throw std::system_error(errno, std::generic_category(), shownPath(path));
  return file;
}

awaitable<void> writeTo(Output& output, ConversationExport& text) {
  while (const auto piece = co_await text.next()) {
    output.write(*piece);
    output.flush();
  }
}

awaitable<void> writeFile(const std::string& path, ConversationExport& text) {
  if (const UniqueFd special = openSpecialFile(path)) {
    Output output(special.get(), Style(Style::Colours::off));
    co_return co_await writeTo(output, text);
  }
  FileReplacement file(path);
  while (const auto piece = co_await text.next()) file.write(*piece);
  file.putInPlace();
}

awaitable<ExitStatus> exportOne(CommandContext& context, Arguments arguments) {
  const auto path = fileOf(context, arguments);
  const ConversationSummary summary = co_await findConversation(context.application(), arguments.text("CONV"));
  const ConversationId id = summary.conversation.id;
  ConversationExport text = co_await ConversationExport::begin(context.application(), id, formatOf(context, arguments));
  if (!path) {
    co_await writeTo(context.output, text);
    co_return ExitStatus::done;
  }
  co_await writeFile(*path, text);
  if (context.wantsJson()) {
    context.output.json(json::object{{"conversation", id.text()}, {"items", text.items()}, {"file", *path}});
  } else {
    context.output.line(
        fmt::format("Exported {} ({}) to {}", oneLine(displayTitle(summary)), shortId(id), shownPath(*path)));
  }
  co_return ExitStatus::done;
}

/// What is at the path, or standard input for `-`. Never a pipe: while it kept its reader waiting, the store would too.
UniqueFd openWhole(const std::string& path) {
  UniqueFd file(path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                            : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  struct stat status;
  if (!file || ::fstat(file.get(), &status) != 0) {
    throw std::system_error(errno, std::generic_category(), shownPath(path));
  }
  return S_ISREG(status.st_mode) ? std::move(file) : copyOfInput(file.get());
}

struct Imported {
  std::int64_t conversations = 0;
  std::int64_t items = 0;
  json::array skipped = {};
  ExitStatus status = ExitStatus::done;
  bool isStoreUsable = true;
};

awaitable<void> importOne(CommandContext& context, const std::string& path, Imported& all) {
  const std::string name = path == "-" ? "standard input" : shownPath(path);
  std::optional<ImportedConversation> imported;
  std::shared_ptr<ConversationFile> file;
  std::string fault;
  try {
    file = std::make_shared<ConversationFile>(openWhole(path));
    imported = co_await importConversation(context.application(), file);
  } catch (const ConversationFileError& error) {
    fault = error.what();
  } catch (const StoreError& error) {
    fault = error.what();
    all.isStoreUsable = false;
  } catch (const std::system_error& error) {
    fault = error.code().message();
  }
  if (!fault.empty()) {
    context.warn(fmt::format("{}: {}; nothing of it was imported", name, fault));
    all.skipped.push_back(json::object{{"file", repairUtf8(path)}, {"reason", repairUtf8(fault)}});
    all.status = ExitStatus::failed;
    co_return;
  }
  const ConversationId id = file->conversation().conversation.id;
  if (!imported) {
    constexpr std::string_view kReason = "the conversation is here already";
    all.skipped.push_back(json::object{{"file", repairUtf8(path)}, {"reason", kReason}});
    if (!context.wantsJson()) context.output.line(fmt::format("Skipped {}: {} ({})", name, kReason, shortId(id)));
    co_return;
  }
  ++all.conversations;
  all.items += imported->items;
  if (context.wantsJson()) co_return;
  const auto summary = co_await context.application().conversations().conversation(id);
  context.output.line(fmt::format("Imported {} ({}), {} entries, into {}",
                                  oneLine(summary ? displayTitle(*summary) : std::string()), shortId(id),
                                  imported->items, oneLine(imported->projectPath)));
}

awaitable<ExitStatus> importAll(CommandContext& context, Arguments arguments) {
  const std::vector<std::string> paths = arguments.list("FILE");
  if (std::ranges::count(paths, "") > 0) throw emptyName();
  Imported all;
  for (const std::string& path : paths) {
    co_await importOne(context, path, all);
    if (!context.wantsJson()) context.output.flush();
    if (!all.isStoreUsable) break;
  }
  if (context.wantsJson()) {
    context.output.json(
        json::object{{"conversations", all.conversations}, {"items", all.items}, {"skipped", std::move(all.skipped)}});
  }
  co_return all.status;
}

}  // namespace

Command exportCommand() {
  return {
      .name = "export",
      .summary = "Write a whole conversation as a file",
      .description =
          "Markdown is to be read, HTML to be shown, and JSON to be kept: \"ravant conversation import\" brings it "
          "back.\n\nA file that is there already is replaced once all is written, and keeps its mode. A new one is for "
          "you alone (0600), as the store is.",
      .positionals = {{.name = "CONV"}},
      .options = {{.name = "--format",
                   .value = "FORMAT",
                   .description = "What it is written as; the usual one is markdown",
                   .kind = ValueKind::exportFormat},
                  {.name = "--output",
                   .value = "FILE",
                   .description = "Write to this file instead of standard output (\"-\")",
                   .kind = ValueKind::file}},
      .run = exportOne};
}

Command conversationImportCommand() {
  return {
      .name = "import",
      .summary = "Bring back conversations that were exported as JSON",
      .description =
          "Each goes to the project of its folder, which is registered where it is not, and keeps its id; one that "
          "is here already is skipped. \"-\" is standard input. Of a file that is not whole or not such an "
          "export nothing is imported; the others are, and the exit status is 1. A home folder, the root, and a folder "
          "that holds a project become no project by a file: register them first.",
      .positionals = {{.name = "FILE", .kind = ValueKind::file, .occurrence = Occurrence::atLeastOnce}},
      .run = importAll};
}

}  // namespace ravant::cli
