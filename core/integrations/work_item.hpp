#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ravant {

/// The pull request or issue that a conversation began with, as it was called then.
struct WorkItem {
  enum class Kind { githubPull, linearIssue };

  Kind kind;
  std::string name;  ///< such as `owner/name#42` or `ENG-42`
  std::string url;

  bool operator==(const WorkItem&) const = default;
};

std::string_view rawValue(WorkItem::Kind kind);
std::optional<WorkItem::Kind> workItemKindFromRawValue(std::string_view text);

}  // namespace ravant
