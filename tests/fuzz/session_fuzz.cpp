#include <memory>

#include "platform/text/utf8.hpp"
#include "runners/claude/claude_session.hpp"
#include "runners/codex/codex_session.hpp"
#include "runners/pi/pi_session.hpp"
#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

/// The items of a session's lines, in turns.
std::vector<ConversationItem> itemsOf(AgentSession& session, const std::vector<std::string>& lines) {
  // The place of a line is its number.
  for (std::size_t i = 0; i < lines.size(); ++i) {
    session.onLine(lines[i], {.offset = static_cast<std::int64_t>(i), .length = lines[i].size()});
  }
  const SessionOutline outline = session.finish();
  std::vector<ConversationItem> all;
  std::vector<bool> isSeen(lines.size());
  for (std::size_t begin = 0; begin < outline.records.size();) {
    const auto turn = session.beginTurn();
    SessionItems items;
    for (bool isFirst = true; begin < outline.records.size() && (isFirst || !outline.records[begin].beginsTurn);
         ++begin) {
      isFirst = false;
      const auto line = static_cast<std::size_t>(outline.records[begin].offset);
      expect(!isSeen[line], "a line makes the transcript once");
      isSeen[line] = true;
      items.setTime(outline.records[begin].at);
      turn->onRecord(lines[line], items);
    }
    turn->onEnd(items);
    for (ConversationItem& item : items.take()) all.push_back(std::move(item));
  }
  return all;
}

void expectLawful(const ConversationItem& item) {
  if (const auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) {
    expect(!group->invocations.empty(), "a group has a call");
    for (const ToolInvocation& call : group->invocations) {
      expect(call.status != ToolInvocationStatus::running, "nothing stays running");
      expect(isValidUtf8(call.input.value_or("")) && isValidUtf8(call.output.value_or("")), "calls are valid UTF-8");
    }
  }
  expect(isValidUtf8(item.text) && isValidUtf8(item.rawJSON), "items are valid UTF-8");
}

void play(AgentSession& session, AgentSession& again, const std::vector<std::string>& lines) {
  const std::vector<ConversationItem> items = itemsOf(session, lines);
  for (const ConversationItem& item : items) expectLawful(item);
  expect(items == itemsOf(again, lines), "the same lines make the same items");
}

}  // namespace
}  // namespace ravant::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  const std::vector<std::string> lines = fuzz::lines(fuzz::text(bytes, size));
  const auto playBoth = [&](auto make) {
    const auto session = make();
    const auto again = make();
    fuzz::play(*session, *again, lines);
  };
  playBoth([] { return std::make_unique<ClaudeSession>(); });
  playBoth([] { return std::make_unique<CodexSession>("thread"); });
  playBoth([] { return std::make_unique<PiSession>(); });
  return 0;
}
