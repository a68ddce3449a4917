#include "desktop/composer/agent_troubles.hpp"

#include <algorithm>
#include <functional>

#include "agent/ravant_provider.hpp"
#include "app/agent_scan.hpp"
#include "app/agent_trouble.hpp"
#include "app/known_settings.hpp"
#include "desktop/program/sentence.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/files/working_folder.hpp"

namespace ravant::desktop {
namespace {

QString nameOf(AgentType type) { return QString::fromUtf8(displayName(type).data()); }

bool isBuiltIn(const Agent& agent) { return agent.type == AgentType::ravant; }

/// Whether the program is looked for where the login shell looks.
bool needsSearchPath(const Agent& agent) { return !isBuiltIn(agent) && !agent.path.contains('/'); }

/// Why nothing can run in the folder; empty where something can. Blocks.
std::string troubleOf(const std::string& folder) {
  try {
    expectFolder(folder);
  } catch (const WorkingFolderError& error) {
    return error.what();
  }
  return {};
}

}  // namespace

AgentTroubles::AgentTroubles() : window_(DesktopWindow::instance()) {
  StoreChanges& changes = window_.changes();
  connect(&changes, &StoreChanges::agentsChanged, this, [this] { rereading_.soon(); });
  connect(&changes, &StoreChanges::everythingChanged, this, [this] { rereading_.soon(); });
  // What is missing often makes a run fail.
  connect(&changes, &StoreChanges::runChanged, this, [this](ConversationId, const std::optional<RunState>& state) {
    if (!state) rereading_.soon();
  });
  connect(&window_, &DesktopWindow::settingsChanged, this, [this] {
    if (!troubles_.empty()) rereading_.soon();
  });
  // It is often mended outside.
  connect(&window_, &DesktopWindow::activeChanged, this, [this] {
    if (window_.isActive() && !troubles_.empty()) refresh();
  });
}

void AgentTroubles::follow(std::optional<Subject> subject) {
  if (subject == subject_) return;
  const bool isOfAnother = !subject || !subject_ || subject->project != subject_->project ||
                           subject->isNew != subject_->isNew || subject->agent != subject_->agent;
  subject_ = std::move(subject);
  if (isOfAnother) show({}, {});
  refresh();
}

awaitable<void> AgentTroubles::read() {
  if (!subject_) co_return;
  const Subject subject = *subject_;
  std::vector<Trouble> troubles;
  if (auto trouble = troubleOfObstacle(subject)) troubles.push_back(*std::move(trouble));
  if (auto trouble = co_await alive(troubleOfFolder(subject))) troubles.push_back(*std::move(trouble));
  std::vector<Agent> looked;
  if (subject.isNew) {
    looked = subject.agents;
  } else if (subject.agent && subject.obstacle != PromptObstacle::agentDisabled) {
    looked = {*subject.agent};
  }
  std::vector<Trouble> ofAgents = co_await alive(troublesOfAgents(looked));
  QStringList ready;
  for (const Agent& agent : looked) {
    const auto isOfIt = [&](const Trouble& trouble) { return trouble.agent == agent.id; };
    if (std::ranges::none_of(ofAgents, isOfIt) && std::ranges::none_of(troubles, isOfIt)) {
      ready.append(nameOf(agent.type));
    }
  }
  ready.removeDuplicates();
  const auto isOfChosen = [&](const Trouble& trouble) { return subject.agent && trouble.agent == subject.agent->id; };
  // Whoever works with another agent is not to be troubled.
  if (!ready.isEmpty()) {
    std::erase_if(ofAgents, std::not_fn(isOfChosen));
  }
  // Without a key or a program there are no models to choose from.
  const bool lacksMore = std::ranges::any_of(ofAgents, isOfChosen);
  if (lacksMore) std::erase_if(troubles, [](const Trouble& trouble) { return trouble.remedy == Remedy::Model; });
  const auto ofChosen = std::ranges::find_if(ofAgents, isOfChosen);
  if (ofChosen != ofAgents.end()) std::rotate(ofAgents.begin(), ofChosen, ofChosen + 1);
  std::ranges::move(ofAgents, std::back_inserter(troubles));
  if (subject.isNew && ready.isEmpty() && std::ranges::all_of(looked, isBuiltIn) && !looked.empty()) {
    troubles.push_back({.remedy = Remedy::Scan, .words = tr("No other coding agent was found.")});
  }
  if (subject != subject_) co_return;
  QString words;
  if (subject.isNew && ready.size() == 1) words = tr("%1 is ready.").arg(ready.first());
  if (subject.isNew && ready.size() > 1) {
    const QString last = ready.takeLast();
    words = tr("%1 and %2 are ready.").arg(ready.join(QStringLiteral(", ")), last);
  }
  show(std::move(troubles), std::move(words));
}

std::optional<AgentTroubles::Trouble> AgentTroubles::troubleOfObstacle(const Subject& subject) {
  const QString name = subject.agent ? nameOf(subject.agent->type) : QString();
  switch (subject.obstacle) {
    case PromptObstacle::none:
      return std::nullopt;
    case PromptObstacle::noAgent:
      return Trouble{.remedy = Remedy::Scan, .words = tr("No coding agent was found.")};
    case PromptObstacle::agentDisabled:
      return Trouble{.remedy = Remedy::Enable, .words = tr("%1 is disabled.").arg(name), .agent = subject.agent->id};
    case PromptObstacle::agentUnregistered: {
      const AgentType type = subject.foreignAgent.value_or(AgentType::claude);
      return Trouble{.remedy = Remedy::Add,
                     .words = tr("%1, the agent of this conversation, has not been added yet.").arg(nameOf(type)),
                     .path = QString::fromUtf8(defaultCommandName(type).data())};
    }
    case PromptObstacle::agentRemoved:
      return Trouble{.remedy = Remedy::Anew, .words = tr("The agent of this conversation was removed.")};
    case PromptObstacle::noModel:
      return Trouble{
          .remedy = Remedy::Model, .words = tr("%1 has no enabled model.").arg(name), .agent = subject.agent->id};
  }
  return std::nullopt;
}

awaitable<std::optional<AgentTroubles::Trouble>> AgentTroubles::troubleOfFolder(Subject subject) {
  if (subject.folder.empty()) co_return std::nullopt;
  const std::string words = co_await onPool(window_.application().modelContainer()->work(),
                                            [folder = subject.folder] { return troubleOf(folder); });
  if (words.empty()) co_return std::nullopt;
  co_return Trouble{
      .remedy = Remedy::Folder,
      .words = sentence(tr("Nothing can run in the project %1: %2")
                            .arg(QString::fromStdString(subject.projectName), QString::fromStdString(words)))};
}

awaitable<std::vector<AgentTroubles::Trouble>> AgentTroubles::troublesOfAgents(std::vector<Agent> agents) {
  Application& application = window_.application();
  std::string searchPath;
  if (std::ranges::any_of(agents, needsSearchPath)) {
    const auto options = locatorOptions(application.settings(), application.processes());
    searchPath = (co_await alive(readShellEnvironment(options, application.io()))).searchPath;
  }
  std::vector<Trouble> troubles;
  for (const Agent& agent : agents) {
    if (isBuiltIn(agent)) {
      if (auto trouble = co_await alive(troubleOfKey(agent))) troubles.push_back(*std::move(trouble));
    } else if (const auto trouble = co_await alive(agentTrouble(application, agent, searchPath))) {
      troubles.push_back({.remedy = Remedy::Path,
                          .words = sentence(QString::fromStdString(trouble->words)),
                          .agent = agent.id,
                          .path = QString::fromStdString(agent.path)});
    }
  }
  co_return troubles;
}

awaitable<std::optional<AgentTroubles::Trouble>> AgentTroubles::troubleOfKey(Agent agent) {
  if (locked_ && locked_->agent == agent.id) co_return locked_;
  const auto found = co_await alive(keyTrouble(window_.application().providerKeys()));
  if (!found) co_return std::nullopt;
  Trouble trouble{.remedy = Remedy::Key, .words = sentence(QString::fromStdString(found->words)), .agent = agent.id};
  if (found->keyStoreFault == KeyStoreError::Case::locked) {
    trouble.remedy = Remedy::Unlock;
    locked_ = trouble;
  } else if (found->keyStoreFault == KeyStoreError::Case::unavailable) {
    const bool isFileNext = window_.application().settings().text(setting::kKeyStore) == setting::kFile;
    trouble.remedy = isFileNext ? Remedy::Restart : Remedy::KeyFile;
    trouble.words += isFileNext ? tr(" From the next start of Ravant on, keys are kept in a file.")
                                : tr(" Start one, or keep keys in a file.");
  } else {
    trouble.words += tr(" Enter a key here to work with %1.").arg(nameOf(agent.type));
  }
  co_return trouble;
}

void AgentTroubles::show(std::vector<Trouble> troubles, QString readyAgents) {
  if (troubles == troubles_ && readyAgents == readyAgents_) return;
  readyAgents_ = std::move(readyAgents);
  if (troubles != troubles_) {
    beginResetModel();
    troubles_ = std::move(troubles);
    endResetModel();
  }
  Q_EMIT changed();
}

int AgentTroubles::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : count(); }

QVariant AgentTroubles::data(const QModelIndex& index, int role) const {
  if (index.row() < 0 || index.row() >= count()) return {};
  const Trouble& trouble = troubles_[static_cast<std::size_t>(index.row())];
  switch (role) {
    case WordsRole:
    case Qt::DisplayRole:
      return trouble.words;
    case RemedyRole:
      return QVariant::fromValue(trouble.remedy);
    case OfferRole:
      switch (trouble.remedy) {
        case Remedy::Scan:
          return tr("Scan again");
        case Remedy::Path:
          return tr("Set its path");
        case Remedy::Add:
          return tr("Add it");
        case Remedy::Key:
          return tr("Enter the key");
        case Remedy::Unlock:
          return tr("Unlock it");
        case Remedy::KeyFile:
          return tr("Keep keys in a file");
        case Remedy::Restart:
          return tr("Quit Ravant");
        case Remedy::Enable:
          return tr("Enable it");
        case Remedy::Model:
          return tr("Choose a model");
        case Remedy::Folder:
          return tr("Choose its folder");
        case Remedy::Anew:
          return tr("Begin a new one");
      }
      return {};
    case PathRole:
      return trouble.path;
    case ProvidersRole: {
      QStringList providers;
      if (trouble.remedy != Remedy::Key) return providers;
      for (const RavantProvider provider : kRavantProviders) {
        providers.append(QString::fromUtf8(displayName(provider).data()));
      }
      return providers;
    }
    default:
      return {};
  }
}

QHash<int, QByteArray> AgentTroubles::roleNames() const {
  return {{WordsRole, "words"},
          {RemedyRole, "remedy"},
          {OfferRole, "offer"},
          {PathRole, "path"},
          {ProvidersRole, "providers"}};
}

}  // namespace ravant::desktop
