#pragma once

#include <QObject>
#include <QString>
#include <QTimer>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "core/conversation_state.hpp"
#include "desktop/loop/view_model.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// What the lists of the window need to know of a conversation.
struct ListedConversation {
  ConversationId id;
  ProjectId project;
  QString title;  ///< in one line
  ConversationState state = ConversationState::quiet;
  std::int64_t unread = 0;  ///< items of one that is unread; 0 in every other state
  bool isRunning = false;   ///< also where a more urgent state is shown
  bool isRunElsewhere = false;
  bool archived = false;
  Timestamp lastActivityAt;
  Timestamp lastPromptAt;

  bool operator==(const ListedConversation&) const = default;
};

/// The projects and conversations as the window's lists show them, kept as the store has them, whichever process
/// writes: all are read once, and later what is announced as changed.
///
/// One is shared by all lists of a window. On the interface thread.
class ConversationRoster : public QObject, public ViewModel {
  Q_OBJECT

 public:
  using Listed = std::shared_ptr<const ListedConversation>;

  /// The window's, which lives as long as somebody has it.
  static std::shared_ptr<ConversationRoster> shared();
  explicit ConversationRoster(DesktopWindow& window);

  /// False until the first reading is over.
  bool isRead() const { return isRead_; }
  /// In the order of the sidebar, without those that are hidden.
  std::vector<Project> projects() const;
  const Project* project(ProjectId id) const;
  /// Those that run first, by their last prompts; then by latest activity. Archived ones too, without those that are
  /// hidden.
  std::vector<Listed> conversations() const;
  /// Null where it is unknown or hidden.
  Listed conversation(ConversationId id) const;
  /// How many run, in this process and others.
  int running() const;

  /// Leaves it out until it is shown again, whatever the store says: for what is about to be removed. Where the window
  /// comes to show it nevertheless, the notice by which that can be undone is.
  void hide(ProjectId project, int notice);
  void hide(ConversationId conversation, int notice);
  /// As it stood, and soon as the store has it.
  void show(ProjectId project);
  void show(ConversationId conversation);

  /// Shown at once, and stored.
  void setExpanded(ProjectId project, bool expanded);

  /// Looks again whether what runs in other processes still does: a process that is killed announces nothing.
  void lookAtRunsElsewhere();

 Q_SIGNALS:
  void changed();
  /// A prompt of the project has ended, in whichever process.
  void runEnded(ravant::ProjectId project);

 private:
  void take(const ChangeBatch& batch);
  void readSoon();
  awaitable<void> read();
  awaitable<void> readAll();
  awaitable<void> readProjects();
  awaitable<void> readConversations(std::set<ConversationId> ids);
  awaitable<void> storeExpanded(ProjectId project, bool expanded);
  void put(const ConversationSummary& summary);
  void remove(ConversationId id);
  void keepWhatIsShown();
  bool isHidden(const ListedConversation& conversation) const;

  DesktopWindow& window_;
  std::vector<Project> projects_;
  std::vector<Listed> conversations_;  ///< as `conversations` has them
  std::map<ConversationId, Listed> byId_;
  std::map<ProjectId, bool> folds_;  ///< not stored yet

  bool isRead_ = false;
  bool isReading_ = false;
  bool needsAll_ = true;
  bool needsProjects_ = false;
  std::set<ConversationId> changed_;  ///< to be read
  std::set<ConversationId> removed_;  ///< while a reading is under way that may still find them
  QTimer pause_;
  QTimer runsElsewhere_;  ///< while there are some
};

}  // namespace ravant::desktop
