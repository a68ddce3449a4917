#pragma once

#include <QString>

#include "core/store/conversation_model_actor.hpp"

namespace ravant::desktop {

/// How much of the agent's context a conversation takes, and what its last turn took.
struct ContextUse {
  double share = 0;      ///< 0 where the size of the context is not known
  QString words = {};    ///< "82k of 200k", or "82k"; empty where nothing is known
  QString figures = {};  ///< all counts that an agent told, a line each

  bool isNearlyFull() const { return share > 0.8; }
};

ContextUse contextUse(const Conversation& conversation);

}  // namespace ravant::desktop
