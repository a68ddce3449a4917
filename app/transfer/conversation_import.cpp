#include "app/transfer/conversation_import.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "app/application.hpp"
#include "app/project_of_folder.hpp"
#include "core/store/transcript_writer.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

awaitable<std::optional<AgentId>> agentOfType(Application& application, std::optional<AgentType> type) {
  std::optional<AgentId> found;
  for (const Agent& agent : co_await application.agents().agents()) {
    if (agent.type != type) continue;
    if (agent.enabled) co_return agent.id;
    if (!found) found = agent.id;
  }
  co_return found;
}

std::filesystem::path normal(const std::filesystem::path& folder) {
  std::filesystem::path path = folder.lexically_normal();
  return path.has_filename() || path == path.root_path() ? path : path.parent_path();
}

/// The project's folder, or the one that it is a symbolic link to where that is a project. The file names it, not the
/// user, so it is not any.
awaitable<std::filesystem::path> folderOf(Application& application, std::filesystem::path named) {
  const std::filesystem::path folder = normal(named);
  const std::vector<Project> projects = co_await application.projects().projects();
  const auto isProject = [&](const std::filesystem::path& path) {
    return std::ranges::find(projects, path.string(), &Project::path) != projects.end();
  };
  std::error_code unknown;
  const std::filesystem::path place = std::filesystem::weakly_canonical(folder, unknown);
  if (isProject(folder)) co_return folder;
  if (!unknown && isProject(place)) co_return place;
  const std::filesystem::path home = homeFolder();
  auto reason = objectionTo(projects, folder, home);
  if (!reason && !unknown) reason = objectionTo(projects, place, home);
  if (!reason) co_return folder;
  throw ConversationFileError(fmt::format(
      "it belongs to {}, which is no project, and {}: an agent may change everything in a project's folder. "
      "If you want that, register it first with \"ravant project add\"",
      folder.string(), *reason));
}

std::optional<ConversationItem> nextOf(ConversationFile& file) {
  auto item = file.next();
  auto* group = item ? std::get_if<ToolInvocationGroup>(&item->detail) : nullptr;
  if (!group) return item;
  for (ToolInvocation& call : group->invocations) {
    if (call.status != ToolInvocationStatus::running) continue;
    call.status = ToolInvocationStatus::failed;
    std::string output = call.output.value_or("");
    if (!output.empty() && !output.ends_with('\n')) output += '\n';
    call.output = output.append(kUnfinishedTool);
    if (!call.completedAt) call.completedAt = call.createdAt;
  }
  return item;
}

}  // namespace

awaitable<std::optional<ImportedConversation>> importConversation(Application& application,
                                                                  std::shared_ptr<ConversationFile> file) {
  const ExportedConversation& exported = file->conversation();
  if (co_await application.conversations().conversation(exported.conversation.id)) co_return std::nullopt;
  const std::filesystem::path folder = co_await folderOf(application, exported.projectPath);
  Conversation conversation = exported.conversation;
  if (const auto& words = exported.conversation.title) conversation.title = titleFrom(*words);
  conversation.agent = co_await agentOfType(application, exported.agentType);
  conversation.foreignAgentType = exported.agentType;
  const auto created = co_await application.transcriptImport().createIn(
      {.path = folder, .projectName = exported.projectName}, std::move(conversation), [file] { return nextOf(*file); });
  if (!created) co_return std::nullopt;
  co_return ImportedConversation{.id = created->conversation, .items = created->items, .projectPath = folder};
}

}  // namespace ravant
