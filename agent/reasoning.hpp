#pragma once

#include <string>

#include "platform/json/json.hpp"

/// What a model thinks before it answers, as the members of its message in which its provider sends it:
/// `reasoning_details`, `reasoning_content`, `reasoning`, and the parts of the type `thinking` of `content`. Several
/// models refuse a conversation in which it is missing from a message that asks for tools.
///
/// Source: openrouter.ai/docs (reasoning tokens), api-docs.deepseek.com (thinking mode) and docs.mistral.ai
/// (reasoning), November 2026.
namespace ravant::chat {

/// That of a message, whole or a piece of one; empty where it has none. Not in the memory of `message`.
json::object reasoningIn(const json::object& message);

/// Puts a piece behind what came before it: texts go on, marks such as signatures are those that came last.
void appendReasoning(json::object& reasoning, json::object piece);

/// As a reader is shown it: once, though several members may have the same text.
std::string textOfReasoning(const json::object& reasoning);

/// Puts it into a message as its provider sent it.
void putReasoning(const json::object& reasoning, json::object& message);

}  // namespace ravant::chat
