#pragma once

#include <QtQml/qqmlregistration.h>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QUrl>
#include <map>
#include <memory>

#include "desktop/composer/attachments.hpp"
#include "desktop/composer/choice_list.hpp"
#include "desktop/composer/draft_keeper.hpp"
#include "desktop/composer/prompt_history.hpp"
#include "desktop/composer/prompt_options.hpp"
#include "desktop/composer/prompt_sender.hpp"
#include "desktop/composer/queued_prompts.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// The prompt that is being written for the shown conversation, or for a new one of a project, and what it is sent
/// with.
class PromptComposer : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  /// The field writes what is typed; `textReplaced` says that it is to show something else.
  Q_PROPERTY(QString text READ text WRITE setText NOTIFY textReplaced)
  Q_PROPERTY(QList<QString> attachments READ attachments NOTIFY changed)
  Q_PROPERTY(QUrl projectFolder READ projectFolder NOTIFY changed)
  Q_PROPERTY(QString placeholder READ placeholder NOTIFY changed)
  /// Why nothing can be sent, or the last prompt was not; empty where there is nothing to say.
  Q_PROPERTY(QString refusal READ refusal NOTIFY changed)
  Q_PROPERTY(bool canSend READ canSend NOTIFY changed)
  Q_PROPERTY(bool isRunning READ isRunning NOTIFY changed)
  /// Whether prompts wait that nothing sends by itself.
  Q_PROPERTY(bool isQueueHeld READ isQueueHeld NOTIFY changed)
  /// Why the run cannot be stopped from here; empty where it can.
  Q_PROPERTY(QString stopObstacle READ stopObstacle NOTIFY changed)
  Q_PROPERTY(QString agentName READ agentName NOTIFY changed)
  Q_PROPERTY(QString modelName READ modelName NOTIFY changed)
  Q_PROPERTY(QString effortName READ effortName NOTIFY changed)
  /// Whether one was chosen, and not left to the model.
  Q_PROPERTY(bool hasEffort READ hasEffort NOTIFY changed)
  Q_PROPERTY(bool canChooseAgent READ canChooseAgent NOTIFY changed)
  Q_PROPERTY(bool canChooseModel READ canChooseModel NOTIFY changed)
  Q_PROPERTY(bool canChooseEffort READ canChooseEffort NOTIFY changed)
  /// How much of the agent's context is taken; empty where that is not known.
  Q_PROPERTY(QString contextWords READ contextWords NOTIFY changed)
  Q_PROPERTY(double contextShare READ contextShare NOTIFY changed)
  Q_PROPERTY(bool isContextNearlyFull READ isContextNearlyFull NOTIFY changed)
  Q_PROPERTY(ravant::desktop::ChoiceList* agents READ agents CONSTANT)
  Q_PROPERTY(ravant::desktop::ChoiceList* models READ models CONSTANT)
  Q_PROPERTY(ravant::desktop::ChoiceList* efforts READ efforts CONSTANT)
  Q_PROPERTY(ravant::desktop::QueuedPrompts* queue READ queue CONSTANT)

 public:
  explicit PromptComposer(QObject* parent = nullptr);

  QString text() const { return QString::fromStdString(prompt_.words); }
  void setText(const QString& text);
  QStringList attachments() const;
  QUrl projectFolder() const { return QUrl::fromLocalFile(QString::fromStdString(project_.path)); }
  QString placeholder() const;
  QString refusal() const;
  bool canSend() const;
  bool isRunning() const { return summary_ && summary_->run; }
  bool isQueueHeld() const { return queue_.count() > 0 && readPlace_ == place_ && !isBusy(); }
  QString stopObstacle() const;
  QString agentName() const;
  QString modelName() const;
  QString effortName() const;
  bool hasEffort() const { return options_.effort.has_value(); }
  bool canChooseAgent() const { return isNew() && options_.agents.size() > 1; }
  bool canChooseModel() const { return options_.agent.has_value(); }
  bool canChooseEffort() const;
  QString contextWords() const;
  double contextShare() const;
  bool isContextNearlyFull() const;
  ChoiceList* agents() { return &agents_; }
  ChoiceList* models() { return &models_; }
  ChoiceList* efforts() { return &efforts_; }
  QueuedPrompts* queue() { return &queue_; }

  /// Sends the prompt, or puts it behind the others where one runs in the conversation.
  Q_INVOKABLE void send();
  /// The same, but in front of the others.
  Q_INVOKABLE void sendNow();
  Q_INVOKABLE void stop();

  /// A key that is pressed in the field: sends, walks the earlier prompts from an empty field, or pastes files as
  /// attachments. False where it is the field's.
  Q_INVOKABLE bool takeKey(int key, int modifiers);
  /// False where none of them is a file.
  Q_INVOKABLE bool attach(const QList<QUrl>& files);
  Q_INVOKABLE void detach(int index);

  Q_INVOKABLE void chooseAgent(int row);
  Q_INVOKABLE void chooseModel(int row);
  Q_INVOKABLE void chooseEffort(int row);

 Q_SIGNALS:
  void textReplaced();
  void changed();
  /// The page of a new conversation is shown: the field is to have the keyboard.
  void newConversationOpened();

 private:
  bool isNew() const { return place_ && std::holds_alternative<ProjectId>(*place_); }
  std::optional<ConversationId> conversation() const;
  bool isBusy() const;
  WantedOptions& wanted();
  void followSelection();
  void refresh();
  awaitable<void> readUntilCurrent();
  awaitable<void> read();
  void fillLists();
  void show(ComposedPrompt prompt);
  void typed();
  void putInFront(const std::string& text);
  void takeBack(RefusedPrompt& refused);
  void openBegun(ProjectId project, ConversationId conversation);
  void send(PromptSender::QueueEnd end);
  /// What the field holds stays there. Nothing while a prompt is under way or runs.
  void sendWords(ConversationId conversation, const QString& words);
  bool takeReturn(int modifiers);
  bool showEarlier();
  bool showLater();
  bool takePasted();

  DesktopWindow& window_;
  Application& application_;
  std::shared_ptr<PromptSender> sender_;
  DraftKeeper draft_;
  PromptHistory history_;
  QueuedPrompts queue_;
  ChoiceList agents_;
  ChoiceList models_;
  ChoiceList efforts_;

  std::optional<DraftPlace> place_;
  ComposedPrompt prompt_;
  std::optional<ComposedPrompt> walked_;  ///< the earlier prompt that the field shows
  std::string refusal_;
  std::optional<ConversationSummary> summary_;
  Project project_;
  PromptOptions options_;
  std::optional<DraftPlace> readPlace_;  ///< what the three above are of
  bool isReading_ = false;
  bool isStale_ = false;
  std::map<ConversationId, WantedOptions> wanted_;
  WantedOptions wantedOfNew_;
};

}  // namespace ravant::desktop
