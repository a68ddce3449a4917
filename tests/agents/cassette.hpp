#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace ravant::test {

/// What a fake agent does for one prompt: the part of a cassette from one line `== turn PROMPT` to the next.
///
/// A line that begins with `{` is printed as it stands. The others, blank ones and those with `#` aside:
///
///     print TEXT             prints a line; \xHH is a byte
///     no-newline TEXT        the same without a line break
///     !TEXT                  a line on standard error
///     expect-argument TEXT   fails unless the agent was given it
///     wait NAME              goes on once the test has called FakeAgent::release
///     spawn-orphan           leaves a process behind, in a session of its own, that ignores SIGTERM
///     spawn-detached         leaves one that does not descend from the agent any more
///     kill-self, kill-shell  by SIGKILL
///     hang                   until killed
///     exit STATUS
///
/// An agent that is a server plays one turn after the other in one process. Its cassette begins with lines
/// `on METHOD RESULT`: a request of that method is answered so whenever it comes, and one of a method that nobody waits
/// for is an error, except for notifications. Its turns have further verbs:
///
///     receive-prompt METHOD  waits for the request that brings the prompt
///     receive METHOD         waits for a request or a notification
///     expect TEXT            fails unless what was received last has it
///     expect-session METHOD  fails unless a request of that method came, or a prompt before this one
///     reply RESULT           answers what was received last
///     reply-to-prompt RESULT answers the prompt
///     reply-error TEXT       the same with an error
///     receive-reply ID TEXT  waits for the answer to the agent's own request, and fails unless it has the text
struct CassetteTurn {
  std::string prompt;
  std::vector<std::string> lines;
};

/// Throws std::runtime_error where there is none or a line that is no rule stands before the first turn.
std::vector<CassetteTurn> readCassette(const std::filesystem::path& file);
/// The results of a server's rules, by their methods; empty for an agent that is no server.
std::map<std::string, std::string> readCassetteRules(const std::filesystem::path& file);

/// How a run differs from its cassette.
struct CassetteFault {
  enum class Kind { none, stop, kill, noise, leave };

  Kind kind = Kind::none;
  /// stop exits behind it; kill also prints half of the next one before; leave exits when so many rules were applied.
  std::size_t line = 0;

  /// One word or two, for the environment of the player.
  std::string text() const;
  static CassetteFault fromText(const std::string& text);
};

/// The environment of the player.
inline constexpr const char* kCassetteVariable = "RAVANT_CASSETTE";             ///< the file
inline constexpr const char* kCassetteStateVariable = "RAVANT_CASSETTE_STATE";  ///< the folder to write to
inline constexpr const char* kCassetteTurnVariable = "RAVANT_CASSETTE_TURN";    ///< from 1; 0: each run the next
inline constexpr const char* kCassetteFaultVariable = "RAVANT_CASSETTE_FAULT";

}  // namespace ravant::test
