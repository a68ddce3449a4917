#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <map>

#include "desktop/composer/choice_list.hpp"
#include "desktop/composer/prompt_options.hpp"
#include "desktop/loop/rereading.hpp"
#include "desktop/loop/view_model.hpp"

namespace ravant::desktop {

/// What the prompt is sent with, as the pickers show it, and what was chosen in them: for each conversation, and for
/// new ones.
class PromptPickers : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("belongs to the composer")
  Q_PROPERTY(QString agentName READ agentName NOTIFY changed)
  Q_PROPERTY(QString modelName READ modelName NOTIFY changed)
  Q_PROPERTY(QString effortName READ effortName NOTIFY changed)
  /// Whether one was chosen, and not left to the model.
  Q_PROPERTY(bool hasEffort READ hasEffort NOTIFY changed)
  Q_PROPERTY(bool canChooseAgent READ canChooseAgent NOTIFY changed)
  Q_PROPERTY(bool canChooseModel READ canChooseModel NOTIFY changed)
  Q_PROPERTY(bool canChooseEffort READ canChooseEffort NOTIFY changed)
  Q_PROPERTY(ravant::desktop::ChoiceList* agents READ agents CONSTANT)
  Q_PROPERTY(ravant::desktop::ChoiceList* models READ models CONSTANT)
  Q_PROPERTY(ravant::desktop::ChoiceList* efforts READ efforts CONSTANT)

 public:
  /// `application` outlives this.
  explicit PromptPickers(Application& application);

  /// From here on, the choices are those for the conversation; without one, for new ones.
  void open(std::optional<ConversationId> conversation) { conversation_ = conversation; }
  /// What is chosen there.
  const WantedOptions& wanted();
  /// As if it had been chosen in the conversation.
  void remember(ConversationId conversation, WantedOptions wanted) {
    ofConversations_[conversation] = std::move(wanted);
  }
  /// Shows what the choices come to. `foreignAgent` is of a conversation whose agent is not there.
  void show(PromptOptions options, std::optional<AgentType> foreignAgent);
  const PromptOptions& options() const { return options_; }

  QString agentName() const;
  QString modelName() const;
  QString effortName() const;
  bool hasEffort() const { return options_.effort.has_value(); }
  bool canChooseAgent() const { return !conversation_ && options_.agents.size() > 1; }
  bool canChooseModel() const { return options_.agent.has_value(); }
  bool canChooseEffort() const;
  ChoiceList* agents() { return &agents_; }
  ChoiceList* models() { return &models_; }
  ChoiceList* efforts() { return &efforts_; }

  Q_INVOKABLE void chooseAgent(int row);
  Q_INVOKABLE void chooseModel(int row);
  Q_INVOKABLE void chooseEffort(int row);

 Q_SIGNALS:
  void changed();
  /// `wanted` is another: what it comes to is to be read and shown.
  void chosen();

 private:
  WantedOptions& choice() { return conversation_ ? ofConversations_[*conversation_] : ofNew_; }
  void fillLists();
  void choose();
  awaitable<void> keepChoices();

  Application& application_;
  std::optional<ConversationId> conversation_;
  PromptOptions options_;
  std::optional<AgentType> foreignAgent_;
  ChoiceList agents_;
  ChoiceList models_;
  ChoiceList efforts_;
  std::map<ConversationId, WantedOptions> ofConversations_;
  WantedOptions ofNew_;
  Rereading keeping_{*this, [this] { return keepChoices(); }};
};

}  // namespace ravant::desktop
