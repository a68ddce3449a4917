#pragma once

#include <string_view>

namespace ravant {

/// Whether an agent's session can have the id. It stands on the agent's command line, so it is no option and no more
/// than printable characters of ASCII without spaces.
bool canBeAgentSessionId(std::string_view id);

}  // namespace ravant
