#pragma once

#include <string>

namespace ravant {

/// What an agent is writing: its answer, or its reasoning, which is announced and is no entry of the transcript.
enum class GrowthKind { message, reasoning };

/// What came to a text that an agent is writing.
struct Growth {
  std::string text;
  bool isNewMessage = false;  ///< these are its first words, and what came before them belongs to another
  GrowthKind kind = GrowthKind::message;

  bool operator==(const Growth&) const = default;
};

}  // namespace ravant
