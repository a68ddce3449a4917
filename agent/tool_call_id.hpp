#pragma once

#include <string>
#include <string_view>

namespace ravant {

/// An id for a call that came without one: nine random letters and digits, the only form that Mistral takes.
std::string generatedToolCallId();

/// An id of that form: `id` itself where it has it, else always the same one for the same `id`.
std::string nineCharacterId(std::string_view id);

}  // namespace ravant
