#pragma once

#include "core/transcript_action.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// What came of a tool call when its turn was over.
struct LateResult {
  turn::CompleteToolInvocation result;
  Timestamp at;
};

}  // namespace ravant
