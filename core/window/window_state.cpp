#include "core/window/window_state.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

#include "core/overloaded.hpp"
#include "core/store/store_error.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "WindowState");

/// Until another try at a store that someone else writes to.
constexpr std::chrono::seconds kPause(1);

template <class Wanted, class Chosen>
bool isOne(const std::optional<Chosen>& chosen) {
  return chosen && std::holds_alternative<Wanted>(*chosen);
}

bool removesSelectable(const Change& change) {
  return change.operation == ChangeOperation::removed &&
         std::visit(
             Overloaded{[](const ProjectId&) { return true; }, [](const ConversationId&) { return true; },
                        [](const PinnedItemId&) { return true; }, [](const GithubIntegrationId&) { return true; },
                        [](const LinearIntegrationId&) { return true; },
                        [](const GithubPullRequestId&) { return true; }, [](const LinearIssueId&) { return true; },
                        [](const auto&) { return false; }},
             change.entity);
}

/// Whether the window does it without its face.
bool isOwn(WindowCommand command) {
  switch (command) {
    case WindowCommand::newConversation:
    case WindowCommand::allConversations:
    case WindowCommand::goBack:
    case WindowCommand::goForward:
      return true;
    default:
      return false;
  }
}

}  // namespace

WindowState::WindowState(std::string window, any_io_executor interface, Face& face)
    : window_(std::move(window)), interface_(interface), face_(&face), storing_(std::move(interface)) {}

awaitable<void> WindowState::restoreLastSelection(std::shared_ptr<ModelContainer> in) {
  const auto self = shared_from_this();
  store_ = WindowSelectionStore::make(std::move(in));
  std::optional<Selection> last;
  try {
    last = co_await store_->lastSelection(window_);
  } catch (const std::exception& error) {
    kLog.error("the last selection of the window {} could not be read: {}", window_, error.what());
  }
  if (selection().isEmpty() && last) {
    setSelection(last->content, last->detail);
  } else if (selection().isEmpty()) {
    // What could not be read is kept until the user selects something.
    history_.record(LatestConversations(), {});
    if (face_) face_->windowChanged();
  } else {
    keepSelection();
  }
}

awaitable<void> WindowState::close() {
  const auto self = shared_from_this();
  face_ = nullptr;
  storing_.notify();
  while (isStoring_) co_await storing_.wait();
}

void WindowState::setSelection(std::optional<ContentSelection> content, std::optional<DetailSelection> detail) {
  const Selection before = selection();
  history_.record(std::move(content), std::move(detail));
  if (selection() != before) changed();
}

// What was left because it is gone can leave the present selection before or behind itself.
void WindowState::goBackInHistory() {
  const Selection before = selection();
  while (selection() == before && history_.stepBack()) {
  }
  if (selection() != before) changed();
}

void WindowState::goForwardInHistory() {
  const Selection before = selection();
  while (selection() == before && history_.stepForward()) {
  }
  if (selection() != before) changed();
}

void WindowState::conversationWasArchived(ConversationId conversation, std::optional<ConversationId> selecting) {
  const DetailSelection archived = conversation;
  if (selection().detail == archived) setSelection(selection().content, selecting);
  history_.forget([&](const Selection& snapshot) { return snapshot.detail == archived; });
  if (face_) face_->windowChanged();
}

awaitable<void> WindowState::projectWasRemoved(ProjectId project) {
  const auto self = shared_from_this();
  const auto isOfProject = [&](const Selection& snapshot) {
    return snapshot.content == ContentSelection(project) ||
           snapshot.detail == DetailSelection(NewConversation{project});
  };
  if (isOfProject(selection())) {
    const bool showsPage = selection().detail == DetailSelection(NewConversation{project});
    const bool showsList = selection().content == ContentSelection(project);
    setSelection(showsList ? ContentSelection(LatestConversations()) : selection().content,
                 showsPage ? std::nullopt : selection().detail);
  }
  history_.forget(isOfProject);
  co_await leaveWhatIsGone();
}

awaitable<void> WindowState::leaveWhatIsGone() {
  const auto self = shared_from_this();
  if (!store_) co_return;
  try {
    Selection shown;
    do {
      shown = selection();
      const Selection remaining = co_await store_->remaining(shown);
      if (selection() != shown) continue;
      setSelection(remaining.content, remaining.detail);
      shown = selection();
      std::vector<Selection> known = history_.back();
      known.insert(known.end(), history_.forward().begin(), history_.forward().end());
      const std::vector<Selection> gone = co_await store_->gone(std::move(known));
      history_.forget([&](const Selection& snapshot) { return std::ranges::find(gone, snapshot) != gone.end(); });
    } while (selection() != shown);
  } catch (const std::exception& error) {
    kLog.warning("what is gone could not be told for the window {}: {}", window_, error.what());
  }
  if (face_) face_->windowChanged();
}

void WindowState::take(const ChangeBatch& batch) {
  if (!batch.isIncomplete && std::ranges::none_of(batch.changes, removesSelectable)) return;
  asio::co_spawn(interface_, leaveWhatIsGone(), [](std::exception_ptr) {});
}

void WindowState::openConversation(ConversationId conversation, ProjectId inProject) {
  const bool isListed =
      isOne<LatestConversations>(selection().content) || selection().content == ContentSelection(inProject);
  setSelection(isListed ? selection().content : LatestConversations(), conversation);
}

void WindowState::startNewConversation(ProjectId inProject) { setSelection(inProject, NewConversation{inProject}); }

void WindowState::openPinnedItem(PinnedItemId item) { setSelection(item, std::nullopt); }

void WindowState::openIntegration(GithubIntegrationId integration) { setSelection(integration, std::nullopt); }

void WindowState::openIntegration(LinearIntegrationId integration) { setSelection(integration, std::nullopt); }

void WindowState::openLinearIssue(LinearIssueId issue, LinearIntegrationId of) {
  setSelection(isOne<PinnedItemId>(selection().content) ? selection().content : of, issue);
}

void WindowState::openGithubPull(GithubPullRequestId pull, GithubIntegrationId of) {
  setSelection(isOne<PinnedItemId>(selection().content) ? selection().content : of, pull);
}

bool WindowState::canRun(WindowCommand command) const {
  if (!isOwn(command) && !(face_ && face_->canPerform(command))) return false;
  switch (description(command).condition) {
    case CommandCondition::none:
      return true;
    case CommandCondition::earlierSelection:
      return wasElsewhere(history_.back());
    case CommandCondition::laterSelection:
      return wasElsewhere(history_.forward());
    case CommandCondition::conversation:
      return isOne<ConversationId>(selection().detail);
  }
  __builtin_unreachable();
}

awaitable<void> WindowState::run(WindowCommand command) {
  const auto self = shared_from_this();
  if (!canRun(command)) co_return;
  switch (command) {
    case WindowCommand::newConversation:
      co_await startNewConversationHere();
      break;
    case WindowCommand::allConversations:
      setSelection(LatestConversations(),
                   isOne<ConversationId>(selection().detail) ? selection().detail : std::nullopt);
      if (face_) face_->perform(command);
      break;
    case WindowCommand::goBack:
      goBackInHistory();
      break;
    case WindowCommand::goForward:
      goForwardInHistory();
      break;
    case WindowCommand::toggleGitChanges:
      gitChanges_ = gitChanges_ == GitChangesPanel::shown ? GitChangesPanel::hidden : GitChangesPanel::shown;
      if (face_) face_->windowChanged();
      break;
    default:
      if (face_) face_->perform(command);
  }
}

bool WindowState::wasElsewhere(const std::vector<Selection>& snapshots) const {
  return std::ranges::any_of(snapshots, [&](const Selection& snapshot) { return snapshot != selection(); });
}

void WindowState::changed() {
  keepSelection();
  if (face_) face_->windowChanged();
}

void WindowState::keepSelection() {
  if (!store_) return;
  isStored_ = false;
  if (std::exchange(isStoring_, true)) return;
  asio::co_spawn(interface_, store(shared_from_this()), [](std::exception_ptr) {});
}

awaitable<void> WindowState::store(std::shared_ptr<WindowState> self) {
  while (!self->isStored_) {
    const bool isLastTry = !self->face_;
    self->isStored_ = true;
    const Attempt attempt = co_await self->save();
    if (attempt == Attempt::over || isLastTry) continue;
    self->isStored_ = false;
    if (self->face_) co_await self->storing_.wait(std::chrono::steady_clock::now() + kPause);
  }
  self->isStoring_ = false;
  self->storing_.notify();
}

awaitable<WindowState::Attempt> WindowState::save() {
  try {
    co_await store_->save(window_, WindowSelectionSnapshot(selection()));
  } catch (const std::exception& error) {
    kLog.warning("the selection of the window {} could not be stored: {}", window_, error.what());
    const auto* reason = dynamic_cast<const StoreError*>(&error);
    if (reason && reason->kind() == StoreError::Case::busy) co_return Attempt::heldUp;
  }
  co_return Attempt::over;
}

awaitable<void> WindowState::startNewConversationHere() {
  const auto project = store_ ? co_await store_->projectBeside(selection()) : std::nullopt;
  if (project && face_ && face_->isLeaving(*project)) {
    co_await run(WindowCommand::newConversationInOtherProject);
  } else if (project) {
    startNewConversation(*project);
  } else {
    co_await run(WindowCommand::addNewProject);
  }
}

}  // namespace ravant
