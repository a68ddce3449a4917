#pragma once

#include <string>

#include "tests/support/store.hpp"

namespace ravant::test {

/// A conversation and its transcript as text that a person can check: one line an entry, indented
/// details, no ids and times.
std::string transcriptText(OpenStore& store, ConversationId id);

}  // namespace ravant::test
