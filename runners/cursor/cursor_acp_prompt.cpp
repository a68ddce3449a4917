#include "runners/cursor/cursor_acp_prompt.hpp"

#include <algorithm>
#include <utility>

#include "platform/log/log.hpp"
#include "runners/cursor/acp_unstored.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "CursorAcp");

bool beginsCall(const turn::Action& action) {
  const auto* entry = std::get_if<TranscriptAction>(&action);
  const auto* added = entry ? std::get_if<turn::AppendToolInvocation>(entry) : nullptr;
  return added && added->status == ToolInvocationStatus::running;
}

}  // namespace

void CursorAcpRunner::Prompt::take(std::vector<turn::Action> told) { addUnstored(actions, std::move(told)); }

awaitable<void> CursorAcpRunner::Prompt::storeTaken() {
  const bool hasBegunCall = std::ranges::any_of(actions, beginsCall);
  co_await store();
  if (!hasBegunCall || error || stage != Stage::over) co_return;
  try {
    co_await writer.endLate();
  } catch (const std::exception& failure) {
    kLog.error("a late call could not be ended: {}", failure.what());
    error = std::current_exception();
  }
}

}  // namespace ravant
