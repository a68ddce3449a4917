#include "desktop/composer/agent_readiness.hpp"

#include <algorithm>

#include "agent/ravant_provider.hpp"
#include "app/agent_scan.hpp"
#include "app/agent_trouble.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

QString nameOf(const Agent& agent) { return QString::fromUtf8(displayName(agent.type).data()); }

/// Whether the program is looked for where the login shell looks.
bool needsSearchPath(const Agent& agent) { return agent.type != AgentType::ravant && !agent.path.contains('/'); }

}  // namespace

AgentReadiness::AgentReadiness(QObject* parent) : QAbstractListModel(parent), window_(DesktopWindow::instance()) {
  StoreChanges& changes = window_.changes();
  connect(&window_, &DesktopWindow::selectionChanged, this, [this] {
    if (window_.newConversationProject() != textOf(project_.id)) refresh();
  });
  connect(&changes, &StoreChanges::agentsChanged, this, &AgentReadiness::refresh);
  connect(&changes, &StoreChanges::everythingChanged, this, &AgentReadiness::refresh);
  connect(&changes, &StoreChanges::projectChanged, this, [this](ProjectId project) {
    if (project == project_.id) refresh();
  });
  refresh();
}

void AgentReadiness::refresh() {
  const QString project = window_.newConversationProject();
  if (project.isEmpty()) {
    project_ = {};
  } else {
    start(read(idOf<ProjectId>(project)));
  }
}

awaitable<void> AgentReadiness::read(ProjectId id) {
  const auto turn = turns_.take();
  Application& application = window_.application();
  const std::vector<Project> projects = co_await alive(application.projects().projects());
  const auto project = std::ranges::find(projects, id, &Project::id);
  if (!turns_.isLatest(turn) || project == projects.end()) co_return;
  project_ = *project;
  Q_EMIT changed();
  std::vector<Agent> enabled = co_await alive(application.agents().agents());
  std::erase_if(enabled, [](const Agent& agent) { return !agent.enabled; });
  std::vector<Trouble> troubles = co_await alive(troublesOf(enabled));
  if (!turns_.isLatest(turn)) co_return;
  QStringList ready;
  for (const Agent& agent : enabled) {
    if (std::ranges::count(troubles, agent.id, &Trouble::agent) == 0) ready.append(nameOf(agent));
  }
  ready.removeDuplicates();
  agents_ = ready.isEmpty() ? QString() : tr("Ready: %1").arg(ready.join(QStringLiteral(", ")));
  // That the built-in agent lacks a key is no trouble for who works with another one.
  if (!ready.isEmpty()) std::erase_if(troubles, [](const Trouble& trouble) { return trouble.remedy == Remedy::Key; });
  if (enabled.empty()) troubles.push_back({.remedy = Remedy::None, .words = tr("No coding agent was found.")});
  if (troubles != troubles_) {
    beginResetModel();
    troubles_ = std::move(troubles);
    endResetModel();
  }
  Q_EMIT changed();
}

awaitable<std::vector<AgentReadiness::Trouble>> AgentReadiness::troublesOf(std::vector<Agent> enabled) {
  Application& application = window_.application();
  std::string searchPath;
  if (std::ranges::any_of(enabled, needsSearchPath)) {
    const auto options = locatorOptions(application.settings(), application.processes());
    searchPath = (co_await readShellEnvironment(options, application.io())).searchPath;
  }
  std::vector<Trouble> troubles;
  for (const Agent& agent : enabled) {
    const auto words = co_await agentTrouble(application, agent, searchPath);
    if (!words) continue;
    troubles.push_back({.remedy = agent.type == AgentType::ravant ? Remedy::Key : Remedy::Path,
                        .words = QString::fromStdString(*words),
                        .agent = agent.id,
                        .path = QString::fromStdString(agent.path)});
  }
  co_return troubles;
}

void AgentReadiness::scan() {
  if (!isScanning_) start(scanOnce());
}

awaitable<void> AgentReadiness::scanOnce() {
  Application& application = window_.application();
  isScanning_ = true;
  Q_EMIT changed();
  QString words;
  try {
    const auto options = locatorOptions(application.settings(), application.processes());
    const auto scanned = co_await alive(scanAgents(application.agents(), options, application.io()));
    const auto news = std::ranges::count_if(
        scanned, [](const ScannedAgent& agent) { return agent.outcome != ScannedAgent::Outcome::known; });
    words = news == 0 ? tr("No other agent was found") : tr("%n agent(s) found", nullptr, static_cast<int>(news));
  } catch (const std::exception& error) {
    window_.notices()->tellError(QString::fromUtf8(error.what()));
  }
  isScanning_ = false;
  if (!words.isEmpty()) window_.notices()->tell(words);
  refresh();
}

void AgentReadiness::setPath(int row, const QString& path) {
  const std::string typed(trimmed(path.toStdString()));
  if (row < 0 || row >= rowCount() || typed.empty()) return;
  start(storePath(troubles_[static_cast<std::size_t>(row)].agent, typed));
}

awaitable<void> AgentReadiness::storePath(AgentId agent, std::string path) {
  co_await alive(window_.application().agents().setPath(agent, path));
  refresh();
}

void AgentReadiness::enterKey(int provider, const QString& key) {
  if (provider < 0 || provider >= static_cast<int>(kRavantProviders.size()) || key.trimmed().isEmpty()) return;
  start(storeKey(std::string(rawValue(kRavantProviders.at(static_cast<std::size_t>(provider)))), key.toStdString()));
}

awaitable<void> AgentReadiness::storeKey(std::string account, std::string key) {
  co_await alive(window_.application().providerKeys().setRavantProviderAPIKey(std::move(key), std::move(account)));
  window_.notices()->tell(tr("The key is stored"));
  // Which agent and model begin depends on the keys, so whoever shows them reads them again.
  Q_EMIT window_.changes().agentsChanged();
}

int AgentReadiness::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(troubles_.size());
}

QVariant AgentReadiness::data(const QModelIndex& index, int role) const {
  if (index.row() < 0 || index.row() >= rowCount()) return {};
  const Trouble& trouble = troubles_[static_cast<std::size_t>(index.row())];
  switch (role) {
    case WordsRole:
    case Qt::DisplayRole:
      return trouble.words;
    case RemedyRole:
      return QVariant::fromValue(trouble.remedy);
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

QHash<int, QByteArray> AgentReadiness::roleNames() const {
  return {{WordsRole, "words"}, {RemedyRole, "remedy"}, {PathRole, "path"}, {ProvidersRole, "providers"}};
}

}  // namespace ravant::desktop
