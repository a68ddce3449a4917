#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "core/store/agent_model_store.hpp"
#include "core/store/conversation_item_model_actor.hpp"
#include "core/store/conversation_model_actor.hpp"
#include "core/store/project_store.hpp"
#include "core/store/transcript_reader.hpp"
#include "platform/async/executors.hpp"
#include "tests/support/manual_clock.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {

/// The moment at which a test's clock stands at first: 2026-11-21T10:00:00Z.
inline constexpr Timestamp kMorning{std::chrono::sys_days{std::chrono::year{2026} / 11 / 21} + std::chrono::hours{10}};

/// A store as one process has it open. Several on one folder stand for several processes.
class OpenStore {
 public:
  explicit OpenStore(const std::filesystem::path& folder, std::chrono::microseconds tick = {},
                     std::optional<std::int32_t> largestEntry = {})
      : clock(std::make_shared<ManualClock>(kMorning, tick)),
        processes(ProcessLedger::open(folder / "processes")),
        container(ModelContainer::open({.folder = folder,
                                        .work = executors.work(),
                                        .clock = clock,
                                        .processes = processes,
                                        .largestEntry = largestEntry})),
        items(ConversationItemModelActor::make(container)),
        conversations(ConversationModelActor::make(container)),
        projects(ProjectStore::make(container)),
        agents(AgentModelStore::make(container)),
        reader(TranscriptReader::make(container)) {}
  ~OpenStore() { run(container->changeFeed()->stop()); }

  ConversationId makeConversation(AgentType type = AgentType::claude, const std::string& path = "/home/user/project") {
    const Project project = run(projects->create(path, "project"));
    const Agent agent = run(agents->createAgent(type, "/usr/bin/agent", {}));
    return run(conversations->createConversation(project.id, agent.id)).value();
  }

  Conversation conversation(ConversationId id) { return run(conversations->conversation(id)).value().conversation; }
  std::vector<ConversationItem> transcript(ConversationId id) { return run(reader->items(id, std::nullopt)); }

  Executors executors;
  std::shared_ptr<ManualClock> clock;
  std::shared_ptr<ProcessLedger> processes;
  std::shared_ptr<ModelContainer> container;
  std::shared_ptr<ConversationItemModelActor> items;
  std::shared_ptr<ConversationModelActor> conversations;
  std::shared_ptr<ProjectStore> projects;
  std::shared_ptr<AgentModelStore> agents;
  std::shared_ptr<TranscriptReader> reader;
};

}  // namespace ravant::test
