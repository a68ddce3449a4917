#pragma once

#include <variant>
#include <vector>

#include "agent/chat_turn.hpp"
#include "core/run_state.hpp"
#include "core/store/transcript_writer.hpp"
#include "platform/async/async.hpp"
#include "platform/async/signal.hpp"

namespace ravant {

/// Announces what comes of one answer while it comes. Fragments that come while an announcement is under way become
/// one. On one strand.
class AnswerAnnouncements {
 public:
  AnswerAnnouncements(TranscriptWriter& writer, const any_io_executor& strand) : writer_(writer), changed_(strand) {}

  /// To be told of the answer; they refer to this.
  ChatTurnEvents events();
  /// The answer is over. Of what was not announced yet, only reasoning will be: all else is about to be stored, or
  /// void.
  void end();

  /// Returns when all is announced.
  awaitable<void> announce();

 private:
  using Announcement = std::variant<turn::Grow, turn::Retry, RunState::Kind>;
  enum class State { open, ended };

  void grow(GrowthKind kind, std::string_view fragment);
  void add(Announcement announcement);

  TranscriptWriter& writer_;
  Signal changed_;
  State state_ = State::open;
  std::vector<Announcement> waiting_;
  std::vector<GrowthKind> begun_;  ///< the kinds of text of which there was something
};

}  // namespace ravant
