#pragma once

#include "cli/command/command.hpp"

namespace ravant::cli {

/// Those of the group `conversation` that take a conversation out of the store and bring one in.
Command exportCommand();
Command conversationImportCommand();

}  // namespace ravant::cli
