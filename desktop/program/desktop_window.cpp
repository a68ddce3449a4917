#include "desktop/program/desktop_window.hpp"

#include <QJSEngine>
#include <QSet>
#include <algorithm>
#include <ranges>

#include "app/window_settings.hpp"
#include "desktop/program/shown_keys.hpp"
#include "platform/async/on_pool.hpp"

namespace ravant::desktop {
namespace {

constexpr auto kWindowName = "main";

DesktopWindow* theWindow = nullptr;

template <class Wanted, class Selection>
const Wanted* selected(const std::optional<Selection>& selection) {
  return selection ? std::get_if<Wanted>(&*selection) : nullptr;
}

QList<QUrl> foldersAmong(const QList<QUrl>& files) {
  QList<QUrl> folders;
  std::ranges::copy_if(files, std::back_inserter(folders), [](const QUrl& file) {
    std::error_code unreadable;
    return file.isLocalFile() && std::filesystem::is_directory(file.toLocalFile().toStdString(), unreadable);
  });
  return folders;
}

/// A key that is another one's to some keyboards is left to the command that is bound to it.
QHash<QString, QVariantList> sequencesOf(const Keybindings& keybindings) {
  QHash<QString, QStringList> pressed;
  QSet<QString> taken;
  for (const CommandDescription& command : commandDescriptions()) {
    const auto bound = keybindings.keys(command.command);
    if (!bound) continue;
    const QStringList& keys = *pressed.insert(QString::fromUtf8(command.name), pressedKeys(*bound));
    taken.insert(keys.first());
  }
  QHash<QString, QVariantList> sequences;
  for (const auto& [command, keys] : pressed.asKeyValueRange()) {
    for (const QString& key : keys) {
      if (key == keys.first() || !taken.contains(key)) sequences[command].append(key);
    }
  }
  return sequences;
}

}  // namespace

DesktopWindow::DesktopWindow(Application& application, StoreChanges& changes)
    : application_(application),
      changes_(changes),
      state_(std::make_shared<WindowState>(kWindowName, InterfaceLoop::instance().executor(),
                                           static_cast<WindowState::Face&>(*this))),
      end_(application, *this) {
  theWindow = this;
  loadKeybindings();
  tellTime();
  connect(&minute_, &QTimer::timeout, this, &DesktopWindow::tellTime);
  minute_.start(std::chrono::minutes(1));
  connect(&changes_, &StoreChanges::committed, this, [this](const ChangeBatch& batch) { state_->take(batch); });
  connect(&InterfaceLoop::instance(), &InterfaceLoop::failed, &notices_,
          [this](const QString& fault) { notices_.tellError(fault); });
}

DesktopWindow::~DesktopWindow() { theWindow = nullptr; }

DesktopWindow& DesktopWindow::instance() {
  Q_ASSERT(theWindow);
  return *theWindow;
}

DesktopWindow* DesktopWindow::present() { return theWindow; }

DesktopWindow* DesktopWindow::create(QQmlEngine*, QJSEngine*) {
  QJSEngine::setObjectOwnership(theWindow, QJSEngine::CppOwnership);
  return theWindow;
}

void DesktopWindow::restore() { start(state_->restoreLastSelection(application_.modelContainer())); }

awaitable<void> DesktopWindow::close() {
  notices_.settleAll();
  co_await state_->close();
}

DesktopWindow::ContentKind DesktopWindow::contentKind() const {
  const auto& content = state_->selection().content;
  if (!content) return ContentKind::None;
  if (std::holds_alternative<LatestConversations>(*content)) return ContentKind::Latest;
  return std::holds_alternative<ProjectId>(*content) ? ContentKind::Project : ContentKind::Other;
}

DesktopWindow::DetailKind DesktopWindow::detailKind() const {
  const auto& detail = state_->selection().detail;
  if (!detail) return DetailKind::None;
  if (std::holds_alternative<ConversationId>(*detail)) return DetailKind::Conversation;
  return std::holds_alternative<NewConversation>(*detail) ? DetailKind::NewConversation : DetailKind::Other;
}

QString DesktopWindow::contentProject() const {
  const auto* project = selected<ProjectId>(state_->selection().content);
  return project ? textOf(*project) : QString();
}

std::optional<ConversationId> DesktopWindow::shownConversation() const {
  const auto* shown = selected<ConversationId>(state_->selection().detail);
  return shown ? std::optional(*shown) : std::nullopt;
}

QString DesktopWindow::conversation() const {
  const auto shown = shownConversation();
  return shown ? textOf(*shown) : QString();
}

QString DesktopWindow::newConversationProject() const {
  const auto* page = selected<NewConversation>(state_->selection().detail);
  return page ? textOf(page->project) : QString();
}

void DesktopWindow::setActive(bool active) {
  if (std::exchange(isActive_, active) == active) return;
  // While the machine slept no minute passed.
  if (active) tellTime();
  Q_EMIT activeChanged();
}

void DesktopWindow::tellTime() {
  presentTime_ = application_.modelContainer()->clock().now();
  Q_EMIT presentTimeChanged();
}

void DesktopWindow::setEndVisible(bool visible) {
  if (std::exchange(isEndVisible_, visible) != visible) Q_EMIT endVisibleChanged();
}

bool DesktopWindow::isLookingAt(ConversationId conversation) const {
  return isActive_ && isEndVisible_ && shownConversation() == conversation;
}

void DesktopWindow::open(const OpenRequest& request) {
  if (end_.state() == OrderlyEnd::State::Background) end_.cancel();
  if (std::exchange(isAwaited_, false)) Q_EMIT awaitedChanged();
  Q_EMIT raised(QString::fromStdString(request.activationToken));
  start(show(request));
}

awaitable<void> DesktopWindow::show(OpenRequest request) {
  if (request.conversation) {
    const Conversation wanted = co_await alive(conversationNamed(application_, *request.conversation));
    state_->openConversation(wanted.id, wanted.project);
  } else if (request.project) {
    state_->startNewConversation(co_await alive(projectIn(application_, *request.project)));
  } else if (request.page == OpenRequest::Page::newConversation) {
    runCommand(WindowCommand::newConversation);
  }
}

void DesktopWindow::addProjectFolders(const QList<QUrl>& folders) { start(addAll(folders)); }

awaitable<void> DesktopWindow::addAll(QList<QUrl> folders) {
  std::optional<ProjectId> last;
  for (const QUrl& url : folders) {
    if (!url.isLocalFile()) {
      notices_.tellError(tr("%1 is not a folder of this machine").arg(url.toDisplayString()));
      continue;
    }
    try {
      last = co_await alive(projectIn(application_, url.toLocalFile().toStdString()));
      if (const auto notice = leaving_.projects.find(*last); notice != leaving_.projects.end()) {
        notices_.accept(notice->second);
      }
    } catch (const std::runtime_error& error) {
      notices_.tellError(QString::fromUtf8(error.what()));
    }
  }
  if (last) startNewConversation(textOf(*last));
}

void DesktopWindow::takeDropped(const QList<QUrl>& files) { start(sort(files)); }

awaitable<void> DesktopWindow::sort(QList<QUrl> dropped) {
  const QList<QUrl> folders =
      co_await alive(onPool(application_.modelContainer()->work(), [dropped] { return foldersAmong(dropped); }));
  QList<QUrl> files;
  std::ranges::copy_if(dropped, std::back_inserter(files), [&](const QUrl& url) { return !folders.contains(url); });
  const bool isWritten = detailKind() == DetailKind::Conversation || detailKind() == DetailKind::NewConversation;
  if (!files.isEmpty() && isWritten) Q_EMIT filesDropped(files);
  co_await addAll(isWritten ? folders : dropped);
}

void DesktopWindow::openItem(ConversationId conversation, ProjectId project, ConversationItemId item,
                             const QString& words) {
  state_->openConversation(conversation, project);
  Q_EMIT itemRequested(item, words);
}

void DesktopWindow::sendPrompt(ConversationId conversation, const QString& words) {
  Q_EMIT promptRequested(conversation, words);
}

void DesktopWindow::searchFor(const QString& words) { Q_EMIT searchRequested(words); }

void DesktopWindow::openConversation(const QString& conversation, const QString& project) {
  state_->openConversation(idOf<ConversationId>(conversation), idOf<ProjectId>(project));
  focusPrompt();
}

void DesktopWindow::startNewConversation(const QString& project) {
  state_->startNewConversation(idOf<ProjectId>(project));
  focusPrompt();
}

void DesktopWindow::showLatest() { runCommand(WindowCommand::allConversations); }

void DesktopWindow::showProject(const QString& project) {
  state_->setSelection(idOf<ProjectId>(project), state_->selection().detail);
  Q_EMIT listRequested();
}

QStringList DesktopWindow::commands() const {
  QStringList names;
  for (const CommandDescription& command : commandDescriptions()) names.append(QString::fromUtf8(command.name));
  return names;
}

void DesktopWindow::run(const QString& command) {
  if (const auto named = commandNamed(command.toStdString())) runCommand(*named);
}

void DesktopWindow::runCommand(WindowCommand command) { start(run(command)); }

awaitable<void> DesktopWindow::run(WindowCommand command) {
  co_await alive(state_->run(command));
  if (command == WindowCommand::newConversation) focusPrompt();
}

bool DesktopWindow::canRun(const QString& command, int) const {
  const auto named = commandNamed(command.toStdString());
  return named && state_->canRun(*named);
}

QString DesktopWindow::keys(const QString& command, int) const {
  const auto bound = keysOf(command);
  return bound ? shownKeys(*bound) : QString();
}

std::optional<KeySequence> DesktopWindow::keysOf(const QString& command) const {
  const auto named = commandNamed(command.toStdString());
  return named ? keybindings_.keys(*named) : std::nullopt;
}

void DesktopWindow::loadKeybindings() {
  keybindings_ = keybindingsOf(application_.settings());
  sequences_ = sequencesOf(keybindings_);
  ++keysRevision_;
  Q_EMIT keysRevisionChanged();
}

void DesktopWindow::commandsChanged() {
  ++commandsRevision_;
  Q_EMIT commandsRevisionChanged();
}

CommandHandler* DesktopWindow::handlerOf(WindowCommand command) const {
  const QString name = QString::fromUtf8(description(command).name);
  CommandHandler* youngest = nullptr;
  for (CommandHandler* const handler : handlers_ | std::views::reverse) {
    if (!handler->isEnabled() || handler->command() != name) continue;
    if (handler->isInFocus()) return handler;
    if (!youngest) youngest = handler;
  }
  return youngest;
}

void DesktopWindow::windowChanged() {
  const bool isNew = std::exchange(shown_, state_->selection()) != state_->selection();
  if (isNew) Q_EMIT selectionChanged();
  commandsChanged();
  if (isNew) Q_EMIT selectionShown();
}

void DesktopWindow::perform(WindowCommand command) {
  if (command == WindowCommand::allConversations) Q_EMIT listRequested();
  if (CommandHandler* const handler = handlerOf(command)) Q_EMIT handler->triggered();
}

bool DesktopWindow::canPerform(WindowCommand command) const { return handlerOf(command); }

}  // namespace ravant::desktop
