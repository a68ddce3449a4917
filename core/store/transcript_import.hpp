#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/agent_type.hpp"
#include "core/conversation.hpp"
#include "core/conversation_item.hpp"
#include "core/late_result.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class TranscriptImportOperations;

/// A session that an agent keeps in a file, and how far the file was read.
struct ImportedSession {
  AgentType agent;
  std::string sessionId;
  std::string file;         ///< absolute
  std::int64_t inode;       ///< of the file; `kReadAnew` where an import of what is new was cut, or is going on
  std::int64_t byteOffset;  ///< behind the last whole line that was read
  std::string state = {};   ///< what the reader of the format needs to go on

  /// The inode of no file: only some of what is behind the offset is stored.
  static constexpr std::int64_t kReadAnew = 0;

  bool operator==(const ImportedSession&) const = default;
};

/// A conversation that holds an agent's session.
struct KnownSession {
  ConversationId conversation;
  std::optional<ImportedSession> imported;  ///< absent where this program's own prompts made it

  bool operator==(const KnownSession&) const = default;
};

/// What a session has more than the conversation that holds it, beside items.
struct SessionGrowth {
  Conversation before;  ///< the conversation as it was known
  Conversation after;   ///< with the session's title, model, effort, usage, last activity and last prompt
  std::optional<ImportedSession> readBefore;  ///< as it was known
  ImportedSession read;
  std::function<std::vector<LateResult>()> results = {};  ///< of calls that are there; asked for behind the last item
};

/// Hands over the next item; nothing at the end. Called on the store's pool, where it may block; what it throws ends
/// the import.
using NextImportedItem = std::function<std::optional<ConversationItem>()>;

/// Brings in transcripts that were made elsewhere, in memory for 4 MiB and one item. What is stored at once is one
/// transaction. What takes longer is several, between which other writers get their turn; none of them lasts much
/// longer than 200 ms, but for one huge item. When an operation returns, what it stored survives a power cut. All throw
/// `StoreError`.
///
/// The ids and the conversation of the items are ignored, for the store gives its own. Items keep their times, but one
/// that is older than the one before it gets that one's, for a transcript is in order of time. What comes counts as
/// looked at, where everything before it was. It is announced as changes of the conversation, not item by item.
class TranscriptImport : public StoreActor<TranscriptImportOperations> {
 public:
  static std::shared_ptr<TranscriptImport> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit TranscriptImport(std::shared_ptr<ModelContainer> modelContainer);
  ~TranscriptImport() override;

  /// Creates the conversation as it is given, with its id; the default id stands for a new one. Says how many items
  /// came; nothing, and nothing is done, where the id is taken, its project is unknown or a conversation holds the
  /// session. An agent that is unknown is none.
  ///
  /// Nobody sees anything of it before it is whole, which is announced as one change. What fails is removed at once;
  /// what a killed process has left, when the next conversation is created here or one is deleted. Until then its id
  /// and session are taken.
  struct Created {
    ConversationId conversation;
    std::int64_t items;
  };
  awaitable<std::optional<Created>> create(Conversation conversation, NextImportedItem next,
                                           std::optional<ImportedSession> session = {});

  /// The same in the project of a folder (an absolute path), which is registered under the name where it is not yet. A
  /// killed process can leave the project.
  struct Folder {
    std::string path;
    std::string projectName;
  };
  awaitable<std::optional<Created>> createIn(Folder folder, Conversation conversation, NextImportedItem next);

  /// Adds items behind those that are there, gives calls their results, takes over what is new of the conversation, and
  /// keeps how far the session was read. A title that was changed meanwhile stays, and so do model, effort and usage
  /// where the conversation was active later than the session. Says how many items came; nothing, and nothing is done,
  /// where the conversation is gone, or another import has added to it since it was known or does so just now.
  ///
  /// What was stored before a failure or a kill stays, and the session then has to be read anew and compared.
  awaitable<std::optional<std::int64_t>> append(SessionGrowth growth, NextImportedItem next);

  /// The conversation that holds the session, imported or run here; not one that `create` is making of the session.
  awaitable<std::optional<KnownSession>> knownSession(AgentType agent, std::string sessionId);
};

}  // namespace ravant
