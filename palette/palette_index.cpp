#include "palette/palette_index.hpp"

#include <utility>
#include <variant>

#include "core/overloaded.hpp"

namespace ravant {
namespace {

std::string_view serviceOf(const PinnedItem& pin) {
  return std::holds_alternative<GithubPullRequestsPinnedItem>(pin.detail) ? "GitHub" : "Linear";
}

PaletteTarget targetOf(const PaletteRow& row) {
  return std::visit(Overloaded{[](const ConversationId& id) -> PaletteTarget { return ConversationTarget{id, {}}; },
                               [](const LinearIssueId& id) -> PaletteTarget { return LinearIssueTarget{id, {}}; },
                               [](const GithubPullRequestId& id) -> PaletteTarget { return GithubPullTarget{id, {}}; }},
                    row);
}

}  // namespace

void PaletteIndex::replace(CommandPaletteContents contents, const std::vector<PinnedItem>& pins) {
  uses_.clear();
  lastUse_ = contents.usedIds.size();
  for (std::size_t i = 0; i < contents.usedIds.size(); ++i) uses_[contents.usedIds[i]] = lastUse_ - i;
  for (PalettePool& known : pools_) known.clear();
  for (const PinnedItem& pin : pins) {
    contents.candidates.push_back(paletteCandidate(pin.id, displayTitle(pin), serviceOf(pin)));
  }
  for (PaletteCandidate& candidate : contents.candidates) {
    const bool isListed = candidate.listing == PaletteListing::section;
    const std::size_t age = ageOf(candidate.id);
    pool(isListed ? sectionOf(candidate.target) : PaletteSection::recent).add(std::move(candidate), age);
  }
}

bool PaletteIndex::put(const PaletteRow& row, std::optional<PaletteCandidate> candidate) {
  const PaletteTarget target = targetOf(row);
  const std::string id = itemID(target);
  const std::size_t age = ageOf(id);
  const bool isListed = candidate && candidate->listing == PaletteListing::section;
  const bool isOutside = candidate && !isListed && age != PalettePool::kNeverUsed;
  bool isChanged = false;
  const auto settle = [&](PaletteSection section, bool belongs) {
    const bool hasMoved = belongs ? pool(section).put(*std::move(candidate), age) : pool(section).remove(id);
    isChanged = isChanged || hasMoved;
  };
  settle(sectionOf(target), isListed);
  settle(PaletteSection::recent, isOutside);
  return isChanged;
}

void PaletteIndex::replaceCommands(std::vector<PaletteCandidate> commands) {
  PalettePool& known = pool(PaletteSection::commands);
  known.clear();
  for (PaletteCandidate& command : commands) {
    const std::size_t age = ageOf(command.id);
    known.add(std::move(command), age);
  }
}

void PaletteIndex::use(const std::string& id) {
  uses_[id] = ++lastUse_;
  for (PalettePool& known : pools_) known.setAge(id, ageOf(id));
}

std::size_t PaletteIndex::ageOf(const std::string& id) const {
  const auto use = uses_.find(id);
  return use == uses_.end() ? PalettePool::kNeverUsed : PalettePool::kNeverUsed - use->second;
}

}  // namespace ravant
