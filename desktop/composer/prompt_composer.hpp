#pragma once

#include <QtQml/qqmlregistration.h>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QUrl>
#include <memory>

#include "desktop/composer/agent_troubles.hpp"
#include "desktop/composer/attachments.hpp"
#include "desktop/composer/context_use.hpp"
#include "desktop/composer/draft_keeper.hpp"
#include "desktop/composer/prompt_history.hpp"
#include "desktop/composer/prompt_pickers.hpp"
#include "desktop/composer/prompt_sender.hpp"
#include "desktop/composer/queued_prompts.hpp"
#include "desktop/loop/rereading.hpp"
#include "desktop/program/desktop_window.hpp"
#include "desktop/program/sentence.hpp"

namespace ravant::desktop {

/// The prompt that is being written for the shown conversation, or for a new one of a project, and what it is sent
/// with.
class PromptComposer : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  /// The field writes what is typed; `textReplaced` says that it is to show something else.
  Q_PROPERTY(QString text READ text WRITE setText NOTIFY textReplaced)
  Q_PROPERTY(QList<QString> attachments READ attachments NOTIFY changed)
  /// What goes with the words without being shown among them, in a few words; empty where there is none.
  Q_PROPERTY(QString longText READ longText NOTIFY changed)
  Q_PROPERTY(QUrl projectFolder READ projectFolder NOTIFY changed)
  Q_PROPERTY(QString placeholder READ placeholder NOTIFY placeholderChanged)
  /// Why the last prompt was not sent; empty where there is nothing to say.
  Q_PROPERTY(QString refusal READ refusal NOTIFY changed)
  Q_PROPERTY(bool canSend READ canSend NOTIFY changed)
  /// Whether a prompt runs here, or was just sent: it can be stopped.
  Q_PROPERTY(bool isUnderWay READ isUnderWay NOTIFY changed)
  /// Whether prompts wait that nothing sends by itself.
  Q_PROPERTY(bool isQueueHeld READ isQueueHeld NOTIFY changed)
  /// Why the run cannot be stopped from here; empty where it can.
  Q_PROPERTY(QString stopObstacle READ stopObstacle NOTIFY changed)
  /// How much of the agent's context is taken; empty where that is not known.
  Q_PROPERTY(QString contextWords READ contextWords NOTIFY changed)
  Q_PROPERTY(QString contextFigures READ contextFigures NOTIFY changed)
  Q_PROPERTY(double contextShare READ contextShare NOTIFY changed)
  Q_PROPERTY(bool isContextNearlyFull READ isContextNearlyFull NOTIFY changed)
  Q_PROPERTY(ravant::desktop::PromptPickers* pickers READ pickers CONSTANT)
  Q_PROPERTY(ravant::desktop::AgentTroubles* troubles READ troubles CONSTANT)
  Q_PROPERTY(ravant::desktop::QueuedPrompts* queue READ queue CONSTANT)

 public:
  explicit PromptComposer(QObject* parent = nullptr);
  ~PromptComposer() override;

  QString text() const { return QString::fromStdString(prompt_.words); }
  void setText(const QString& text);
  QStringList attachments() const;
  QString longText() const;
  QUrl projectFolder() const { return QUrl::fromLocalFile(QString::fromStdString(project_.path)); }
  QString placeholder() const;
  QString refusal() const { return sentence(QString::fromStdString(refusal_)); }
  bool canSend() const;
  bool isRunning() const { return summary_ && summary_->run; }
  bool isUnderWay() const { return isRunning() || isStarting_; }
  bool isQueueHeld() const { return queue_.count() > 0 && readPlace_ == place_ && !isBusy(); }
  QString stopObstacle() const;
  QString contextWords() const { return context().words; }
  QString contextFigures() const { return context().figures; }
  double contextShare() const { return context().share; }
  bool isContextNearlyFull() const { return context().isNearlyFull(); }
  PromptPickers* pickers() { return &pickers_; }
  AgentTroubles* troubles() { return &troubles_; }
  QueuedPrompts* queue() { return &queue_; }

  /// Sends the prompt, or puts it behind the others where one runs in the conversation.
  Q_INVOKABLE void send();
  /// The same, but in front of the others.
  Q_INVOKABLE void sendNow();
  /// A prompt that has not begun to run comes back into the field.
  Q_INVOKABLE void stop();

  /// A key that is pressed in the field: sends, walks the earlier prompts from an empty field, or pastes files and long
  /// texts as attachments. False where it is the field's.
  Q_INVOKABLE bool takeKey(int key, int modifiers);
  /// What is no file is left out.
  Q_INVOKABLE void attach(const QList<QUrl>& files);
  Q_INVOKABLE void detach(int index);
  /// Shows the long text behind the words, however slow the field becomes.
  Q_INVOKABLE void showLongText();
  /// Can be undone for as long as the notice stays.
  Q_INVOKABLE void removeLongText();

 Q_SIGNALS:
  void textReplaced();
  /// A prompt goes to the agent, not into the queue.
  void sent();
  void changed();
  void placeholderChanged();
  /// The field is to have the keyboard: the page of a new conversation is shown, or a prompt came back.
  void fieldWanted();

 private:
  bool isNew() const { return place_ && std::holds_alternative<ProjectId>(*place_); }
  std::optional<ConversationId> conversation() const;
  bool isBusy() const;
  ContextUse context() const { return summary_ ? contextUse(summary_->conversation) : ContextUse(); }
  void followStore();
  void followSelection();
  awaitable<void> read();
  bool isRead() const { return place_ && readPlace_ == place_; }
  /// Whether the conversation that is to begin here is on its way.
  bool isBeingMade() const { return isNew() && sender_->isUnderWay(*place_); }
  bool hasText() const;
  void show(ComposedPrompt prompt);
  void edited();
  void putInFront(const std::string& text);
  void takeBack(ReturnedPrompt& returned);
  void openBegun(ProjectId project, ConversationId conversation);
  void send(PromptSender::QueueEnd end);
  void sendIfWished();
  /// What the field holds stays there. Nothing while a prompt is under way or runs.
  void sendWords(ConversationId conversation, const QString& words);
  void sendQueued(ConversationId conversation);
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
  PromptPickers pickers_;
  AgentTroubles troubles_;

  std::optional<DraftPlace> place_;
  ComposedPrompt prompt_;
  std::optional<ComposedPrompt> walked_;                     ///< the earlier prompt that the field shows
  std::optional<std::vector<QueuedPromptId>> queuedBehind_;  ///< as that of the one that the field got back
  std::string refusal_;
  std::optional<ConversationSummary> summary_;
  Project project_;
  std::optional<DraftPlace> readPlace_;         ///< what these two and the pickers are of
  bool isStarting_ = false;                     ///< sent from here, and not yet read as a run
  std::optional<PromptSender::QueueEnd> wish_;  ///< to be sent once it is known whether it can be
  Rereading rereading_{*this, [this] { return read(); }};
};

}  // namespace ravant::desktop
