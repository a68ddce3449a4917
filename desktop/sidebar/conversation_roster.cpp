#include "desktop/sidebar/conversation_roster.hpp"

#include <algorithm>
#include <chrono>
#include <ranges>
#include <tuple>

namespace ravant::desktop {
namespace {

/// Between two readings: a run announces hundreds of changes a second.
constexpr std::chrono::milliseconds kPause(100);
/// Between two looks at whether the processes of others still live.
constexpr std::chrono::seconds kPauseOfRunsElsewhere(5);
/// More than these are read with all others, in one transaction.
constexpr std::size_t kMostOneByOne = 64;

/// Which decides a conversation's place: while it runs it is active at every moment, and those that run side by side
/// would change places with each of their steps.
auto place(const ListedConversation& listed) {
  return std::tuple(listed.isRunning, listed.isRunning ? listed.lastPromptAt : listed.lastActivityAt, listed.id);
}

bool isBefore(const ConversationRoster::Listed& one, const ConversationRoster::Listed& other) {
  return place(*other) < place(*one);
}

ListedConversation listed(const ConversationSummary& summary) {
  const ConversationState state = stateOf(summary);
  const bool isElsewhere = summary.run && summary.run->place == LivingRun::Place::elsewhere;
  return {.id = summary.conversation.id,
          .project = summary.conversation.project,
          .title = QString::fromStdString(displayTitle(summary)).simplified(),
          .state = state,
          .unread = state == ConversationState::unread ? summary.unread : 0,
          .isRunning = summary.run.has_value(),
          .isRunElsewhere = isElsewhere,
          .archived = summary.conversation.archived,
          .lastActivityAt = summary.conversation.lastActivityAt,
          .lastPromptAt = summary.conversation.lastPromptAt};
}

}  // namespace

std::shared_ptr<ConversationRoster> ConversationRoster::shared() {
  static std::weak_ptr<ConversationRoster> present;
  auto roster = present.lock();
  if (!roster) present = roster = std::make_shared<ConversationRoster>(DesktopWindow::instance());
  return roster;
}

ConversationRoster::ConversationRoster(DesktopWindow& window) : window_(window) {
  pause_.setSingleShot(true);
  connect(&pause_, &QTimer::timeout, this, &ConversationRoster::readSoon);
  connect(&runsElsewhere_, &QTimer::timeout, this, &ConversationRoster::lookAtRunsElsewhere);
  connect(&window.changes(), &StoreChanges::committed, this, &ConversationRoster::take);
  connect(&window, &DesktopWindow::selectionChanged, this, &ConversationRoster::keepWhatIsShown);
  readSoon();
}

std::vector<Project> ConversationRoster::projects() const {
  std::vector<Project> shown;
  for (const Project& project : projects_) {
    if (!window_.leaving().projects.contains(project.id)) shown.push_back(project);
  }
  return shown;
}

const Project* ConversationRoster::project(ProjectId id) const {
  const auto found = std::ranges::find(projects_, id, &Project::id);
  return found == projects_.end() ? nullptr : &*found;
}

bool ConversationRoster::isHidden(const ListedConversation& conversation) const {
  return window_.leaving().has(conversation.id, conversation.project);
}

std::vector<ConversationRoster::Listed> ConversationRoster::conversations() const {
  if (window_.leaving().isEmpty()) return conversations_;
  std::vector<Listed> shown;
  std::ranges::copy_if(conversations_, std::back_inserter(shown),
                       [&](const Listed& conversation) { return !isHidden(*conversation); });
  return shown;
}

ConversationRoster::Listed ConversationRoster::conversation(ConversationId id) const {
  const auto found = byId_.find(id);
  return found == byId_.end() || isHidden(*found->second) ? nullptr : found->second;
}

int ConversationRoster::running() const {
  return static_cast<int>(
      std::ranges::count_if(conversations_, [](const Listed& conversation) { return conversation->isRunning; }));
}

void ConversationRoster::hide(ProjectId project, int notice) {
  if (window_.leaving().projects.insert_or_assign(project, notice).second) Q_EMIT changed();
}

void ConversationRoster::hide(ConversationId conversation, int notice) {
  if (window_.leaving().conversations.insert_or_assign(conversation, notice).second) Q_EMIT changed();
}

void ConversationRoster::keepWhatIsShown() {
  const DesktopWindow::Leaving& leaving = window_.leaving();
  std::set<ProjectId> projects = {idOf<ProjectId>(window_.contentProject()),
                                  idOf<ProjectId>(window_.newConversationProject())};
  std::vector<int> notices;
  if (const auto shown = window_.shownConversation()) {
    if (const auto known = byId_.find(*shown); known != byId_.end()) projects.insert(known->second->project);
    const auto hidden = leaving.conversations.find(*shown);
    if (hidden != leaving.conversations.end()) notices.push_back(hidden->second);
  }
  for (const auto& [project, notice] : leaving.projects) {
    if (projects.contains(project)) notices.push_back(notice);
  }
  for (const int notice : notices) window_.notices()->accept(notice);
}

void ConversationRoster::show(ProjectId project) {
  if (window_.leaving().projects.erase(project) == 0) return;
  needsAll_ = true;
  readSoon();
  Q_EMIT changed();
}

void ConversationRoster::show(ConversationId conversation) {
  if (window_.leaving().conversations.erase(conversation) == 0) return;
  changed_.insert(conversation);
  readSoon();
  Q_EMIT changed();
}

void ConversationRoster::setExpanded(ProjectId project, bool expanded) {
  const auto found = std::ranges::find(projects_, project, &Project::id);
  if (found == projects_.end() || found->expandedInSidebar == expanded) return;
  found->expandedInSidebar = expanded;
  folds_.insert_or_assign(project, expanded);
  Q_EMIT changed();
  start(storeExpanded(project, expanded));
}

awaitable<void> ConversationRoster::storeExpanded(ProjectId project, bool expanded) {
  const auto forget = [&] {
    const auto fold = folds_.find(project);
    if (fold != folds_.end() && fold->second == expanded) folds_.erase(fold);
    needsProjects_ = true;
    readSoon();
  };
  try {
    co_await alive(window_.application().projects().setExpandedInSidebar(project, expanded));
  } catch (const std::exception&) {
    forget();
    throw;
  }
  forget();
}

void ConversationRoster::lookAtRunsElsewhere() {
  for (const Listed& conversation : conversations_) {
    if (conversation->isRunElsewhere) changed_.insert(conversation->id);
  }
  if (!changed_.empty()) readSoon();
}

void ConversationRoster::take(const ChangeBatch& batch) {
  if (batch.isIncomplete) needsAll_ = true;
  bool isOneGone = false;
  for (const Change& change : batch.changes) {
    if (std::holds_alternative<ProjectId>(change.entity)) {
      needsProjects_ = true;
    } else if (const auto* conversation = std::get_if<ConversationId>(&change.entity)) {
      if (change.operation == ChangeOperation::grew) continue;
      if (change.operation == ChangeOperation::went && change.state) continue;
      if (change.operation != ChangeOperation::removed) {
        changed_.insert(*conversation);
        continue;
      }
      isOneGone = isOneGone || byId_.contains(*conversation);
      changed_.erase(*conversation);
      remove(*conversation);
      if (isReading_) removed_.insert(*conversation);
    }
  }
  if (isOneGone) Q_EMIT changed();
  if (needsAll_ || needsProjects_ || !changed_.empty()) readSoon();
}

void ConversationRoster::readSoon() {
  if (isReading_ || pause_.isActive()) return;
  if (!needsAll_ && !needsProjects_ && changed_.empty()) return;
  start(read());
}

awaitable<void> ConversationRoster::read() {
  if (isReading_) co_return;
  isReading_ = true;
  try {
    if (needsAll_ || changed_.size() > kMostOneByOne) {
      co_await readAll();
    } else {
      if (std::exchange(needsProjects_, false)) co_await readProjects();
      co_await readConversations(std::exchange(changed_, {}));
    }
  } catch (const std::exception&) {
    isReading_ = false;
    needsAll_ = true;  // with the next change
    throw;
  }
  isReading_ = false;
  isRead_ = true;
  removed_.clear();
  pause_.start(kPause);
  const bool isOneElsewhere =
      std::ranges::any_of(conversations_, [](const Listed& conversation) { return conversation->isRunElsewhere; });
  if (!isOneElsewhere) {
    runsElsewhere_.stop();
  } else if (!runsElsewhere_.isActive()) {
    runsElsewhere_.start(kPauseOfRunsElsewhere);
  }
  Q_EMIT changed();
}

awaitable<void> ConversationRoster::readAll() {
  needsAll_ = needsProjects_ = false;
  changed_.clear();
  co_await readProjects();
  const std::vector<ConversationSummary> summaries = co_await alive(
      window_.application().conversations().conversations({.archived = ArchivedConversations::included}));
  const auto before = std::exchange(byId_, {});
  std::vector<Listed> all;
  all.reserve(summaries.size());
  for (const ConversationSummary& summary : summaries) {
    ListedConversation found = listed(summary);
    if (removed_.contains(found.id)) continue;
    const auto known = before.find(found.id);
    const bool isSame = known != before.end() && *known->second == found;
    all.push_back(isSame ? known->second : std::make_shared<const ListedConversation>(std::move(found)));
    byId_.emplace(all.back()->id, all.back());
  }
  std::ranges::sort(all, isBefore);
  conversations_ = std::move(all);
}

awaitable<void> ConversationRoster::readProjects() {
  projects_ = co_await alive(window_.application().projects().projects());
  for (Project& project : projects_) {
    if (const auto fold = folds_.find(project.id); fold != folds_.end()) project.expandedInSidebar = fold->second;
  }
  const auto isGone = [&](const Listed& conversation) { return !project(conversation->project); };
  for (const Listed& conversation : conversations_) {
    if (isGone(conversation)) byId_.erase(conversation->id);
  }
  std::erase_if(conversations_, isGone);
}

awaitable<void> ConversationRoster::readConversations(std::set<ConversationId> ids) {
  for (const ConversationId& id : ids) {
    const auto summary = co_await alive(window_.application().conversations().conversation(id));
    if (summary && !removed_.contains(id)) {
      // One of a project that this knows nothing of yet is shown with it.
      if (!project(summary->conversation.project)) co_await readProjects();
      put(*summary);
    } else {
      remove(id);
    }
  }
}

void ConversationRoster::put(const ConversationSummary& summary) {
  auto conversation = std::make_shared<const ListedConversation>(listed(summary));
  const auto known = byId_.find(conversation->id);
  const bool wasRunning = known != byId_.end() && known->second->isRunning;
  const bool wasElsewhere = known != byId_.end() && known->second->isRunElsewhere;
  if (known != byId_.end() && *known->second == *conversation) return;
  remove(conversation->id);
  conversations_.insert(std::ranges::upper_bound(conversations_, conversation, isBefore), conversation);
  byId_.emplace(conversation->id, conversation);
  if (wasRunning && !conversation->isRunning) Q_EMIT runEnded(conversation->project);
  // Where its process was killed, nobody else is told.
  if (wasElsewhere && !conversation->isRunElsewhere) {
    Q_EMIT window_.changes().conversationChanged(conversation->id, ChangeOperation::updated);
  }
}

void ConversationRoster::remove(ConversationId id) {
  const auto known = byId_.find(id);
  if (known == byId_.end()) return;
  const auto [first, last] = std::ranges::equal_range(conversations_, known->second, isBefore);
  conversations_.erase(first, last);
  byId_.erase(known);
}

}  // namespace ravant::desktop
