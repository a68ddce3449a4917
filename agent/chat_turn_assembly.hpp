#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "agent/chat_completions_wire.hpp"
#include "agent/chat_turn.hpp"

namespace ravant {

/// Assembles the lines of an event stream into a turn, without input or output.
class ChatTurnAssembly {
 public:
  enum class Progress { goesOn, over };

  /// `provider` is its display name; `events` are told the fragments as they come.
  ChatTurnAssembly(std::string provider, ChatTurnEvents events)
      : provider_(std::move(provider)), events_(std::move(events)) {}

  /// Takes a line in, without its line feed. Throws `ChatCompletionsError` where it holds the provider's error.
  Progress onLine(std::string_view line);

  /// Whether anything of the model's answer has come.
  bool hasBegun() const { return hasBegun_; }
  /// The words of a turn that breaks off.
  std::string takeText() { return std::move(turn_.text); }

  /// The turn as far as it was taken in. Throws `ChatCompletionsError` where it is empty.
  ChatTurn finish();

 private:
  /// A tool call under assembly.
  struct PartialToolCall {
    std::optional<std::string> id;
    std::string name;
    std::string arguments;
  };

  void take(chat::Chunk chunk);
  PartialToolCall& partialFor(const chat::ToolCallFragment& fragment);
  std::int64_t guessedIndex(const chat::ToolCallFragment& fragment) const;

  std::string provider_;
  ChatTurnEvents events_;
  chat::ChunkParser parser_;
  ChatTurn turn_;
  std::map<std::int64_t, PartialToolCall> partials_;
  std::int64_t lastIndex_ = 0;
  bool hasEvent_ = false;
  bool hasBegun_ = false;
  std::string strayText_;  ///< the first of what was no event
};

}  // namespace ravant
