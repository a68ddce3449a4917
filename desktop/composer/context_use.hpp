#pragma once

#include <QString>

#include "core/store/conversation_model_actor.hpp"

namespace ravant::desktop {

/// How much of the agent's context a conversation takes.
struct ContextUse {
  double share = 0;    ///< 0 where it is not known
  QString words = {};  ///< empty where it is not known

  bool isNearlyFull() const { return share > 0.8; }
};

ContextUse contextUse(const Conversation& conversation);

}  // namespace ravant::desktop
