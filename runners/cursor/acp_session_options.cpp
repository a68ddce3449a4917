#include "runners/cursor/acp_session_options.hpp"

#include <algorithm>
#include <utility>

#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "CursorAcp");

// The slug that leaves the choice of the model to the agent.
constexpr std::string_view kAutomaticModel = "auto";

}  // namespace

std::optional<AcpSessionOptions::Choice> AcpSessionOptions::forModel(std::string_view model) const {
  if (model.empty()) return std::nullopt;
  const acp::ConfigOption* option = acp::modelOption(options_);
  const auto match = option ? acp::matchOptionValue(*option, model) : std::nullopt;
  if (match) return unlessSet({.id = option->id, .value = *match});
  if (option && model == kAutomaticModel) return std::nullopt;
  return unlessSet({.id = option ? option->id : "model",
                    .value = std::string(model),
                    .offer = option ? Offer::made : Offer::unknown});
}

std::optional<AcpSessionOptions::Choice> AcpSessionOptions::forEffort(std::string_view effort) const {
  const acp::ConfigOption* option = acp::effortOption(options_);
  const auto match = option ? acp::matchOptionValue(*option, effort) : std::nullopt;
  if (match) return unlessSet({.id = option->id, .value = *match});
  kLog.warning("the agent does not offer the effort {}", effort);
  return std::nullopt;
}

std::optional<AcpSessionOptions::Choice> AcpSessionOptions::unlessSet(Choice choice) const {
  const auto option = std::ranges::find(options_, choice.id, &acp::ConfigOption::id);
  const auto chosen = chosen_.find(choice.id);
  const bool isCurrent = option != options_.end() && option->currentValue == choice.value;
  if (isCurrent && chosen != chosen_.end() && chosen->second == choice.value) return std::nullopt;
  return choice;
}

}  // namespace ravant
