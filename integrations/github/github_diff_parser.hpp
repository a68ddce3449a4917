#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "integrations/github/github_payloads.hpp"

namespace ravant {

/// A line of a hunk.
struct GithubDiffLine {
  enum class Kind { context, added, removed };

  std::int64_t index;  ///< in the file, over all hunks, from 0
  Kind kind;
  std::optional<std::int64_t> oldNumber;
  std::optional<std::int64_t> newNumber;
  std::string_view text;  ///< without the sign before it; lives as long as the hunk or a copy of it

  bool operator==(const GithubDiffLine&) const = default;
};

std::string_view rawValue(GithubDiffLine::Kind kind);

struct GithubDiffHunk {
  std::shared_ptr<const std::string> patch;  ///< which holds the texts of the lines of all hunks of the file
  std::string header;                        ///< the whole line
  std::vector<GithubDiffLine> lines;

  /// Wherever their texts are held.
  bool operator==(const GithubDiffHunk& other) const { return header == other.header && lines == other.lines; }
};

enum class GithubFileStatus { added, removed, renamed, modified };
std::string_view rawValue(GithubFileStatus status);

struct GithubFileChange {
  std::string filename;
  std::optional<std::string> previousFilename;
  GithubFileStatus status;
  bool isStaged = false;  ///< always, for a pull request's files
  bool isBinary;
  std::int64_t additions;
  std::int64_t deletions;
  std::vector<GithubDiffHunk> hunks;

  bool operator==(const GithubFileChange&) const = default;
};

/// Makes numbered lines of the patches of a pull request's files: of any text, in linear time.
class GithubDiffParser {
 public:
  static std::vector<GithubFileChange> fileChanges(std::span<const GithubPullFilePayload> payloads);
  static GithubFileChange fileChange(const GithubPullFilePayload& payload);
  static std::vector<GithubDiffHunk> hunks(std::string_view patch);

  struct Header {
    std::int64_t oldStart;
    std::int64_t newStart;
    bool operator==(const Header&) const = default;
  };
  /// A number that is missing, or that no line has, is 0.
  static Header parseHeader(std::string_view line);
};

}  // namespace ravant
