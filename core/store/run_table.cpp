#include "core/store/run_table.hpp"

#include "core/agent_runner_error.hpp"
#include "core/store/row_values.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");
constexpr std::string_view kInterruptedTool = "Interrupted: Ravant ended while this tool was running.";
constexpr std::string_view kAbandonedTool = "Interrupted before the tool had a result.";
constexpr std::string_view kInterruptedRun = "Interrupted: Ravant ended while this ran.";

}  // namespace

RunTable::RunTable(StoreConnection& store, ItemTable& items)
    : store_(store),
      items_(items),
      ownerOf_(store.prepare("SELECT owner FROM run WHERE conversation_id = ?")),
      insert_(store.prepare("INSERT OR REPLACE INTO run (conversation_id, owner, started_at) VALUES (?, ?, ?)")),
      remove_(store.prepare("DELETE FROM run WHERE conversation_id = ? AND owner = ?")),
      setPrompt_(store.prepare("UPDATE run SET prompt_id = ? WHERE conversation_id = ? AND owner = ?")),
      endPrompt_(store.prepare(
          "UPDATE conversation_item SET end_reason = ?1, ended_at = max(created_at, coalesce(?2, "
          "(SELECT last_activity_at FROM conversation WHERE id = ?3))) "
          "WHERE id = (SELECT prompt_id FROM run WHERE conversation_id = ?3 AND owner = ?4) RETURNING id")),
      all_(store.prepare("SELECT run.owner, conversation.uuid, conversation.id FROM run "
                         "JOIN conversation ON conversation.id = run.conversation_id")) {}

std::optional<std::string> RunTable::ownerOf(ConversationRow conversation) {
  auto row = ownerOf_.query(bound(conversation));
  return row.step() ? std::optional(readText(row, 0)) : std::nullopt;
}

void RunTable::begin(ConversationId id, ConversationRow conversation, Changes& changes) {
  const ProcessLedger& processes = store_.container().processes();
  const auto owner = ownerOf(conversation);
  if (owner && *owner != processes.owner()) {
    if (processes.isAlive(*owner)) throw AgentRunnerError(AgentRunnerError::Case::busy);
    endInterrupted(id, conversation, *owner, changes);
  } else if (owner) {
    const auto known = store_.container().unstoredEnds()->find(id);
    end(id, conversation, *owner,
        known.value_or(RunEnd{.unfinishedToolOutput = std::string(kAbandonedTool),
                              .outcome = PromptOutcome::interrupted,
                              .at = store_.now()}),
        changes);
  }
  insert_.run(bound(conversation), processes.owner(), bound(store_.now()));
}

void RunTable::setPrompt(ConversationRow conversation, ConversationItemId prompt) {
  setPrompt_.run(bound(prompt), bound(conversation), store_.container().processes().owner());
}

void RunTable::end(ConversationId id, ConversationRow conversation, const RunEnd& how, Changes& changes) {
  const auto owner = ownerOf(conversation);
  const std::string& self = store_.container().processes().owner();
  if (owner && *owner != self) return;  // another process has begun a run since
  end(id, conversation, self, how, changes);
}

void RunTable::end(ConversationId id, ConversationRow conversation, const std::string& owner, const RunEnd& how,
                   Changes& changes) {
  if (how.outcome) {
    const bool isTimeKnown = *how.outcome != PromptOutcome::interrupted;
    auto row = endPrompt_.query(rawValue(*how.outcome), isTimeKnown ? std::optional(bound(how.at)) : std::nullopt,
                                bound(conversation), owner);
    if (row.step()) changes.updated(readId<ConversationItemId>(row, 0), id);
  }
  remove_.run(bound(conversation), owner);
  for (const ToolInvocationId invocation : items_.runningInvocations(conversation)) {
    items_.endUnfinished(invocation, how.unfinishedToolOutput, how.at);
    changes.updated(invocation, id);
  }
}

void RunTable::endInterrupted(ConversationId id, ConversationRow conversation, const std::string& owner,
                              Changes& changes) {
  end(id, conversation, owner,
      {.unfinishedToolOutput = std::string(kInterruptedTool),
       .outcome = PromptOutcome::interrupted,
       .at = store_.now()},
      changes);
  changes.inserted(items_.insert({.conversation = conversation,
                                  .kind = ConversationItemKind::failureEvent,
                                  .rawJSON = {},
                                  .text = kInterruptedRun},
                                 store_.now()),
                   id);
  kLog.warning("ended the interrupted run of conversation {}", id.text());
}

void RunTable::endInterrupted(Changes& changes, const std::set<std::string>& stillRunning) {
  struct Run {
    ConversationId id;
    ConversationRow conversation;
    std::string owner;
  };
  std::vector<Run> dead;
  {
    auto row = all_.query();
    while (row.step()) {
      if (store_.container().processes().isAlive(row.text(0)) || stillRunning.contains(readText(row, 0))) continue;
      dead.push_back({readId<ConversationId>(row, 1), ConversationRow(row.int64(2)), readText(row, 0)});
    }
  }
  for (const Run& run : dead) endInterrupted(run.id, run.conversation, run.owner, changes);
}

LivingRuns::LivingRuns(StoreConnection& store)
    : processes_(store.container().processes()),
      unstoredEnds_(*store.container().unstoredEnds()),
      ofConversation_(
          store.prepare("SELECT owner, uuid FROM run JOIN conversation ON conversation.id = run.conversation_id "
                        "WHERE conversation.uuid = ?")),
      ofProject_(store.prepare("SELECT owner, conversation.uuid FROM run "
                               "JOIN conversation ON conversation.id = run.conversation_id "
                               "JOIN project ON project.id = conversation.project_id WHERE project.uuid = ?")) {}

void LivingRuns::refuseRemoval(ConversationId id) {
  if (isOneAlive(ofConversation_.query(bound(id)))) throw InUseError("a prompt is running in this conversation");
}

void LivingRuns::refuseRemoval(ProjectId id) {
  if (isOneAlive(ofProject_.query(bound(id)))) throw InUseError("a prompt is running in this project");
}

bool LivingRuns::isElsewhere(ConversationId id) {
  auto owner = ofConversation_.query(bound(id));
  return owner.step() && standing(owner.text(0), id) == RunStanding::elsewhere;
}

RunStanding LivingRuns::standing(std::string_view owner, ConversationId id) const {
  if (owner == processes_.owner()) return unstoredEnds_.find(id) ? RunStanding::over : RunStanding::here;
  return processes_.isAlive(owner) ? RunStanding::elsewhere : RunStanding::interrupted;
}

bool LivingRuns::isOneAlive(sqlite::Query runs) {
  while (runs.step()) {
    const RunStanding run = standing(runs.text(0), readId<ConversationId>(runs, 1));
    if (run == RunStanding::here || run == RunStanding::elsewhere) return true;
  }
  return false;
}

void endInterruptedRuns(std::shared_ptr<ModelContainer> modelContainer, const std::set<std::string>& stillRunning) {
  StoreConnection store(std::move(modelContainer));
  auto owners = store.prepare("SELECT DISTINCT owner FROM run");
  const bool isOneDead = store.read([&] {
    auto row = owners.query();
    while (row.step()) {
      const std::string owner = readText(row, 0);
      if (!store.container().processes().isAlive(owner) && !stillRunning.contains(owner)) return true;
    }
    return false;
  });
  if (!isOneDead) return;
  ItemTable items(store);
  RunTable runs(store, items);
  store.write(
      Durability::powerCut, [&](Changes& changes) { runs.endInterrupted(changes, stillRunning); },
      FullDisk::takesReserve);
}

}  // namespace ravant
