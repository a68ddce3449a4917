#include "desktop/composer/prompt_composer.hpp"

#include <QClipboard>
#include <QGuiApplication>
#include <QKeySequence>
#include <QLocale>
#include <QMimeData>
#include <algorithm>

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
      draft_(sender_, window_.changes()),
      history_(application_),
      queue_(sender_, window_.changes(), *window_.notices()),
      pickers_(application_) {
  connect(&window_, &DesktopWindow::selectionChanged, this, &PromptComposer::followSelection);
  connect(window_.end(), &OrderlyEnd::stateChanged, &draft_, &DraftKeeper::writeNow);
  followStore();
  connect(sender_.get(), &PromptSender::underWayChanged, this, [this] {
    if (isStarting_) refresh();
    Q_EMIT changed();
  });
  connect(sender_.get(), &PromptSender::began, this, &PromptComposer::openBegun);
  connect(sender_.get(), &PromptSender::returned, this, [this](ReturnedPrompt* returned) { takeBack(*returned); });
  connect(&draft_, &DraftKeeper::arrived, this,
          [this](const QString& text) { show(ComposedPrompt::parse(text.toStdString())); });
  connect(&history_, &PromptHistory::reached, this, [this](const QString& text) {
    const bool isUntouched = prompt_.text().empty() || (walked_ && *walked_ == prompt_);
    if (!isUntouched) return history_.end();
    show(ComposedPrompt::parse(text.toStdString()));
    if (history_.current()) walked_ = prompt_;
    draft_.typed(prompt_.text());
  });
  connect(&queue_, &QueuedPrompts::countChanged, this, &PromptComposer::changed);
  connect(&pickers_, &PromptPickers::chosen, this, &PromptComposer::refresh);
  connect(&window_, &DesktopWindow::promptRequested, this, &PromptComposer::sendWords);
  followSelection();
}

void PromptComposer::followStore() {
  StoreChanges& changes = window_.changes();
  connect(&changes, &StoreChanges::everythingChanged, this, &PromptComposer::refresh);
  connect(&changes, &StoreChanges::agentsChanged, this, &PromptComposer::refresh);
  connect(&changes, &StoreChanges::conversationChanged, this, [this](ConversationId changed) {
    if (changed == conversation()) refresh();
  });
  connect(&changes, &StoreChanges::projectChanged, this, [this](ProjectId changed) {
    if (changed == project_.id) refresh();
  });
  connect(&changes, &StoreChanges::runChanged, this,
          [this](ConversationId changed, const std::optional<RunState>& state) {
            if (changed == conversation() && !state) refresh();
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
  draft_.open(place);
  queue_.open(conversation());
  history_.open(place);
  pickers_.open(conversation());
  troubles_.follow({});
  show({});
  refresh();
  if (isNew()) Q_EMIT fieldWanted();
}

void PromptComposer::refresh() {
  if (place_ && rereading_.want()) start(readUntilCurrent());
}

awaitable<void> PromptComposer::readUntilCurrent() {
  while (rereading_.goOn()) {
    try {
      if (place_) co_await read(*place_);
    } catch (const std::exception&) {
      if (rereading_.giveUp()) throw;
    }
  }
}

awaitable<void> PromptComposer::read(DraftPlace place) {
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
}

void PromptComposer::setText(const QString& text) {
  std::string words = text.toStdString();
  if (words == prompt_.words) return;
  const bool couldSend = canSend();
  prompt_.words = std::move(words);
  draft_.typed(prompt_.text());
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
  if (isRunning()) return tr("Enter queues a prompt behind this run, Ctrl Enter puts it first");
  return tr("Go on: Enter sends, Shift Enter begins a new line");
}

bool PromptComposer::canSend() const {
  const PromptOptions& options = pickers_.options();
  const bool isReady = place_ && readPlace_ == place_ && options.obstacle == PromptObstacle::none && options.agent;
  const bool isBeingMade = isNew() && sender_->isUnderWay(*place_);
  const bool hasText = !trimmed(prompt_.words).empty() || !prompt_.longText.empty() || !prompt_.attachments.empty();
  return isReady && !isBeingMade && hasText;
}

bool PromptComposer::isBusy() const {
  const auto shown = conversation();
  return shown &&
         (isRunning() || sender_->isUnderWay(*shown) || application_.runners().activeConversations().contains(*shown));
}

QString PromptComposer::stopObstacle() const {
  const bool isElsewhere = isRunning() && summary_->run->place == LivingRun::Place::elsewhere;
  return isElsewhere ? tr("Another Ravant program runs this prompt: stop it there") : QString();
}

void PromptComposer::send() { send(PromptSender::QueueEnd::back); }

void PromptComposer::sendNow() {
  const bool isQueued = canSend() && isBusy();
  send(PromptSender::QueueEnd::front);
  if (isQueued) {
    window_.notices()->tell(
        tr("%1 takes nothing into a run: the prompt is sent first when the run is over").arg(pickers_.agentName()));
  }
}

void PromptComposer::send(PromptSender::QueueEnd end) {
  if (!canSend()) return;
  const PromptOptions& options = pickers_.options();
  PromptOrder order{.prompt = prompt_.text(),
                    .project = project_,
                    .conversation = conversation(),
                    .agent = options.agent->id,
                    .model = options.model,
                    .effort = options.effort};
  const bool isQueued = isBusy();
  draft_.handOver();
  refusal_.clear();
  if (isQueued) {
    sender_->queue(std::move(order), end);
  } else {
    isStarting_ = true;
    sender_->send(std::move(order));
  }
  show({});
}

void PromptComposer::sendWords(ConversationId conversation, const QString& words) {
  const PromptOptions& options = pickers_.options();
  if (place_ != DraftPlace(conversation) || isBusy()) return;
  if (readPlace_ != place_) {
    return window_.notices()->tellError(tr("The conversation is still being read: try again in a moment."));
  }
  if (options.obstacle != PromptObstacle::none || !options.agent) {
    return window_.notices()->tellError(tr("Nothing was sent: what is missing is said above the prompt."));
  }
  refusal_.clear();
  sender_->send({.prompt = words.toStdString(),
                 .project = project_,
                 .conversation = conversation,
                 .agent = options.agent->id,
                 .model = options.model,
                 .effort = options.effort});
}

void PromptComposer::stop() {
  if (place_ && isUnderWay() && stopObstacle().isEmpty()) sender_->stop(*place_);
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
  if (held != static_cast<int>(Qt::ControlModifier) || !keys || keys->text() != "Ctrl+Enter") return false;
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
  if (pasted->hasUrls() && attach(pasted->urls())) return true;
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

bool PromptComposer::attach(const QList<QUrl>& files) {
  const std::string folder = readPlace_ == place_ ? project_.path : std::string();
  bool hasFile = false;
  for (const QUrl& file : files) {
    if (!file.isLocalFile()) continue;
    hasFile = true;
    std::string path = attachmentPath(file.toLocalFile().toStdString(), folder);
    if (std::ranges::count(prompt_.attachments, path) == 0) prompt_.attachments.push_back(std::move(path));
  }
  if (hasFile) edited();
  return hasFile;
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
  prompt_ = std::move(prompt);
  Q_EMIT textReplaced();
  Q_EMIT changed();
}

void PromptComposer::edited() {
  refusal_.clear();
  draft_.typed(prompt_.text());
  Q_EMIT changed();
}

void PromptComposer::putInFront(const std::string& text) {
  show(joined(ComposedPrompt::parse(text), prompt_));
  draft_.typed(prompt_.text());
  draft_.writeNow();
}

void PromptComposer::takeBack(ReturnedPrompt& returned) {
  const auto* const queuedIn = std::get_if<ConversationId>(&returned.place);
  if (queuedIn != nullptr && returned.model) {
    pickers_.remember(*queuedIn, {.model = returned.model, .effort = returned.effort});
  }
  if (returned.place != place_) return;
  returned.isTaken = true;
  isStarting_ = false;
  refusal_ = returned.words;
  putInFront(returned.prompt);
  refresh();
  troubles_.refresh();
  Q_EMIT fieldWanted();
}

void PromptComposer::openBegun(ProjectId project, ConversationId conversation) {
  if (place_ != DraftPlace(project)) return;
  const PromptOptions& options = pickers_.options();
  pickers_.remember(conversation, {.model = options.model, .effort = options.effort.value_or("")});
  window_.openConversation(textOf(conversation), textOf(project));
}

}  // namespace ravant::desktop
