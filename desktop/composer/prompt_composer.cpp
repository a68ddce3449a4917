#include "desktop/composer/prompt_composer.hpp"

#include <QClipboard>
#include <QGuiApplication>
#include <QKeySequence>
#include <QMimeData>
#include <algorithm>

#include "agent/ravant_model.hpp"
#include "core/reasoning_effort_label.hpp"
#include "platform/text/duration_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

constexpr double kNearlyFull = 0.8;

QString fromText(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

std::optional<DraftPlace> shownPlace(const DesktopWindow& window) {
  if (const auto conversation = window.shownConversation()) return DraftPlace(*conversation);
  const QString project = window.newConversationProject();
  return project.isEmpty() ? std::nullopt : std::optional(DraftPlace(idOf<ProjectId>(project)));
}

QString sectionOf(const ModelOption& model) {
  const QString agent = fromText(displayName(model.agent.type));
  const RavantModel* const known = model.agent.type == AgentType::ravant ? findRavantModel(model.slug) : nullptr;
  return known == nullptr ? agent : agent + QStringLiteral(" · ") + fromText(displayName(known->provider));
}

}  // namespace

PromptComposer::PromptComposer(QObject* parent)
    : QObject(parent),
      window_(DesktopWindow::instance()),
      application_(window_.application()),
      sender_(std::make_shared<PromptSender>(application_, window_.changes())),
      draft_(sender_, window_.changes()),
      history_(application_),
      queue_(sender_, window_.changes(), *window_.notices()) {
  connect(&window_, &DesktopWindow::selectionChanged, this, &PromptComposer::followSelection);
  connect(window_.end(), &OrderlyEnd::stateChanged, &draft_, &DraftKeeper::writeNow);
  StoreChanges& changes = window_.changes();
  connect(&changes, &StoreChanges::everythingChanged, this, &PromptComposer::refresh);
  connect(&changes, &StoreChanges::agentsChanged, this, &PromptComposer::refresh);
  connect(&changes, &StoreChanges::conversationChanged, this, [this](ConversationId changed) {
    if (changed == conversation()) refresh();
  });
  connect(&changes, &StoreChanges::runChanged, this,
          [this](ConversationId changed, const std::optional<RunState>& state) {
            if (changed == conversation() && !state) refresh();
          });
  connect(sender_.get(), &PromptSender::underWayChanged, this, &PromptComposer::changed);
  connect(sender_.get(), &PromptSender::began, this, &PromptComposer::openBegun);
  connect(sender_.get(), &PromptSender::refused, this, [this](RefusedPrompt* refused) { takeBack(*refused); });
  connect(&draft_, &DraftKeeper::arrived, this,
          [this](const QString& text) { show(ComposedPrompt::parse(text.toStdString())); });
  connect(&history_, &PromptHistory::reached, this, [this](const QString& text) {
    show(ComposedPrompt::parse(text.toStdString()));
    if (history_.current()) walked_ = prompt_;
    draft_.typed(prompt_.text());
  });
  connect(&queue_, &QueuedPrompts::countChanged, this, &PromptComposer::changed);
  connect(&queue_, &QueuedPrompts::edited, this, [this](const QString& text) { putInFront(text.toStdString()); });
  connect(&window_, &DesktopWindow::promptRequested, this, &PromptComposer::sendWords);
  followSelection();
}

std::optional<ConversationId> PromptComposer::conversation() const {
  const auto* shown = place_ ? std::get_if<ConversationId>(&*place_) : nullptr;
  return shown != nullptr ? std::optional(*shown) : std::nullopt;
}

WantedOptions& PromptComposer::wanted() {
  const auto shown = conversation();
  return shown ? wanted_[*shown] : wantedOfNew_;
}

void PromptComposer::followSelection() {
  const auto place = shownPlace(window_);
  if (place == place_) return;
  place_ = place;
  refusal_.clear();
  draft_.open(place);
  queue_.open(conversation());
  history_.open(conversation());
  show({});
  refresh();
  if (isNew()) Q_EMIT newConversationOpened();
}

void PromptComposer::refresh() {
  if (!place_) return;
  isStale_ = true;
  if (!isReading_) start(readUntilCurrent());
}

awaitable<void> PromptComposer::readUntilCurrent() {
  if (std::exchange(isReading_, true)) co_return;
  try {
    while (place_ && std::exchange(isStale_, false)) co_await read();
  } catch (const StoreError&) {
    isReading_ = false;
    throw;
  }
  isReading_ = false;
}

awaitable<void> PromptComposer::read() {
  const DraftPlace place = *place_;
  std::optional<ConversationSummary> summary;
  if (const auto shown = conversation()) {
    summary = co_await alive(application_.conversations().conversation(*shown));
    if (!summary) co_return;
  }
  const ProjectId owner = summary ? summary->conversation.project : std::get<ProjectId>(place);
  const std::vector<Project> projects = co_await alive(application_.projects().projects());
  const auto project = std::ranges::find(projects, owner, &Project::id);
  const auto conversation = summary ? std::optional(summary->conversation) : std::nullopt;
  PromptOptions options = co_await alive(readPromptOptions(application_, conversation, wanted()));
  if (place != place_ || project == projects.end()) co_return;
  summary_ = std::move(summary);
  project_ = *project;
  options_ = std::move(options);
  readPlace_ = place;
  fillLists();
  Q_EMIT changed();
}

void PromptComposer::fillLists() {
  std::vector<ChoiceList::Choice> choices;
  for (const Agent& agent : options_.agents) {
    choices.push_back({.value = textOf(agent.id),
                       .name = fromText(displayName(agent.type)),
                       .detail = QString::fromStdString(agent.path)});
  }
  agents_.replace(std::move(choices), options_.agent ? textOf(options_.agent->id) : QString(), false);
  choices.clear();
  for (const ModelOption& model : options_.models) {
    choices.push_back({.value = QString::fromStdString(model.slug),
                       .name = QString::fromStdString(model.displayName),
                       .detail = QString::fromStdString(model.displayName == model.slug ? "" : model.slug),
                       .section = sectionOf(model),
                       .owner = textOf(model.agent.id)});
  }
  models_.replace(std::move(choices), QString::fromStdString(options_.model), options_.agent.has_value());
  choices = {{.value = QString(), .name = tr("Default")}};
  for (const std::string& effort : options_.efforts.value_or(std::vector<std::string>())) {
    choices.push_back(
        {.value = QString::fromStdString(effort), .name = QString::fromStdString(reasoningEffortLabel(effort))});
  }
  efforts_.replace(std::move(choices), QString::fromStdString(options_.effort.value_or("")), !options_.efforts);
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

QString PromptComposer::placeholder() const {
  if (isNew()) return tr("What is to be done in %1?").arg(QString::fromStdString(project_.name));
  if (isRunning()) return tr("Enter queues a prompt behind this run, Ctrl Enter puts it first");
  return tr("Go on: Enter sends, Shift Enter begins a new line");
}

QString PromptComposer::refusal() const {
  return QString::fromStdString(refusal_.empty() && readPlace_ == place_ ? options_.obstacle : refusal_);
}

bool PromptComposer::canSend() const {
  const bool isReady = place_ && readPlace_ == place_ && options_.obstacle.empty() && options_.agent;
  const bool isBeingMade = isNew() && sender_->isUnderWay(*place_);
  return isReady && !isBeingMade && (!trimmed(prompt_.words).empty() || !prompt_.attachments.empty());
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

QString PromptComposer::agentName() const {
  if (options_.agent) return fromText(displayName(options_.agent->type));
  const auto type = summary_ ? summary_->conversation.foreignAgentType : std::nullopt;
  return type ? fromText(displayName(*type)) : tr("none");
}

QString PromptComposer::modelName() const {
  if (options_.model.empty()) return tr("none");
  const auto listed = std::ranges::find(options_.models, options_.model, &ModelOption::slug);
  return QString::fromStdString(listed == options_.models.end() ? options_.model : listed->displayName);
}

QString PromptComposer::effortName() const {
  return options_.effort ? QString::fromStdString(reasoningEffortLabel(*options_.effort)) : tr("Default");
}

bool PromptComposer::canChooseEffort() const {
  return !options_.model.empty() && (!options_.efforts || !options_.efforts->empty());
}

double PromptComposer::contextShare() const {
  if (!summary_) return 0;
  const Conversation& conversation = summary_->conversation;
  const bool isKnown = conversation.lastUsedTokens && conversation.lastMaxTokens.value_or(0) > 0;
  if (!isKnown) return 0;
  return std::min(1.0,
                  static_cast<double>(*conversation.lastUsedTokens) / static_cast<double>(*conversation.lastMaxTokens));
}

QString PromptComposer::contextWords() const {
  if (contextShare() <= 0) return {};
  const Conversation& conversation = summary_->conversation;
  return tr("%1 of %2")
      .arg(QString::fromStdString(tokenCount(*conversation.lastUsedTokens)),
           QString::fromStdString(tokenCount(*conversation.lastMaxTokens)));
}

bool PromptComposer::isContextNearlyFull() const { return contextShare() > kNearlyFull; }

void PromptComposer::send() { send(PromptSender::QueueEnd::back); }

void PromptComposer::sendNow() {
  const bool isQueued = canSend() && isBusy();
  send(PromptSender::QueueEnd::front);
  if (isQueued) {
    window_.notices()->tell(
        tr("%1 takes nothing into a run: the prompt is sent first when the run is over").arg(agentName()));
  }
}

void PromptComposer::send(PromptSender::QueueEnd end) {
  if (!canSend()) return;
  PromptOrder order{.prompt = prompt_.text(),
                    .project = project_,
                    .conversation = conversation(),
                    .agent = options_.agent->id,
                    .model = options_.model,
                    .effort = options_.effort};
  const bool isQueued = isBusy();
  draft_.handOver();
  refusal_.clear();
  if (isQueued) {
    sender_->queue(std::move(order), end);
  } else {
    sender_->send(std::move(order));
  }
  show({});
}

void PromptComposer::sendWords(ConversationId conversation, const QString& words) {
  if (place_ != DraftPlace(conversation) || isBusy()) return;
  if (readPlace_ != place_ || !options_.obstacle.empty() || !options_.agent) {
    return window_.notices()->tellError(options_.obstacle.empty()
                                            ? tr("The conversation is still being read: try again in a moment.")
                                            : QString::fromStdString(options_.obstacle));
  }
  refusal_.clear();
  sender_->send({.prompt = words.toStdString(),
                 .project = project_,
                 .conversation = conversation,
                 .agent = options_.agent->id,
                 .model = options_.model,
                 .effort = options_.effort});
}

void PromptComposer::stop() {
  const auto shown = conversation();
  if (shown && isRunning() && stopObstacle().isEmpty()) sender_->stop(*shown);
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
  if (!isWalking && prompt_ != ComposedPrompt()) return false;
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
  if (!pasted->hasImage() || pasted->hasText()) return false;
  refusal_ = tr("Images cannot be sent to %1 yet; drop a file instead.").arg(agentName()).toStdString();
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
  if (hasFile) typed();
  return hasFile;
}

void PromptComposer::detach(int index) {
  if (index < 0 || index >= std::ssize(prompt_.attachments)) return;
  prompt_.attachments.erase(prompt_.attachments.begin() + index);
  typed();
}

void PromptComposer::chooseAgent(int row) {
  const ChoiceList::Choice* const choice = agents_.at(row);
  if (choice == nullptr || !isNew()) return;
  wantedOfNew_ = {.agent = idOf<AgentId>(choice->value)};
  refresh();
}

void PromptComposer::chooseModel(int row) {
  const ChoiceList::Choice* const choice = models_.at(row);
  if (choice == nullptr) return;
  WantedOptions& chosen = wanted();
  if (options_.agent) chosen.agent = choice->owner.isEmpty() ? options_.agent->id : idOf<AgentId>(choice->owner);
  chosen.model = choice->value.toStdString();
  refresh();
}

void PromptComposer::chooseEffort(int row) {
  const ChoiceList::Choice* const choice = efforts_.at(row);
  if (choice == nullptr) return;
  wanted().effort = choice->value.toStdString();
  refresh();
}

void PromptComposer::show(ComposedPrompt prompt) {
  walked_.reset();
  prompt_ = std::move(prompt);
  Q_EMIT textReplaced();
  Q_EMIT changed();
}

void PromptComposer::typed() {
  refusal_.clear();
  draft_.typed(prompt_.text());
  Q_EMIT changed();
}

void PromptComposer::putInFront(const std::string& text) {
  const std::string rest = prompt_.text();
  show(ComposedPrompt::parse(rest.empty() ? text : text + "\n\n" + rest));
  draft_.typed(prompt_.text());
  draft_.writeNow();
}

void PromptComposer::takeBack(RefusedPrompt& refused) {
  if (refused.place != place_) return;
  refused.isTaken = true;
  refusal_ = refused.words;
  putInFront(refused.prompt);
}

void PromptComposer::openBegun(ProjectId project, ConversationId conversation) {
  if (place_ != DraftPlace(project)) return;
  wanted_[conversation] = {.model = options_.model, .effort = options_.effort.value_or("")};
  window_.openConversation(textOf(conversation), textOf(project));
}

}  // namespace ravant::desktop
