#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/ravant_message.hpp"
#include "agent/ravant_model.hpp"
#include "core/transcript_entry.hpp"
#include "platform/json/json.hpp"

namespace ravant {

/// The arguments of a call as an object, an empty text as an empty one; nothing for what is no JSON object.
std::optional<json::object> parseArguments(std::string_view argumentsJSON);

/// What a model answered, as it can be sent again: ids are there and differ, names are names of functions, and
/// arguments JSON objects.
message::Assistant fitToBeSent(message::Assistant assistant);

/// A tool's name as every provider takes it: at most 64 letters, digits, `_` and `-`, at least one.
std::string sendableName(std::string_view name);

/// The messages as that model takes them: reasoning is its own, or left out. Mistral refuses ids of other forms than
/// its own, so that a conversation could not change to one of its models, and a prompt behind results that the model
/// has not answered, as a cancel leaves them. Source: docs.mistral.ai/capabilities/function_calling, November 2026.
std::vector<RavantMessage> fittedTo(const RavantModel& model, std::vector<RavantMessage> messages);

/// A stored conversation as a list that providers accept: calls without a result and results without a call are
/// repaired, and messages without words are left out.
std::vector<RavantMessage> rehydratedTranscript(const std::vector<TranscriptEntry>& entries);

}  // namespace ravant
