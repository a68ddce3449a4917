#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace ravant::test {

/// What a fake agent does in one run: the part of a cassette from one line `== turn PROMPT` to the next.
///
/// A line that begins with `{` is printed as it stands. The others, blank ones and those with `#` aside:
///
///     print TEXT             prints a line; \xHH is a byte
///     no-newline TEXT        the same without a line break
///     !TEXT                  a line on standard error
///     expect-argument TEXT   fails unless the agent was given it
///     wait NAME              goes on once the test has called FakeAgent::release
///     spawn-orphan           leaves a process behind in a session of its own, which ignores SIGTERM and holds the
///     output kill-self, kill-shell  by SIGKILL hang                   until killed exit STATUS
struct CassetteTurn {
  std::string prompt;
  std::vector<std::string> lines;
};

/// Throws std::runtime_error where there is none or a line stands before the first turn.
std::vector<CassetteTurn> readCassette(const std::filesystem::path& file);

/// How a run differs from its cassette.
struct CassetteFault {
  enum class Kind { none, stop, kill, noise };

  Kind kind = Kind::none;
  std::size_t line = 0;  ///< stop exits behind it; kill also prints half of the next one before

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
