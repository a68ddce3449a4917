#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <memory>
#include <string>
#include <vector>

#include "core/store/conversation_item_model_actor.hpp"
#include "desktop/conversation/transcript_window.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {

/// A conversation, and what writes to it as an agent does.
class TranscriptWindowTest : public testing::Test {
 protected:
  TranscriptWindowTest()
      : conversation_(workbench_.addConversation(workbench_.addProject("weather"))),
        writer_(ConversationItemModelActor::make(workbench_.application().modelContainer())) {}

  void prompt(std::string text) { await(writer_->appendUserPrompt(conversation_, std::move(text), AgentType::claude)); }
  void message(std::string text) { await(writer_->appendAgentMessage(conversation_, "{}", std::move(text), {}, {})); }
  void call(std::string id, std::string command) {
    await(writer_->appendToolInvocation(conversation_, "{}", "", "Bash", std::move(id),
                                        R"({"command":")" + command + R"("})", {}, ToolInvocationStatus::running));
  }
  void complete(std::string id, std::string output) {
    await(writer_->completeToolInvocation(conversation_, std::move(id), std::move(output), ToolOutcome::completed));
  }
  void grow(std::string text, bool isNew = false) {
    const auto& feed = workbench_.application().modelContainer()->changeFeed();
    await(feed->announceGrowth(conversation_, {.text = std::move(text), .isNewMessage = isNew}));
  }
  /// All of it was looked at.
  void see() {
    const auto last = await(workbench_.application().transcripts().last(conversation_));
    await(workbench_.application().conversations().markSeen(conversation_, last->id));
  }
  void settle(const desktop::TranscriptWindow& window) {
    workbench_.settle();
    QCoreApplication::processEvents();
    ASSERT_TRUE(until([&] { return window.isSettled() && window.isOpened(); }));
  }
  void open(desktop::TranscriptWindow& window) {
    window.setConversation(desktop::textOf(conversation_));
    settle(window);
  }

  Workbench workbench_;
  ConversationId conversation_;
  std::shared_ptr<ConversationItemModelActor> writer_;
};

inline std::vector<desktop::RowKind> kindsOf(const desktop::TranscriptWindow& window) {
  std::vector<desktop::RowKind> kinds;
  for (const desktop::TranscriptRow& row : window.rows()) kinds.push_back(row.kind);
  return kinds;
}

}  // namespace ravant::test
