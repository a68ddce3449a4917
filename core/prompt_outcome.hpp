#pragma once

#include <optional>
#include <string_view>

namespace ravant {

/// How a prompt ended, as it is stored with it: `interrupted` by the end of the program or the machine, cut off by a
/// `limit` (tokens, steps, length).
enum class PromptOutcome { finished, failed, cancelled, interrupted, limit };

std::string_view rawValue(PromptOutcome outcome);
std::optional<PromptOutcome> promptOutcomeFromRawValue(std::string_view text);

}  // namespace ravant
