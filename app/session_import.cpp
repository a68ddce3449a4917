#include "app/session_import.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <deque>
#include <iterator>
#include <type_traits>
#include <utility>

#include "app/agent_locator.hpp"
#include "app/imported_state_wire.hpp"
#include "app/model_catalog.hpp"
#include "app/project_of_folder.hpp"
#include "app/session_folders.hpp"
#include "app/stored_turns.hpp"
#include "core/agent_session_id.hpp"
#include "core/conversation_state.hpp"
#include "core/store/transcript_import.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"
#include "runners/session_transcript.hpp"

namespace ravant {
namespace {

// After so long without a word, nobody waits for the rest of a turn.
constexpr std::chrono::hours kQuietTime{1};
constexpr std::int64_t kPage = 500;
constexpr std::size_t kTitleCharacters = 120;

/// Hands over the items of a session one by one.
class ItemStream {
 public:
  /// `stored`, where there is one, is what the conversation has; `isReadAnew`: also of the file's own.
  ItemStream(SessionTranscript& transcript, StoredTurns* stored, bool isReadAnew)
      : transcript_(transcript), stored_(stored), isReadAnew_(isReadAnew) {}

  /// The item that comes next; null at the end.
  const ConversationItem* first() {
    while (items_.empty()) {
      auto turn = transcript_.nextTurn();
      if (!turn) return nullptr;
      std::vector<ConversationItem> items = turn->take();
      if (stored_ && !items.empty() && stored_->isRunHere(items)) continue;
      std::ranges::copy(turn->strayResults(), std::back_inserter(strayResults_));
      if (stored_ && isReadAnew_) std::ranges::move(stored_->dropKnown(items), std::back_inserter(strayResults_));
      std::ranges::move(items, std::back_inserter(items_));
    }
    return &items_.front();
  }

  std::optional<ConversationItem> next() {
    if (!first()) return std::nullopt;
    ConversationItem item = std::move(items_.front());
    items_.pop_front();
    return item;
  }

  /// Results of calls of earlier turns.
  std::vector<LateResult> takeStrayResults() { return std::move(strayResults_); }

 private:
  SessionTranscript& transcript_;
  StoredTurns* stored_;
  bool isReadAnew_;
  std::deque<ConversationItem> items_;
  std::vector<LateResult> strayResults_;
};

void apply(const SessionFigures& figures, Conversation& conversation) {
  if (figures.model) conversation.lastUsedModel = figures.model;
  if (!figures.usage) return;
  conversation.lastUsedTokens = figures.usage->usedTokens;
  conversation.lastTotalProcessedTokens = figures.usage->totalProcessedTokens;
  conversation.lastInputTokens = figures.usage->inputTokens;
  conversation.lastOutputTokens = figures.usage->outputTokens;
  conversation.lastCacheReadTokens = figures.usage->cacheReadTokens;
  conversation.lastCacheCreationTokens = figures.usage->cacheCreationTokens;
  conversation.lastUsageUpdatedAt = figures.usageAt;
  if (figures.contextWindow) conversation.lastMaxTokens = figures.contextWindow;
}

std::string nameOf(const std::filesystem::path& folder) {
  return folder.has_filename() ? folder.filename().string() : folder.string();
}

std::optional<std::filesystem::path> projectFolderOf(const SessionOutline& outline) {
  std::filesystem::path folder = std::filesystem::path(outline.workingDirectory).lexically_normal();
  if (!folder.is_absolute()) return std::nullopt;
  return folder.has_filename() || folder == folder.root_path() ? folder : folder.parent_path();
}

class SessionImport {
 public:
  SessionImport(Application& application, SessionImportOptions options)
      : application_(application),
        options_(std::move(options)),
        imports_(TranscriptImport::make(application.modelContainer())) {}

  awaitable<SessionImportResult> run() {
    SessionListing listing = co_await blocking([&] { return listSessions(options_.agent, options_.from); });
    result_.skipped = std::move(listing.skipped);
    result_.sessions = std::ssize(listing.sessions);
    std::int64_t done = 0;
    for (const ListedSession& session : listing.sessions) {
      skippedBefore_ = std::ssize(result_.skipped);
      if (options_.onProgress) options_.onProgress({.done = done++, .all = result_.sessions});
      std::string reason;
      try {
        co_await take(session);
      } catch (const std::filesystem::filesystem_error& error) {
        reason = error.code().message();
      }
      if (!reason.empty()) skip(session, std::move(reason));
    }
    co_return std::move(result_);
  }

 private:
  using Known = std::optional<KnownSession>;
  enum class Reading { onward, anew };

  awaitable<void> take(const ListedSession& session) {
    const Known known = co_await imports_->knownSession(options_.agent, session.id);
    if (known && !known->imported) {
      ++result_.known;
      co_return;
    }
    if (known && isUnchanged(session, *known->imported)) {
      ++result_.known;
      co_return;
    }
    if (!known && !canBeAgentSessionId(session.id)) {
      co_return skip(session, "the agent cannot be asked for a session of such an id");
    }
    const auto read = co_await blocking(
        [&] { return std::make_unique<SessionTranscript>(session, openSession(options_.agent, session)); });
    SessionTranscript& transcript = *read;
    tell(session, transcript);
    const Reading reading = known && dropStored(*known->imported, transcript) ? Reading::onward : Reading::anew;
    const bool isTurnOpen = !transcript.outline().isLastTurnOver && isRecent(transcript.outline().lastAt);
    if (isTurnOpen) {
      transcript.dropLastTurn();
      skip(session, "its last turn has not ended; another import brings it in");
    }
    if (!known) co_return co_await create(session, transcript);
    const auto name = session.title ? session.title : transcript.outline().title;
    const auto title = name ? name : parseImportedState(known->imported->state).title;
    ImportedSession after = imported(options_.agent, session, transcript, title);
    // Some of the turn can be stored.
    if (isTurnOpen && reading == Reading::anew) after.inode = ImportedSession::kReadAnew;
    co_await grow(session, *known, transcript, reading, std::move(after));
  }

  template <class Function>
  awaitable<std::invoke_result_t<const Function&>> blocking(Function function) {
    return onPool(application_.modelContainer()->work(), std::move(function));
  }

  /// Leaves out what the conversation has. False where that is not the beginning of what the file has, such as after
  /// the user went back to a branch that was not the session's.
  static bool dropStored(const ImportedSession& before, SessionTranscript& transcript) {
    const SessionFile& file = transcript.newestFile();
    const auto last = parseImportedState(before.state).lastRecord;
    return file.inode() == before.inode && file.size() >= before.byteOffset && last && transcript.dropThrough(*last);
  }

  static bool isUnchanged(const ListedSession& session, const ImportedSession& imported) {
    const SessionFile file(session.files.back().path);
    const ImportedState state = parseImportedState(imported.state);
    // Where the listing has no title, it is in the file.
    return file.inode() == imported.inode && file.size() == imported.byteOffset && file.size() == state.size &&
           pathOf(session) == imported.file && session.isArchived == state.isArchived &&
           (!session.title || session.title == state.title);
  }

  static std::filesystem::path pathOf(const ListedSession& session) {
    return std::filesystem::absolute(session.files.back().path).lexically_normal();
  }

  bool isRecent(std::optional<Timestamp> at) const {
    const Timestamp now = application_.modelContainer()->clock().now();
    return at && *at <= now && *at + kQuietTime > now;
  }

  void tell(const ListedSession& session, const SessionTranscript& transcript) {
    const SessionOutline& outline = transcript.outline();
    for (const auto& [type, count] : outline.unknownTypes) {
      skip(session, fmt::format("{} of the unknown type \"{}\"", counted(count, "record"), oneLine(type)));
    }
    if (outline.brokenLines > 0)
      skip(session, fmt::format("{} that cannot be read", counted(outline.brokenLines, "line")));
    if (outline.hasTalk && outline.records.empty()) skip(session, "none of its records has a place in a conversation");
    if (transcript.endOfNewestFile() < transcript.newestFile().size()) {
      skip(session, "its last line is not whole; another import brings it in");
    }
  }

  static std::string counted(int count, std::string_view what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
  }

  void skip(const ListedSession& session, std::string reason) {
    SkippedSession skipped{.file = session.files.back().path, .reason = std::move(reason)};
    const auto told = std::ranges::subrange(result_.skipped.begin() + skippedBefore_, result_.skipped.end());
    if (std::ranges::count(told, skipped) == 0) result_.skipped.push_back(std::move(skipped));
  }

  /// `title`: the last one that the conversation has from the session.
  static ImportedSession imported(AgentType agent, const ListedSession& session, const SessionTranscript& transcript,
                                  const std::optional<std::string>& title) {
    const SessionFile& file = transcript.newestFile();
    return {.agent = agent,
            .sessionId = session.id,
            .file = pathOf(session),
            .inode = file.inode(),
            .byteOffset = transcript.endOfNewestFile(),
            .state = importedStateText({.size = file.size(),
                                        .title = title,
                                        .isArchived = session.isArchived,
                                        .lastRecord = transcript.lastRecord()})};
  }

  awaitable<std::optional<std::string>> whyNoProject(const std::filesystem::path& folder) {
    const std::vector<Project> projects = co_await application_.projects().projects();
    if (std::ranges::count(projects, folder.string(), &Project::path) > 0) co_return std::nullopt;
    const std::filesystem::path home = co_await blocking(homeFolder);
    // Not for a project that is inside: which of both an import meets first would decide.
    co_return objectionTo({}, folder, home);
  }

  awaitable<void> create(const ListedSession& session, SessionTranscript& transcript) {
    const SessionOutline& outline = transcript.outline();
    const SessionFigures figures = co_await blocking([&] { return transcript.lastFigures(); });
    if (!figures.hasItems) co_return;
    const auto folder = projectFolderOf(outline);
    if (!folder) co_return skip(session, "it does not say in which folder it was");
    if (const auto reason = co_await whyNoProject(*folder)) {
      co_return skip(session,
                     fmt::format("it was in {}, which is no project, and {}: an agent may change everything in "
                                 "a project's folder. If you want that, register it first with \"ravant "
                                 "project add\"",
                                 folder->string(), *reason));
    }
    const Project project = co_await application_.projects().create(*folder, nameOf(*folder));
    const auto items = std::make_shared<ItemStream>(transcript, nullptr, false);
    std::optional<std::string> title = session.title ? session.title : outline.title;
    if (!title) title = titleOfFirstPrompt(transcript, co_await blocking([&] { return items->first(); }));
    const Timestamp begunAt = outline.begunAt.value_or(outline.records.front().at);
    const auto agent = co_await findOrAddAgent();
    Conversation conversation{.id = {},
                              .project = project.id,
                              .agent = agent,
                              .agentResumedSessionId = session.id,
                              .createdAt = begunAt,
                              .lastActivityAt = outline.lastAt.value_or(begunAt),
                              .lastPromptAt = std::max(transcript.lastPromptAt(), begunAt),
                              .archived = session.isArchived,
                              .title = title ? titleFrom(*title) : std::nullopt};
    if (!agent) conversation.foreignAgentType = options_.agent;
    apply(figures, conversation);
    const auto created = co_await imports_->create(
        std::move(conversation), [items] { return items->next(); },
        imported(options_.agent, session, transcript, title));
    if (!created) co_return;
    ++result_.conversations;
    result_.items += created->items;
  }

  awaitable<void> grow(const ListedSession& session, const KnownSession& known, SessionTranscript& transcript,
                       Reading reading, ImportedSession after) {
    const ImportedSession& before = *known.imported;
    const SessionOutline& outline = transcript.outline();
    const auto summary = co_await application_.conversations().conversation(known.conversation);
    if (!summary) co_return;
    const Conversation& kept = summary->conversation;
    Conversation conversation = kept;

    const auto stored = std::make_shared<StoredTurns>(options_.agent);
    co_await readStored(known.conversation, *stored);
    if (!outline.records.empty() && outline.lastAt.value_or(Timestamp{}) > conversation.lastActivityAt) {
      apply(co_await blocking([&] { return transcript.lastFigures(); }), conversation);
      conversation.lastActivityAt = *outline.lastAt;
      conversation.lastPromptAt = std::max(conversation.lastPromptAt, transcript.lastPromptAt());
    }
    const ImportedState stateBefore = parseImportedState(before.state);
    retitle(conversation, stateBefore.title, parseImportedState(after.state).title);
    const auto items = std::make_shared<ItemStream>(transcript, stored.get(), reading == Reading::anew);
    const auto added = co_await imports_->append({.before = kept,
                                                  .after = std::move(conversation),
                                                  .readBefore = before,
                                                  .read = std::move(after),
                                                  .results = [items] { return items->takeStrayResults(); }},
                                                 [items, stored] { return items->next(); });
    result_.items += added.value_or(0);
    result_.itemsOfGrown += added.value_or(0);
    ++(added.value_or(0) > 0 ? result_.grown : result_.known);
    // What the agent has put into its archive since the last import, or taken out of it.
    if (!added || session.isArchived == stateBefore.isArchived) co_return;
    if (session.isArchived) {
      co_await application_.conversations().archiveConversation(known.conversation);
    } else {
      co_await application_.conversations().unarchiveConversation(known.conversation);
    }
  }

  awaitable<void> readStored(ConversationId conversation, StoredTurns& stored) {
    std::optional<ConversationItemId> last;
    for (;;) {
      const auto page = co_await application_.transcripts().page(conversation, last, PageDirection::after, kPage);
      if (page.empty()) co_return;
      for (const ConversationItem& item : page) stored.add(item);
      last = page.back().id;
    }
  }

  /// The agent's new title, where the user gave none here.
  static void retitle(Conversation& conversation, const std::optional<std::string>& before,
                      const std::optional<std::string>& after) {
    const bool isOfAgent = !conversation.title || (before && conversation.title == titleFrom(*before));
    if (isOfAgent && after) conversation.title = titleFrom(*after);
  }

  /// Of the first prompt, where the agent has put something before what the user typed.
  static std::optional<std::string> titleOfFirstPrompt(const SessionTranscript& transcript,
                                                       const ConversationItem* first) {
    if (!first || kindOf(*first) != ConversationItemKind::userMessage) return std::nullopt;
    const std::string typed = transcript.typedWords(first->text);
    if (typed == first->text || trimmed(typed).empty()) return std::nullopt;
    return displayTitle({}, firstCharacters(trimmed(typed), kTitleCharacters));
  }

  /// Nothing where there is no such agent: the one that is added later gets the conversation.
  awaitable<std::optional<AgentId>> findOrAddAgent() {
    if (agent_) co_return agent_;
    for (const Agent& agent : co_await application_.agents().agents()) {
      if (agent.type == options_.agent && (!agent_ || agent.enabled)) {
        agent_ = agent.id;
        if (agent.enabled) break;
      }
    }
    if (agent_ || std::exchange(hasLookedForProgram_, true)) co_return agent_;
    const auto located = findAgents(searchPath());
    const auto found = std::ranges::find(located, options_.agent, &LocatedAgent::type);
    if (found == located.end()) co_return std::nullopt;
    const Agent added =
        co_await application_.agents().createAgent(options_.agent, found->path, builtInModels(options_.agent));
    agent_ = added.id;
    co_return agent_;
  }

  static std::string searchPath() {
    const char* path = std::getenv("PATH");
    return path ? path : "";
  }

  Application& application_;
  SessionImportOptions options_;
  std::shared_ptr<TranscriptImport> imports_;
  SessionImportResult result_;
  std::ptrdiff_t skippedBefore_ = 0;  ///< the present session
  std::optional<AgentId> agent_;
  bool hasLookedForProgram_ = false;
};

}  // namespace

awaitable<SessionImportResult> importSessions(Application& application, SessionImportOptions options) {
  SessionImport import(application, std::move(options));
  co_return co_await import.run();
}

}  // namespace ravant
