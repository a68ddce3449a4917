#include <algorithm>

#include "agent/ravant_provider.hpp"
#include "app/agent_scan.hpp"
#include "app/known_settings.hpp"
#include "app/window_settings.hpp"
#include "desktop/composer/agent_troubles.hpp"
#include "desktop/program/open_request.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {

void AgentTroubles::mend(int row) {
  if (row < 0 || row >= count() || !subject_) return;
  const Trouble& trouble = troubles_[static_cast<std::size_t>(row)];
  switch (trouble.remedy) {
    case Remedy::Scan:
      return scan();
    case Remedy::Enable:
      return start(enable(*trouble.agent));
    case Remedy::Model:
      return Q_EMIT modelWanted();
    case Remedy::Folder:
      return Q_EMIT folderWanted();
    case Remedy::Unlock:
      locked_.reset();
      return refresh();
    case Remedy::KeyFile:
      return start(keepKeysInFile());
    case Remedy::Restart:
      return window_.runCommand(WindowCommand::quit);
    case Remedy::Anew:
      return window_.startNewConversation(textOf(subject_->project));
    case Remedy::Path:
    case Remedy::Add:
    case Remedy::Key:
      return;
  }
}

awaitable<void> AgentTroubles::enable(AgentId agent) {
  co_await alive(window_.application().agents().setEnabled(agent, true));
}

void AgentTroubles::scan() {
  if (!isScanning_) start(scanOnce());
}

awaitable<void> AgentTroubles::scanOnce() {
  Application& application = window_.application();
  isScanning_ = true;
  Q_EMIT changed();
  QString words;
  try {
    const auto options = locatorOptions(application.settings(), application.processes());
    const auto scanned = co_await alive(scanAgents(application.agents(), options, application.io()));
    const auto news = std::ranges::count_if(
        scanned, [](const ScannedAgent& agent) { return agent.outcome != ScannedAgent::Outcome::known; });
    words = news == 0 ? tr("No other agent was found")
                      : (news == 1 ? tr("An agent was found") : tr("%1 agents were found").arg(news));
  } catch (const std::exception& error) {
    window_.notices()->tellError(QString::fromUtf8(error.what()));
  }
  isScanning_ = false;
  if (!words.isEmpty()) window_.notices()->tell(words);
  Q_EMIT changed();
  refresh();
}

void AgentTroubles::setPath(int row, const QString& path) {
  const std::string typed(trimmed(path.toStdString()));
  if (row < 0 || row >= count() || typed.empty() || !subject_) return;
  const Trouble& trouble = troubles_[static_cast<std::size_t>(row)];
  if (trouble.remedy == Remedy::Path) start(storePath(*trouble.agent, typed));
  if (trouble.remedy == Remedy::Add) start(addAgent(subject_->foreignAgent.value_or(AgentType::claude), typed));
}

awaitable<void> AgentTroubles::storePath(AgentId agent, std::string path) {
  co_await alive(window_.application().agents().setPath(agent, path));
  refresh();
}

awaitable<void> AgentTroubles::addAgent(AgentType type, std::string path) {
  co_await alive(window_.application().agents().createAgentIfMissing(type, path, {}));
}

void AgentTroubles::enterKey(int provider, const QString& key) {
  if (provider < 0 || provider >= static_cast<int>(kRavantProviders.size()) || key.trimmed().isEmpty()) return;
  start(storeKey(kRavantProviders.at(static_cast<std::size_t>(provider)), key.toStdString()));
}

awaitable<void> AgentTroubles::storeKey(RavantProvider provider, std::string key) {
  const QString name = QString::fromUtf8(displayName(provider).data());
  try {
    co_await alive(
        window_.application().providerKeys().setRavantProviderAPIKey(std::move(key), std::string(rawValue(provider))));
  } catch (const KeyStoreError& error) {
    if (error.kind() != KeyStoreError::Case::unavailable) throw;
    throw std::runtime_error(tr("The key for %1 is not stored: %2. Start one, or keep keys in a file that only "
                                "you can read: set “keyStore” to “file” in the settings and start Ravant again.")
                                 .arg(name, QString::fromUtf8(error.what()))
                                 .toStdString());
  }
  window_.notices()->tell(tr("The key for %1 is stored").arg(name));
  // Which agent and model begin depends on the keys, so whoever shows them reads them again.
  Q_EMIT window_.changes().agentsChanged();
}

awaitable<void> AgentTroubles::keepKeysInFile() {
  SettingsFile& settings = window_.application().settings();
  const std::map<std::string, SettingValue> wanted{{std::string(setting::kKeyStore), std::string(setting::kFile)}};
  co_await alive(onPool(window_.application().modelContainer()->work(),
                        [path = settings.path(), wanted] { keepSettings(path, wanted); }));
  settings.load();
  refresh();
}

void AgentTroubles::setFolder(const QUrl& folder) {
  if (subject_ && folder.isLocalFile()) start(storeFolder(subject_->project, folder.toLocalFile().toStdString()));
}

awaitable<void> AgentTroubles::storeFolder(ProjectId project, std::string folder) {
  Application& application = window_.application();
  const std::vector<Project> known = co_await alive(application.projects().projects());
  const std::string path = co_await alive(onPool(application.modelContainer()->work(),
                                                 [folder, known] { return projectFolderAt(folder, known).string(); }));
  if (!co_await alive(application.projects().setPath(project, path))) {
    window_.notices()->tellError(tr("%1 is the folder of another project").arg(QString::fromStdString(path)));
  }
}

}  // namespace ravant::desktop
