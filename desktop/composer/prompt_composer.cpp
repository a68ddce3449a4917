#include "desktop/composer/prompt_composer.hpp"

#include <QClipboard>
#include <QGuiApplication>
#include <QKeySequence>
#include <QLocale>
#include <QMimeData>
#include <algorithm>

#include "desktop/program/shown_keys.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

std::optional<DraftPlace> shownPlace(const DesktopWindow& window) {
  if (const auto conversation = window.shownConversation()) return DraftPlace(*conversation);
  const QString project = window.newConversationProject();
  return project.isEmpty() ? std::nullopt : std::optional(DraftPlace(idOf<ProjectId>(project)));
}

}  // namespace

PromptComposer::PromptComposer(QObject* parent)
    : QObject(parent),
      window_(DesktopWindow::instance()),
      application_(window_.application()),
      sender_(std::make_shared<PromptSender>(application_, window_.changes())),
      draft_(sender_, window_.changes(), [this] { return prompt_.text(); }),
      history_(application_),
      queue_(sender_, window_.changes(), *window_.notices()),
      pickers_(application_) {
  connect(&window_, &DesktopWindow::selectionChanged, this, &PromptComposer::followSelection);
  connect(this, &PromptComposer::changed, this, &PromptComposer::placeholderChanged);
  connect(&window_, &DesktopWindow::keysRevisionChanged, this, &PromptComposer::placeholderChanged);
  connect(window_.end(), &OrderlyEnd::stateChanged, &draft_, &DraftKeeper::writeNow);
  followStore();
  connect(sender_.get(), &PromptSender::underWayChanged, this, [this] {
    if (isStarting_) rereading_.now();
    Q_EMIT changed();
  });
  connect(sender_.get(), &PromptSender::began, this, &PromptComposer::openBegun);
  connect(sender_.get(), &PromptSender::returned, this, [this](ReturnedPrompt* returned) { takeBack(*returned); });
  connect(&draft_, &DraftKeeper::arrived, this, [this](const std::string& text) { show(ComposedPrompt::parse(text)); });
  connect(&history_, &PromptHistory::reached, this, [this](const QString& text) {
    const bool isUntouched = prompt_.isEmpty() || (walked_ && *walked_ == prompt_);
    if (!isUntouched) return history_.end();
    show(ComposedPrompt::parse(text.toStdString()));
    if (history_.current()) walked_ = prompt_;
    draft_.typed();
  });
  connect(&queue_, &QueuedPrompts::countChanged, this, &PromptComposer::changed);
  connect(&pickers_, &PromptPickers::chosen, this, [this] { rereading_.now(); });
  connect(&window_, &DesktopWindow::promptRequested, this, &PromptComposer::sendWords);
  connect(&window_, &DesktopWindow::queuedPromptRequested, this, &PromptComposer::sendQueued);
  followSelection();
}

PromptComposer::~PromptComposer() { draft_.writeNow(); }

void PromptComposer::followStore() {
  StoreChanges& changes = window_.changes();
  const auto readAgain = [this] { rereading_.soon(); };
  connect(&changes, &StoreChanges::everythingChanged, this, readAgain);
  connect(&changes, &StoreChanges::agentsChanged, this, readAgain);
  connect(&changes, &StoreChanges::conversationChanged, this, [this](ConversationId changed) {
    if (changed == conversation()) rereading_.soon();
  });
  connect(&changes, &StoreChanges::projectChanged, this, [this](ProjectId changed) {
    if (changed == project_.id) rereading_.soon();
  });
  connect(&changes, &StoreChanges::runChanged, this,
          [this](ConversationId changed, const std::optional<RunState>& state) {
            if (changed == conversation() && !state) rereading_.now();
          });
}

std::optional<ConversationId> PromptComposer::conversation() const {
  const auto* shown = place_ ? std::get_if<ConversationId>(&*place_) : nullptr;
  return shown != nullptr ? std::optional(*shown) : std::nullopt;
}

void PromptComposer::followSelection() {
  const auto place = shownPlace(window_);
  if (place == place_) return;
  place_ = place;
  isStarting_ = place_ && sender_->isUnderWay(*place_);
  refusal_.clear();
  queuedBehind_.reset();
  wish_.reset();
  draft_.open(place);
  queue_.open(conversation());
  history_.open(place);
  pickers_.open(conversation());
  troubles_.follow({});
  show({});
  rereading_.now();
  if (isNew()) Q_EMIT fieldWanted();
}

awaitable<void> PromptComposer::read() {
  if (!place_) co_return;
  const DraftPlace place = *place_;
  const bool isOnItsWay = sender_->isUnderWay(place);
  std::optional<ConversationSummary> summary;
  if (const auto* const shown = std::get_if<ConversationId>(&place)) {
    summary = co_await alive(application_.conversations().conversation(*shown));
    if (!summary) co_return;
  }
  const ProjectId owner = summary ? summary->conversation.project : std::get<ProjectId>(place);
  const std::vector<Project> projects = co_await alive(application_.projects().projects());
  const auto project = std::ranges::find(projects, owner, &Project::id);
  if (place != place_) co_return;
  const auto conversation = summary ? std::optional(summary->conversation) : std::nullopt;
  PromptOptions options = co_await alive(readPromptOptions(application_, conversation, pickers_.wanted()));
  if (place != place_ || project == projects.end()) co_return;
  summary_ = std::move(summary);
  project_ = *project;
  readPlace_ = place;
  isStarting_ = isStarting_ && (isOnItsWay || sender_->isUnderWay(place));
  const auto foreign = conversation ? conversation->foreignAgentType : std::nullopt;
  pickers_.show(std::move(options), foreign);
  const PromptOptions& shown = pickers_.options();
  troubles_.follow(AgentTroubles::Subject{.project = project_.id,
                                          .projectName = project_.name,
                                          .folder = project_.path,
                                          .isNew = isNew(),
                                          .foreignAgent = foreign,
                                          .agents = shown.agents,
                                          .agent = shown.agent,
                                          .obstacle = shown.obstacle});
  Q_EMIT changed();
  sendIfWished();
}

void PromptComposer::setText(const QString& text) {
  std::string words = text.toStdString();
  if (words == prompt_.words) return;
  const bool couldSend = canSend();
  prompt_.words = std::move(words);
  wish_.reset();
  draft_.typed();
  if (canSend() != couldSend) Q_EMIT changed();
}

QStringList PromptComposer::attachments() const {
  QStringList paths;
  for (const std::string& path : prompt_.attachments) paths.append(QString::fromStdString(path));
  return paths;
}

QString PromptComposer::longText() const {
  if (prompt_.longText.empty()) return {};
  const auto bytes = static_cast<qint64>(prompt_.longText.size());
  return tr("Long text, %1").arg(QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat));
}

QString PromptComposer::placeholder() const {
  if (isNew()) return tr("What is to be done in %1?").arg(QString::fromStdString(project_.name));
  if (isRunning()) {
    const auto first = window_.keybindings().keys(WindowCommand::sendNow);
    return first ? tr("Enter queues a prompt behind this run, %1 puts it first").arg(shownKeys(*first))
                 : tr("Enter queues a prompt behind this run");
  }
  return tr("Go on: Enter sends, Shift Enter begins a new line");
}

bool PromptComposer::canSend() const {
  const PromptOptions& options = pickers_.options();
  const bool isReady = isRead() && options.obstacle == PromptObstacle::none && options.agent;
  return isReady && !isBeingMade() && hasText();
}

bool PromptComposer::hasText() const {
  return !trimmed(prompt_.words).empty() || !prompt_.longText.empty() || !prompt_.attachments.empty();
}

bool PromptComposer::isBusy() const {
  const auto shown = conversation();
  return shown &&
         (isRunning() || sender_->isUnderWay(*shown) || application_.runners().activeConversations().contains(*shown));
}

QString PromptComposer::stopObstacle() const {
  const bool isElsewhere = isRunning() && summary_->run->place == LivingRun::Place::elsewhere;
  return isElsewhere ? tr("Another Ravant program runs this prompt: stop it there.") : QString();
}

bool PromptComposer::takeKey(int key, int modifiers) {
  const bool isPlain = (modifiers & ~static_cast<int>(Qt::KeypadModifier)) == static_cast<int>(Qt::NoModifier);
  switch (key) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
      return takeReturn(modifiers);
    case Qt::Key_Up:
      return isPlain && showEarlier();
    case Qt::Key_Down:
      return isPlain && showLater();
    default:
      return QKeySequence::keyBindings(QKeySequence::Paste).contains(QKeySequence(key | modifiers)) && takePasted();
  }
}

bool PromptComposer::takeReturn(int modifiers) {
  const int held = modifiers & ~static_cast<int>(Qt::KeypadModifier);
  if (held == static_cast<int>(Qt::NoModifier)) {
    send();
    return true;
  }
  const auto keys = window_.keybindings().keys(WindowCommand::sendNow);
  const auto isHeld = [held](Qt::KeyboardModifier modifier) { return (held & static_cast<int>(modifier)) != 0; };
  const KeyChord pressed{.ctrl = isHeld(Qt::ControlModifier),
                         .alt = isHeld(Qt::AltModifier),
                         .shift = isHeld(Qt::ShiftModifier),
                         .meta = isHeld(Qt::MetaModifier),
                         .key = "Enter"};
  if (!keys || keys->chords() != std::vector{pressed}) return false;
  sendNow();
  return true;
}

bool PromptComposer::showEarlier() {
  const bool isWalking = walked_ && *walked_ == prompt_;
  if (!isWalking && !prompt_.isEmpty()) return false;
  if (!isWalking) history_.end();
  history_.goBack();
  return true;
}

bool PromptComposer::showLater() {
  if (!walked_ || *walked_ != prompt_) return false;
  history_.goForward();
  return true;
}

bool PromptComposer::takePasted() {
  const QMimeData* const pasted = QGuiApplication::clipboard()->mimeData();
  if (pasted == nullptr) return false;
  QList<QUrl> files = pasted->urls();
  files.removeIf([](const QUrl& url) { return !url.isLocalFile(); });
  if (!files.isEmpty()) {
    window_.takeDropped(files);
    return true;
  }
  if (pasted->hasText()) {
    std::string text = pasted->text().toStdString();
    if (text.size() <= ComposedPrompt::kMostWords) return false;
    prompt_ = joined(std::move(prompt_), ComposedPrompt{.words = {}, .longText = std::move(text)});
    edited();
    return true;
  }
  if (!pasted->hasImage()) return false;
  refusal_ = tr("Images cannot be sent to %1 yet; drop a file instead.").arg(pickers_.agentName()).toStdString();
  Q_EMIT changed();
  return true;
}

void PromptComposer::attach(const QList<QUrl>& files) {
  const std::string folder = readPlace_ == place_ ? project_.path : std::string();
  bool hasFile = false;
  for (const QUrl& file : files) {
    if (!file.isLocalFile()) continue;
    hasFile = true;
    std::string path = attachmentPath(file.toLocalFile().toStdString(), folder);
    if (std::ranges::count(prompt_.attachments, path) == 0) prompt_.attachments.push_back(std::move(path));
  }
  if (hasFile) edited();
}

void PromptComposer::detach(int index) {
  if (index < 0 || index >= std::ssize(prompt_.attachments)) return;
  prompt_.attachments.erase(prompt_.attachments.begin() + index);
  edited();
}

void PromptComposer::showLongText() {
  ComposedPrompt all = prompt_;
  all.words = prompt_.allWords();
  all.longText.clear();
  show(std::move(all));
}

void PromptComposer::removeLongText() {
  if (!place_ || prompt_.longText.empty()) return;
  const auto putBack = [sender = sender_, place = *place_, text = std::exchange(prompt_.longText, {})] {
    sender->putBack(place, text);
  };
  window_.notices()->tell(tr("The long text was removed"), putBack);
  edited();
}

void PromptComposer::show(ComposedPrompt prompt) {
  walked_.reset();
  wish_.reset();
  prompt_ = std::move(prompt);
  Q_EMIT textReplaced();
  Q_EMIT changed();
}

void PromptComposer::edited() {
  refusal_.clear();
  wish_.reset();
  draft_.typed();
  Q_EMIT changed();
}

}  // namespace ravant::desktop
