#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "runners/codex/codex_app_server_runner.hpp"
#include "runners/codex/codex_turn.hpp"

namespace ravant {

/// One prompt on the server, for the runner alone.
struct CodexAppServerRunner::Prompt : RpcPrompt {
  Prompt(AgentRunRequest asked, std::shared_ptr<ModelContainer> modelContainer, std::set<std::string> pastTurnIds,
         std::map<std::string, std::string> shownOutputs)
      : RpcPrompt(std::move(asked), std::move(modelContainer)),
        turn(request.model, std::move(pastTurnIds), std::move(shownOutputs)) {}

  CodexTurn turn;
  std::shared_ptr<RpcConnection> connection;  ///< the server it runs on
  std::string threadId;
  std::optional<std::string> turnId;
  bool isStoring = false;
  bool isLetGo = false;  ///< what its turn says from then on goes nowhere
};

}  // namespace ravant
