#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/store/change_feed.hpp"
#include "core/window/window_command.hpp"
#include "core/window/window_navigation_history.hpp"
#include "core/window/window_selection_store.hpp"
#include "platform/async/signal.hpp"

namespace ravant {

/// What one window shows and showed before, and what its commands do.
///
/// Belongs to the interface executor, on which every member is called. Owned by a `std::shared_ptr`. A change of the
/// selection is stored by and by, from `restoreLastSelection` on. A store that cannot be read or written is logged and
/// changes nothing for the window, but for what `run` says.
class WindowState : public std::enable_shared_from_this<WindowState> {
 public:
  using Selection = WindowNavigationHistory::Snapshot;

  /// What only the window itself can do. Called on the interface executor until `close`.
  class Face {
   public:
    virtual ~Face() = default;
    /// The selection, the ways back and forward, or the git panel.
    virtual void windowChanged() = 0;
    /// Any command but those that change the selection or the git panel, such as to focus the input, or to choose the
    /// folder of a new project. To show all conversations too, behind the change: they may be selected and not seen.
    virtual void perform(WindowCommand command) = 0;
    /// Whether `perform` would do something; of the git panel, whether there is one to show.
    virtual bool canPerform(WindowCommand command) const = 0;
    /// Whether the project is about to be removed, so that nothing is to begin in it.
    virtual bool isLeaving(ProjectId) const { return false; }
  };

  /// `window` is the name under which the selection is kept. The face outlives this, or the call of `close`.
  WindowState(std::string window, any_io_executor interface, Face& face);

  const Selection& selection() const { return history_.current(); }
  GitChangesPanel gitChanges() const { return gitChanges_; }

  /// Shows what the window showed last and still exists, and keeps what it shows from now on. A user who has selected
  /// something meanwhile is left there. Whatever is wrong with the store, the window shows something.
  awaitable<void> restoreLastSelection(std::shared_ptr<ModelContainer> in);
  /// Returns when the selection is stored, or a last try has failed; the face is not called any more.
  awaitable<void> close();

  void setSelection(std::optional<ContentSelection> content, std::optional<DetailSelection> detail);
  void goBackInHistory();
  void goForwardInHistory();

  /// Shows `selecting`, or nothing, in place of the conversation where it is shown, and never goes back to it.
  void conversationWasArchived(ConversationId conversation, std::optional<ConversationId> selecting);
  /// Leaves the project and its conversations, which are gone.
  awaitable<void> projectWasRemoved(ProjectId project);
  /// Leaves whatever is gone, in the history too.
  awaitable<void> leaveWhatIsGone();
  /// What the store announced: leaves by and by what was removed.
  void take(const ChangeBatch& batch);

  /// Beside the list that is shown, where that is one of all conversations or of its project.
  void openConversation(ConversationId conversation, ProjectId inProject);
  void startNewConversation(ProjectId inProject);
  void openPinnedItem(PinnedItemId item);
  void openIntegration(GithubIntegrationId integration);
  void openIntegration(LinearIntegrationId integration);
  /// Beside the list that is shown, where that is a pinned view or one of its integration.
  void openLinearIssue(LinearIssueId issue, LinearIntegrationId of);
  void openGithubPull(GithubPullRequestId pull, GithubIntegrationId of);

  std::string_view title(WindowCommand command) const { return commandTitle(command, gitChanges_); }
  bool canRun(WindowCommand command) const;
  /// Nothing for a command that cannot run. Throws `StoreError` where the project of a new conversation cannot be read.
  awaitable<void> run(WindowCommand command);

 private:
  enum class Attempt { over, heldUp };

  bool wasElsewhere(const std::vector<Selection>& snapshots) const;
  void changed();
  void keepSelection();
  awaitable<void> startNewConversationHere();
  static awaitable<void> store(std::shared_ptr<WindowState> self);
  awaitable<Attempt> save();

  const std::string window_;
  any_io_executor interface_;
  Face* face_;                                   ///< null after `close`
  std::shared_ptr<WindowSelectionStore> store_;  ///< null before `restoreLastSelection`
  WindowNavigationHistory history_;
  GitChangesPanel gitChanges_ = GitChangesPanel::hidden;
  bool isStored_ = true;
  bool isStoring_ = false;
  Signal storing_;  ///< it is over, or is to hurry
};

}  // namespace ravant
