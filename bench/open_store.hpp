#pragma once

#include <filesystem>
#include <memory>

#include "core/store/agent_model_store.hpp"
#include "core/store/conversation_item_model_actor.hpp"
#include "core/store/conversation_model_actor.hpp"
#include "core/store/project_store.hpp"
#include "platform/async/executors.hpp"
#include "tests/support/run.hpp"

namespace ravant::bench {

/// A store in a folder as a program has it open, made where there is none.
class OpenStore {
 public:
  explicit OpenStore(const std::filesystem::path& folder)
      : processes(ProcessLedger::open(folder / "processes")),
        container(ModelContainer::open({.folder = folder,
                                        .work = executors.work(),
                                        .clock = std::make_shared<SystemClock>(),
                                        .processes = processes})) {}
  ~OpenStore() { test::run(container->changeFeed()->stop()); }
  OpenStore(const OpenStore&) = delete;
  OpenStore& operator=(const OpenStore&) = delete;

  Executors executors;
  std::shared_ptr<ProcessLedger> processes;
  std::shared_ptr<ModelContainer> container;
};

}  // namespace ravant::bench
