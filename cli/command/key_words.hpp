#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "cli/command/command_context.hpp"

namespace ravant::cli {

/// Whether secrets are in a file, and not in the desktop's key store.
bool keepsKeysInFile(CommandContext& context);

/// Says where a secret has just been stored, `secret` being what it is: "API key".
std::string whereStored(CommandContext& context, std::string_view secret);

/// The error's words. Where a `KeyStoreError` is the error or nested in it, also what the user can do about it.
std::string wordsWithWayOut(const std::exception& error);

}  // namespace ravant::cli
