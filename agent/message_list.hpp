#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "agent/ravant_message.hpp"
#include "agent/ravant_provider.hpp"
#include "core/transcript_entry.hpp"
#include "platform/json/json.hpp"

namespace ravant {

/// The arguments of a call as an object, an empty text as an empty one; nothing for what is no JSON object.
std::optional<json::object> parseArguments(std::string_view argumentsJSON);

/// What a model answered, as it can be sent again: ids are there and differ, and arguments are JSON objects.
message::Assistant fitToBeSent(message::Assistant assistant);

/// The messages with ids that the provider takes: Mistral refuses those of other providers, so that a conversation
/// could not change to one of its models. Source: docs.mistral.ai/capabilities/function_calling, November 2026.
std::vector<RavantMessage> withIdsFor(RavantProvider provider, std::vector<RavantMessage> messages);

/// A stored conversation as a list that providers accept: calls without a result and results without a call are
/// repaired, and messages without words are left out.
std::vector<RavantMessage> rehydratedTranscript(const std::vector<TranscriptEntry>& entries);

}  // namespace ravant
