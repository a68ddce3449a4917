#pragma once

#include <QtQml/qqmlregistration.h>
#include <QHash>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QUrl>
#include <QVariant>
#include <map>
#include <memory>
#include <vector>

#include "app/application.hpp"
#include "core/window/keybindings.hpp"
#include "core/window/window_state.hpp"
#include "desktop/loop/view_model.hpp"
#include "desktop/program/command_handler.hpp"
#include "desktop/program/notices.hpp"
#include "desktop/program/open_request.hpp"
#include "desktop/program/orderly_end.hpp"
#include "desktop/program/store_changes.hpp"

class QJSEngine;
class QQmlEngine;

namespace ravant::desktop {

/// The window as its parts and QML see it (`Workbench`): what it shows, its commands and their keys, its notices. The
/// way by which features reach each other, the core and the store's changes.
///
/// There is one in a process. On the interface thread.
class DesktopWindow final : public QObject, public ViewModel, private WindowState::Face {
  Q_OBJECT
  QML_NAMED_ELEMENT(Workbench)
  QML_SINGLETON
  /// The ids are empty where nothing of the kind is selected.
  Q_PROPERTY(ContentKind contentKind READ contentKind NOTIFY selectionChanged)
  Q_PROPERTY(DetailKind detailKind READ detailKind NOTIFY selectionChanged)
  Q_PROPERTY(QString contentProject READ contentProject NOTIFY selectionChanged)
  Q_PROPERTY(QString conversation READ conversation NOTIFY selectionChanged)
  Q_PROPERTY(QString newConversationProject READ newConversationProject NOTIFY selectionChanged)
  /// Changes whenever a command's ability to run may have.
  Q_PROPERTY(int commandsRevision READ commandsRevision NOTIFY commandsRevisionChanged)
  /// Changes with the keys of the commands.
  Q_PROPERTY(int keysRevision READ keysRevision NOTIFY keysRevisionChanged)
  Q_PROPERTY(QStringList commands READ commands CONSTANT)
  Q_PROPERTY(ravant::desktop::Notices* notices READ notices CONSTANT)
  Q_PROPERTY(ravant::desktop::OrderlyEnd* end READ end CONSTANT)
  /// Whether the window is the active one on the desktop.
  Q_PROPERTY(bool active READ isActive WRITE setActive NOTIFY activeChanged)
  /// Whether the last lines of what is shown can be seen.
  Q_PROPERTY(bool endVisible READ isEndVisible WRITE setEndVisible NOTIFY endVisibleChanged)
  /// Whether the window waits for the message that the program was started for, and is not shown before.
  Q_PROPERTY(bool awaited READ isAwaited NOTIFY awaitedChanged)

 public:
  enum class ContentKind { None, Latest, Project, Other };
  Q_ENUM(ContentKind)
  enum class DetailKind { None, Conversation, NewConversation, Other };
  Q_ENUM(DetailKind)

  /// Both outlive this.
  DesktopWindow(Application& application, StoreChanges& changes);
  ~DesktopWindow() override;

  static DesktopWindow& instance();
  /// Null where there is none, or none any more.
  static DesktopWindow* present();
  /// For the QML engine.
  static DesktopWindow* create(QQmlEngine* engine, QJSEngine* scripts);

  /// What is about to be removed, and the notices by which that can be undone: nothing leads there.
  struct Leaving {
    std::map<ConversationId, int> conversations = {};
    std::map<ProjectId, int> projects = {};

    bool isEmpty() const { return conversations.empty() && projects.empty(); }
    bool has(ConversationId conversation, ProjectId of) const {
      return conversations.contains(conversation) || projects.contains(of);
    }
  };
  Leaving& leaving() { return leaving_; }

  Application& application() { return application_; }
  StoreChanges& changes() { return changes_; }
  WindowState& state() { return *state_; }
  const std::shared_ptr<WindowState>& sharedState() { return state_; }
  Notices* notices() { return &notices_; }
  OrderlyEnd* end() { return &end_; }

  /// Shows what was shown last.
  void restore();
  /// Stores what is shown; nothing is done for commands any more.
  awaitable<void> close();

  ContentKind contentKind() const;
  DetailKind detailKind() const;
  QString contentProject() const;
  QString conversation() const;
  QString newConversationProject() const;
  /// Nothing where no conversation is shown.
  std::optional<ConversationId> shownConversation() const;

  bool isActive() const { return isActive_; }
  void setActive(bool active);
  bool isEndVisible() const { return isEndVisible_; }
  void setEndVisible(bool visible);
  /// Whether the user sees how the conversation goes on.
  bool isLookingAt(ConversationId conversation) const;

  bool isAwaited() const { return isAwaited_; }
  /// Before the window is made: it waits for the first `open`.
  void awaitRequest() { isAwaited_ = true; }
  /// Brings the window to the front, from the background too, and shows what is wanted by and by.
  void open(const OpenRequest& request);
  /// Shows the conversation and has its transcript go to where in the item the words are that were searched for.
  void openItem(ConversationId conversation, ProjectId project, ConversationItemId item, const QString& words);
  /// Has the words sent in the conversation that is shown, as if they had been written below it.
  void sendPrompt(ConversationId conversation, const QString& words);
  /// The same with the first prompt of its queue.
  void sendQueued(ConversationId conversation) { Q_EMIT queuedPromptRequested(conversation); }
  /// Searches all conversations for the words.
  Q_INVOKABLE void searchFor(const QString& words);

  /// Gives the keyboard to the prompt of what is shown, where there is one.
  void focusPrompt() { perform(WindowCommand::focusInput); }

  /// The keyboard is in the prompt behind these two.
  void openConversation(const QString& conversation, const QString& project);
  Q_INVOKABLE void startNewConversation(const QString& project);
  Q_INVOKABLE void showLatest();
  void showProject(const QString& project);

  /// The time by which ages are told, one for all that tell them: it goes on by minutes and when the window is
  /// activated.
  Timestamp presentTime() const { return presentTime_; }

  int commandsRevision() const { return commandsRevision_; }
  int keysRevision() const { return keysRevision_; }
  QStringList commands() const;
  Q_INVOKABLE void run(const QString& command);
  /// The last argument is `commandsRevision`, for a binding to follow it; of the next two, `keysRevision`.
  Q_INVOKABLE bool canRun(const QString& command, int revision) const;
  /// As they are written for people.
  Q_INVOKABLE QString keys(const QString& command, int revision) const;
  /// As `Shortcut` reads them.
  Q_INVOKABLE QVariantList sequences(const QString& command, int) const { return sequences_.value(command); }

  void runCommand(WindowCommand command);
  /// Reads the keys anew from the settings, as of their last load.
  void loadKeybindings();
  const Keybindings& keybindings() const { return keybindings_; }

 public Q_SLOTS:
  void commandsChanged();
  /// Makes a project of each and shows the page for a new conversation in the last one. A folder that is a project
  /// already is shown likewise; what becomes none is told with the reason.
  void addProjectFolders(const QList<QUrl>& folders);
  /// What was dropped anywhere on the window: folders become projects, files go to who takes them.
  void takeDropped(const QList<QUrl>& files);

 Q_SIGNALS:
  void selectionChanged();
  /// Behind `selectionChanged`, when the parts of the window show it.
  void selectionShown();
  /// For the list that is selected, which may have been selected before and not be seen.
  void listRequested();
  /// Of this one, wherever the keyboard is.
  void deletionRequested(const QString& conversation);
  void commandsRevisionChanged();
  void keysRevisionChanged();
  void activeChanged();
  void endVisibleChanged();
  void presentTimeChanged();
  /// The settings were read anew.
  void settingsChanged();
  void awaitedChanged();
  void raised(const QString& activationToken);
  /// Onto the window, for the prompt that is written in it.
  void filesDropped(const QList<QUrl>& files);
  /// Of the conversation that is shown, behind `selectionChanged`. `words` are what was searched for, as typed: the
  /// last one may be a beginning.
  void itemRequested(ravant::ConversationItemId item, const QString& words);
  void promptRequested(ravant::ConversationId conversation, const QString& words);
  void queuedPromptRequested(ravant::ConversationId conversation);
  void searchRequested(const QString& words);

 private:
  friend class CommandHandler;
  void addHandler(CommandHandler* handler) { handlers_.push_back(handler); }
  void removeHandler(CommandHandler* handler) { std::erase(handlers_, handler); }
  CommandHandler* handlerOf(WindowCommand command) const;
  std::optional<KeySequence> keysOf(const QString& command) const;

  awaitable<void> show(OpenRequest request);
  awaitable<void> addAll(QList<QUrl> folders);
  awaitable<void> sort(QList<QUrl> dropped);
  awaitable<void> run(WindowCommand command);

  void tellTime();
  void windowChanged() override;
  void perform(WindowCommand command) override;
  bool canPerform(WindowCommand command) const override;
  bool isLeaving(ProjectId project) const override { return leaving_.projects.contains(project); }

  Application& application_;
  StoreChanges& changes_;
  std::shared_ptr<WindowState> state_;
  WindowState::Selection shown_;  ///< as it was told last
  Leaving leaving_;
  Notices notices_;
  OrderlyEnd end_;
  Keybindings keybindings_;
  std::vector<CommandHandler*> handlers_;
  QHash<QString, QVariantList> sequences_;
  int commandsRevision_ = 0;
  int keysRevision_ = 0;
  Timestamp presentTime_;
  QTimer minute_;
  bool isActive_ = false;
  bool isEndVisible_ = true;
  bool isAwaited_ = false;
};

/// The id that `text` is; the one that names nothing where it is none.
template <class EntityId>
EntityId idOf(const QString& text) {
  const auto uuid = Uuid::parse(text.toStdString());
  return uuid ? EntityId(*uuid) : EntityId();
}

template <class EntityId>
QString textOf(const EntityId& id) {
  return QString::fromStdString(id.text());
}

}  // namespace ravant::desktop
