#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/composer/prompt_composer.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {

/// Runs while the project has a file `hold`.
inline constexpr std::string_view kHeldAgent = R"sh(#!/bin/sh
while [ -e hold ]; do sleep 0.02; done
echo '{"type":"result","subtype":"success","is_error":false,"result":"Done.","session_id":"5f2c7f1e-8a35-4d0e-9b5c-2f6f6f3f7a10"}'
)sh";

class Composer : public testing::Test {
 protected:
  Composer() {
    std::filesystem::permissions(workbench.folder().write("agent", kHeldAgent), std::filesystem::perms::owner_all);
    project = workbench.addProject("weather");
    agent =
        await(application.agents().createAgent(AgentType::claude, workbench.folder() / "agent",
                                               {{.slug = "sonnet", .displayName = "Sonnet", .efforts = {"low", "high"}},
                                                {.slug = "opus", .displayName = "Opus"}}));
    composer = std::make_unique<desktop::PromptComposer>();
  }

  void startNew() {
    workbench.window().startNewConversation(desktop::textOf(project.id));
    EXPECT_TRUE(until([&] { return composer->pickers()->agentName() == QStringLiteral("Claude Code"); }));
  }
  /// Shows it, when what it is sent with is known.
  void open(ConversationId conversation) {
    workbench.window().openConversation(desktop::textOf(conversation), desktop::textOf(project.id));
    await(application.conversations().conversation(conversation));
    workbench.settle();
  }
  ConversationId newConversation() {
    return await(application.conversations().createConversation(project.id, agent.id)).value();
  }
  void type(const char* text) { composer->setText(QString::fromUtf8(text)); }
  void sendWhenReady(const char* text) {
    type(text);
    EXPECT_TRUE(until([&] { return composer->canSend(); }));
    composer->send();
  }
  ConversationId shown() { return workbench.window().shownConversation().value(); }
  std::vector<std::string> told(ConversationId conversation) {
    std::vector<std::string> lines;
    for (const ConversationItem& item : await(application.transcripts().items(conversation, std::nullopt))) {
      if (const auto* prompt = std::get_if<UserMessage>(&item.detail)) {
        lines.push_back(item.text + " " + std::string(prompt->endReason ? rawValue(*prompt->endReason) : "runs"));
      }
    }
    return lines;
  }
  std::optional<std::string> draft(DraftPlace place) {
    return await(DraftStore::make(application.modelContainer())->draft(place));
  }
  bool untilDraft(DraftPlace place, std::optional<std::string> text) {
    return until([&] { return draft(place) == text; });
  }
  bool untilLast(ConversationId conversation, const std::string& line) {
    return until([&] {
      const auto lines = told(conversation);
      return !lines.empty() && lines.back() == line;
    });
  }
  std::vector<std::string> queued() {
    std::vector<std::string> texts;
    for (int row = 0; row < composer->queue()->count(); ++row) {
      texts.push_back(composer->queue()->data(composer->queue()->index(row), Qt::DisplayRole).toString().toStdString());
    }
    return texts;
  }
  std::string text() { return composer->text().toStdString(); }
  std::string refusal() { return composer->refusal().toStdString(); }
  void hold() { workbench.folder().write("weather/hold", ""); }
  void letGo() { std::filesystem::remove(workbench.folder() / "weather/hold"); }

  Workbench workbench;
  Application& application = workbench.application();
  Project project;
  Agent agent;
  std::unique_ptr<desktop::PromptComposer> composer;
};

}  // namespace ravant::test
