#pragma once

#include <string>
#include <string_view>

#include "core/store/conversation_model_actor.hpp"

namespace ravant {

/// What a list shows of a conversation, the most urgent first. What waits for an answer of the user will stand before
/// all of these.
enum class ConversationState {
  failed,       ///< ends with a failure that was not looked at
  running,      ///< a prompt is in flight, in whichever process
  interrupted,  ///< Ravant or the machine ended while a prompt ran, and nothing came after it
  unread,       ///< has items that were not looked at
  draft,        ///< has text that was not sent
  quiet
};

std::string_view rawValue(ConversationState state);

/// The first of the states that holds.
ConversationState stateOf(const ConversationSummary& summary);

/// The conversation's title, else the first line of its first prompt, else "untitled".
std::string displayTitle(const ConversationSummary& summary);
/// The same of the two texts.
std::string displayTitle(std::string_view title, std::string_view firstWords);

}  // namespace ravant
