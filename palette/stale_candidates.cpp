#include "palette/stale_candidates.hpp"

#include <algorithm>

#include "core/overloaded.hpp"

namespace ravant {
namespace {

/// Of more changed entities, reading everything again is no more work.
constexpr std::size_t kReadOneByOne = 64;

}  // namespace

void StaleCandidates::add(const ChangeBatch& batch) {
  isEverything = isEverything || batch.isIncomplete;
  const auto note = [&](const PaletteRow& row) {
    if (std::ranges::find(rows, row) == rows.end()) rows.push_back(row);
  };
  const auto everything = [&] { isEverything = true; };
  for (const Change& change : batch.changes) {
    if (isEverything) break;
    if (change.operation == ChangeOperation::grew || change.operation == ChangeOperation::went) continue;
    std::visit(Overloaded{[&](const ConversationId& id) { note(id); }, [&](const LinearIssueId& id) { note(id); },
                          [&](const GithubPullRequestId& id) { note(id); }, [&](const ProjectId&) { everything(); },
                          [&](const PinnedItemId&) { everything(); }, [&](const GithubIntegrationId&) { everything(); },
                          [&](const LinearIntegrationId&) { everything(); }, [](const auto&) {}},
               change.entity);
    if (rows.size() > kReadOneByOne) everything();
  }
}

}  // namespace ravant
