#include "core/integrations/work_item.hpp"

namespace ravant {

std::string_view rawValue(WorkItem::Kind kind) {
  switch (kind) {
    case WorkItem::Kind::githubPull:
      return "githubPull";
    case WorkItem::Kind::linearIssue:
      return "linearIssue";
  }
  __builtin_unreachable();
}

std::optional<WorkItem::Kind> workItemKindFromRawValue(std::string_view text) {
  for (const WorkItem::Kind kind : {WorkItem::Kind::githubPull, WorkItem::Kind::linearIssue}) {
    if (rawValue(kind) == text) return kind;
  }
  return std::nullopt;
}

}  // namespace ravant
