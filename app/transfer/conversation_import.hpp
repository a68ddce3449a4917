#pragma once

#include <memory>
#include <optional>

#include "app/transfer/conversation_file.hpp"
#include "platform/async/async.hpp"

namespace ravant {

class Application;

struct ImportedConversation {
  ConversationId id;
  std::int64_t items;
  std::string projectPath;
};

/// Brings an exported conversation back, all of it or nothing: with its id, in the project of its folder, which is
/// registered where it is not, and to the agent of its type that is registered, one that is enabled before others. Tool
/// calls that were running failed. The title is trimmed, a blank one is none. A folder that is no project unless it is
/// named (`objectionTo`) is refused. Nothing, and nothing is done, where the conversation is there already. The file
/// must not keep its reader waiting. Throws `ConversationFileError`, `StoreError` and `std::system_error`.
awaitable<std::optional<ImportedConversation>> importConversation(Application& application,
                                                                  std::shared_ptr<ConversationFile> file);

}  // namespace ravant
