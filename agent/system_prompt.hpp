#pragma once

#include <filesystem>
#include <string>

namespace ravant {

/// What the built-in agent's models are told before the conversation.
std::string systemPrompt(const std::filesystem::path& workingDirectory);

}  // namespace ravant
