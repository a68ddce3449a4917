#include "tests/runners/session_fixture.hpp"

#include <fmt/format.h>

#include <ranges>

#include "runners/session_transcript.hpp"

namespace ravant::test {
namespace {

std::string shown(const ConversationItem& item) {
  std::string text = fmt::format("{}: {}\n", rawValue(kindOf(item)), item.text);
  if (const auto* message = std::get_if<AgentMessage>(&item.detail)) {
    text += fmt::format("  {} {} out {}\n", message->agentModel.value_or("-"), message->providerMessageId.value_or("-"),
                        message->outputTokens.value_or(-1));
    for (const MessageBlock& block : message->blocks) {
      if (message->blocks.size() > 1) text += fmt::format("  {} {}\n", rawValue(block.kind), block.text);
    }
  }
  if (const auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) {
    for (const ToolInvocation& call : group->invocations) {
      text += fmt::format("  {} {} {} <{}> <{}>\n", rawValue(call.status), call.toolName, call.toolCallId,
                          call.input.value_or("-"), call.output.value_or("-"));
      EXPECT_TRUE(call.completedAt) << text;
      EXPECT_FALSE(call.rawJSON.empty()) << text;
    }
  }
  return text;
}

/// Every session's transcript, turns apart.
std::string transcripts(const SessionsUnderTest& agent, const SessionListing& listing, bool isOver,
                        std::vector<std::string>& unknown) {
  std::string text;
  for (const ListedSession& session : listing.sessions) {
    SessionTranscript transcript(session, agent.open(session));
    EXPECT_EQ(transcript.outline().isLastTurnOver, isOver);
    text += fmt::format("== {} in {}: {}{}\n", session.id, transcript.outline().workingDirectory,
                        session.title.value_or(transcript.outline().title.value_or("-")),
                        session.isArchived ? " (archived)" : "");
    std::ranges::copy(transcript.outline().unknownTypes | std::views::keys, std::back_inserter(unknown));
    Timestamp before{};
    while (auto turn = transcript.nextTurn()) {
      for (const ConversationItem& item : turn->take()) {
        text += shown(item);
        EXPECT_GE(item.createdAt, before);
        before = item.createdAt;
      }
    }
  }
  return text;
}

}  // namespace

void expectTheItemsOfARun(const SessionsUnderTest& agent, const SessionFixture& fixture) {
  const TemporaryFolder folder;
  writeSessions(folder.path(), fixture.files);
  const SessionListing listing = agent.list(folder.path());
  std::vector<std::string> unknown;
  EXPECT_EQ(transcripts(agent, listing, fixture.isOver, unknown), fixture.transcript);
  EXPECT_EQ(unknown, fixture.unknown);
  std::vector<std::string> reasons;
  for (const SkippedSession& skipped : listing.skipped) reasons.push_back(skipped.reason);
  EXPECT_EQ(reasons, fixture.skipped);
}

}  // namespace ravant::test
