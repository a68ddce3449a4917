#include "palette/command_palette_model.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "core/overloaded.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.palette", "CommandPaletteModel");

constexpr std::array kSections = {
    PaletteSection::commands,     PaletteSection::conversations, PaletteSection::projects,    PaletteSection::pinned,
    PaletteSection::integrations, PaletteSection::linearIssues,  PaletteSection::pullRequests};

CommandPaletteItemImage imageOf(const PaletteTarget& target) {
  using Image = CommandPaletteItemImage;
  return std::visit(Overloaded{[](WindowCommand command) { return Image::system(description(command).symbol); },
                               [](const ConversationTarget&) { return Image::system("bubble.left"); },
                               [](const ProjectId&) { return Image::system("folder"); },
                               [](const PinnedItemId&) { return Image::system("pin"); },
                               [](const GithubIntegrationId&) { return Image::asset("github"); },
                               [](const LinearIntegrationId&) { return Image::asset("linear"); },
                               [](const LinearIssueTarget&) { return Image::asset("linear"); },
                               [](const GithubPullTarget&) { return Image::system("arrow.triangle.pull"); }},
                    target);
}

bool looksLike(const CommandPaletteSection& one, const CommandPaletteSection& other) {
  const auto looks = [](const CommandPaletteItem& item) {
    return std::tie(item.id, item.title, item.subtitle, item.image, item.shortcutHint);
  };
  return one.title == other.title && std::ranges::equal(one.items, other.items, {}, looks, looks);
}

}  // namespace

CommandPaletteModel::CommandPaletteModel(CommandPaletteOptions options) : options_(std::move(options)) {}

void CommandPaletteModel::configure(std::shared_ptr<WindowState> windowState,
                                    std::shared_ptr<ModelContainer> modelContext, std::function<void()> openSettings) {
  windowState_ = std::move(windowState);
  openSettings_ = std::move(openSettings);
  store_ = modelContext ? CommandPaletteStore::make(modelContext) : nullptr;
  pins_ = modelContext ? PinnedItemStore::make(modelContext) : nullptr;
}

void CommandPaletteModel::setKeybindings(Keybindings keybindings) {
  options_.keybindings = std::move(keybindings);
  refreshKeepingSelection();
}

void CommandPaletteModel::setSectionSizes(std::size_t sectionItems, std::size_t recentItems) {
  options_.sectionItems = sectionItems;
  options_.recentItems = recentItems;
  refreshKeepingSelection();
}

awaitable<void> CommandPaletteModel::open() {
  const auto self = shared_from_this();
  close();
  isOpen_ = true;
  query_.clear();
  selectedIndex_ = 0;
  rebuildResults();
  if (!store_) co_return;
  stale_ = {.isEverything = true, .rows = {}};
  isReading_ = true;
  co_await readStale(weak_from_this(), turn_);
}

void CommandPaletteModel::close() {
  ++turn_;
  isOpen_ = isReading_ = isComplete_ = false;
}

void CommandPaletteModel::take(const ChangeBatch& batch) {
  if (!isOpen_ || !store_) return;
  stale_.add(batch);
  if (stale_.isEmpty() || std::exchange(isReading_, true)) return;
  asio::co_spawn(options_.interface, readStale(weak_from_this(), turn_), [](std::exception_ptr fault) {
    try {
      if (fault) std::rethrow_exception(fault);
    } catch (const std::exception& error) {
      kLog.warning("what changed could not be read: {}", error.what());
    }
  });
}

// The model can go, be closed and be opened again in each wait.
awaitable<void> CommandPaletteModel::readStale(std::weak_ptr<CommandPaletteModel> model, std::uint64_t turn) {
  for (;;) {
    auto self = model.lock();
    if (!self || self->turn_ != turn) co_return;
    self->isReading_ = !self->stale_.isEmpty();
    if (!self->isReading_) co_return;
    const StaleCandidates stale = std::exchange(self->stale_, {});
    auto operation = read(self->store_, self->pins_, stale);
    self.reset();
    Reading reading;
    std::exception_ptr fault;
    try {
      reading = co_await std::move(operation);
    } catch (...) {
      fault = std::current_exception();
    }
    self = model.lock();
    if (!self || self->turn_ != turn) co_return;
    if (fault) {
      self->stale_.isEverything = true;
      self->isReading_ = false;
      std::rethrow_exception(fault);
    }
    self->show(stale, std::move(reading));
  }
}

// The uses come last: one that was stored after them is still among those that are not stored.
awaitable<CommandPaletteModel::Reading> CommandPaletteModel::read(std::shared_ptr<CommandPaletteStore> store,
                                                                  std::shared_ptr<PinnedItemStore> pins,
                                                                  StaleCandidates stale) {
  Reading reading;
  if (stale.isEverything) {
    reading.pins = co_await pins->pinnedItems();
    reading.contents = co_await store->contents();
  } else {
    reading.candidates = co_await store->candidates(stale.rows);
  }
  co_return reading;
}

void CommandPaletteModel::show(const StaleCandidates& stale, Reading reading) {
  bool isChanged = stale.isEverything;
  if (stale.isEverything) {
    index_.replace(std::move(reading.contents), reading.pins);
    for (const std::string& id : unstoredUses_) index_.use(id);
  } else {
    for (std::size_t i = 0; i < stale.rows.size(); ++i) {
      isChanged = index_.put(stale.rows[i], std::move(reading.candidates[i])) || isChanged;
    }
  }
  if (!isChanged) return;
  const bool isAtFirst = !std::exchange(isComplete_, true) && selectedIndex_ == 0;
  if (isAtFirst) {
    rebuildResults();
  } else {
    refreshKeepingSelection();
  }
}

void CommandPaletteModel::setQuery(std::string query) {
  query_ = std::move(query);
  selectedIndex_ = 0;
  rebuildResults();
}

void CommandPaletteModel::rebuildResults() {
  rebuild();
  tellObserver();
}

void CommandPaletteModel::rebuild() {
  refreshCommands();
  const FoldedQuery query(query_);
  std::vector<Found> used;
  for (std::size_t at = 0; at < kPaletteSections; ++at) {
    const auto section = static_cast<PaletteSection>(at);
    for (const PalettePool::Match& match : index_.pool(section).answer(query)) {
      if (match.age == PalettePool::kNeverUsed) continue;
      const PaletteTarget& target = index_.pool(section).at(match.index).candidate.target;
      if (!options_.left.contains(sectionOf(target))) used.push_back({section, match});
    }
  }
  const std::vector<CommandPaletteItem> recent = recentItems(std::move(used));
  sections_.clear();
  if (!recent.empty()) sections_.push_back({std::string(title(PaletteSection::recent)), recent});
  for (const PaletteSection section : kSections) {
    if (options_.left.contains(section)) continue;
    auto found = items(section, query, recent);
    if (!found.empty()) sections_.push_back({std::string(title(section)), std::move(found)});
  }
  selectedIndex_ = std::min(selectedIndex_, std::max<std::size_t>(itemCount(), 1) - 1);
}

void CommandPaletteModel::tellObserver() {
  if (observer_ && isOpen_) observer_->paletteChanged();
}

void CommandPaletteModel::setSelectedIndex(std::size_t index) {
  selectedIndex_ = std::min(index, std::max<std::size_t>(itemCount(), 1) - 1);
  tellObserver();
}

awaitable<void> CommandPaletteModel::execute(CommandPaletteItem item) {
  const auto self = shared_from_this();
  co_await item.action();
  co_await recordExecution(std::move(item));
}

awaitable<void> CommandPaletteModel::recordExecution(CommandPaletteItem of) {
  const auto self = shared_from_this();
  index_.use(of.id);
  refreshKeepingSelection();
  if (!store_) co_return;
  unstoredUses_.push_back(of.id);
  if (std::exchange(isStoringUses_, true)) co_return;
  try {
    while (!unstoredUses_.empty()) {
      const std::size_t count = unstoredUses_.size();
      co_await store_->recordUses(unstoredUses_);
      unstoredUses_.erase(unstoredUses_.begin(), unstoredUses_.begin() + static_cast<std::ptrdiff_t>(count));
    }
  } catch (const std::exception& error) {
    kLog.warning("that {} was used could not be stored: {}", unstoredUses_.back(), error.what());
  }
  isStoringUses_ = false;
}

std::string CommandPaletteModel::conversationItemID(ConversationId conversation) {
  return itemID(ConversationTarget{conversation, {}});
}

std::string CommandPaletteModel::projectItemID(ProjectId project) { return itemID(project); }

std::string CommandPaletteModel::githubPullItemID(GithubPullRequestId pull) {
  return itemID(GithubPullTarget{pull, {}});
}

void CommandPaletteModel::refreshCommands() {
  std::vector<PaletteCandidate> commands;
  const GitChangesPanel panel = windowState_ ? windowState_->gitChanges() : GitChangesPanel::hidden;
  for (const CommandDescription& command : commandDescriptions()) {
    if (command.listing != CommandListing::palette || !canRun(command.command)) continue;
    commands.push_back(paletteCandidate(command.command, commandTitle(command.command, panel), ""));
  }
  index_.replaceCommands(std::move(commands));
}

bool CommandPaletteModel::canRun(WindowCommand command) const {
  if (command == WindowCommand::settings && openSettings_) return true;
  return !windowState_ || windowState_->canRun(command);
}

void CommandPaletteModel::refreshKeepingSelection() {
  if (!isOpen_) return;
  const CommandPaletteItem* selected = selectedItem();
  const std::string id = selected ? selected->id : "";
  const std::size_t index = selectedIndex_;
  const std::vector<CommandPaletteSection> before = sections_;
  rebuild();
  for (std::size_t at = 0; const CommandPaletteItem* shown = itemAt(at); ++at) {
    if (shown->id == id) selectedIndex_ = at;
  }
  const bool isSame = std::ranges::equal(before, sections_, looksLike);
  if (!isSame || selectedIndex_ != index) tellObserver();
}

std::vector<CommandPaletteItem> CommandPaletteModel::recentItems(std::vector<Found> pool) const {
  std::ranges::sort(pool, {}, &Found::match);
  std::vector<CommandPaletteItem> recent;
  for (const auto& [section, match] : pool) {
    if (recent.size() == options_.recentItems) break;
    const PaletteCandidate& candidate = index_.pool(section).at(match.index).candidate;
    recent.push_back(section == PaletteSection::recent ? recentItemOutsidePools(candidate.id).value()
                                                       : item(candidate));
  }
  return recent;
}

std::optional<CommandPaletteItem> CommandPaletteModel::recentItemOutsidePools(const std::string& id) const {
  const PalettePool::Entry* entry = index_.pool(PaletteSection::recent).find(id);
  return entry ? std::optional(item(entry->candidate)) : std::nullopt;
}

std::vector<CommandPaletteItem> CommandPaletteModel::items(PaletteSection section, const FoldedQuery& query,
                                                           const std::vector<CommandPaletteItem>& recent) {
  PalettePool& known = index_.pool(section);
  std::vector<PalettePool::Match> matches = known.answer(query);
  const std::size_t wanted = std::min(matches.size(), options_.sectionItems + recent.size());
  std::ranges::partial_sort(matches, matches.begin() + static_cast<std::ptrdiff_t>(wanted));
  matches.resize(wanted);
  std::vector<CommandPaletteItem> best;
  for (const PalettePool::Match& match : matches) {
    const PaletteCandidate& candidate = known.at(match.index).candidate;
    if (best.size() == options_.sectionItems) break;
    if (std::ranges::find(recent, candidate.id, &CommandPaletteItem::id) == recent.end())
      best.push_back(item(candidate));
  }
  return best;
}

CommandPaletteItem CommandPaletteModel::item(const PaletteCandidate& candidate) const {
  CommandPaletteItem item{.id = candidate.id,
                          .title = candidate.title,
                          .subtitle = candidate.subtitle,
                          .image = imageOf(candidate.target),
                          .shortcutHint = {},
                          .action = {}};
  if (const auto* command = std::get_if<WindowCommand>(&candidate.target)) {
    if (const auto keys = options_.keybindings.keys(*command)) item.shortcutHint = keys->text();
  }
  item.action = [model = weak_from_this(), target = candidate.target] { return perform(model.lock(), target); };
  return item;
}

awaitable<void> CommandPaletteModel::perform(std::shared_ptr<const CommandPaletteModel> self, PaletteTarget target) {
  if (!self) co_return;
  const auto* command = std::get_if<WindowCommand>(&target);
  if (command && *command == WindowCommand::settings && self->openSettings_) {
    self->openSettings_();
    co_return;
  }
  if (!self->windowState_) co_return;
  WindowState& window = *self->windowState_;
  if (command) co_return co_await window.run(*command);
  std::visit(Overloaded{[](WindowCommand) {},
                        [&](const ConversationTarget& of) { window.openConversation(of.conversation, of.project); },
                        [&](const ProjectId& id) { window.startNewConversation(id); },
                        [&](const PinnedItemId& id) { window.openPinnedItem(id); },
                        [&](const GithubIntegrationId& id) { window.openIntegration(id); },
                        [&](const LinearIntegrationId& id) { window.openIntegration(id); },
                        [&](const LinearIssueTarget& of) { window.openLinearIssue(of.issue, of.integration); },
                        [&](const GithubPullTarget& of) { window.openGithubPull(of.pull, of.integration); }},
             target);
}

const CommandPaletteItem* CommandPaletteModel::itemAt(std::size_t index) const {
  for (const CommandPaletteSection& section : sections_) {
    if (index < section.items.size()) return &section.items[index];
    index -= section.items.size();
  }
  return nullptr;
}

std::size_t CommandPaletteModel::itemCount() const {
  std::size_t count = 0;
  for (const CommandPaletteSection& section : sections_) count += section.items.size();
  return count;
}

}  // namespace ravant
