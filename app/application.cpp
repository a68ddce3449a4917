#include "app/application.hpp"

#include <unistd.h>

#include <algorithm>
#include <exception>
#include <set>
#include <system_error>
#include <utility>

#include "app/agent_scan.hpp"
#include "app/known_settings.hpp"
#include "app/model_catalog.hpp"
#include "app/runner_factory.hpp"
#include "app/services.hpp"
#include "core/store/run_table.hpp"
#include "core/store/store_error.hpp"
#include "platform/files/private_file.hpp"
#include "platform/log/log.hpp"
#include "platform/process/child_process.hpp"
#include "platform/process/login_shell.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.app", "Application");

std::map<std::string, std::string> claudeEnvironment(const SettingsFile& settings) {
  if (::geteuid() != 0 || !settings.boolean(setting::kClaudeAsRoot)) return {};
  return {{"IS_SANDBOX", "1"}};
}

/// Whether it failed because nothing can be written, which keeps nobody from reading.
bool isForWantOfWriting(const std::exception& error) {
  if (const auto* refused = dynamic_cast<const StoreError*>(&error)) {
    return refused->kind() == StoreError::Case::readOnly || refused->kind() == StoreError::Case::full;
  }
  const auto* failed = dynamic_cast<const std::system_error*>(&error);
  return failed && isUnwritable(failed->code().value());
}

/// Whether it failed because another process kept the store to itself; the next start finds the same to do.
bool isForAnotherWriter(const std::exception& error) {
  const auto* refused = dynamic_cast<const StoreError*>(&error);
  return refused && refused->kind() == StoreError::Case::busy;
}

}  // namespace

std::unique_ptr<Application> Application::open(const Locations& locations) {
  ignoreBrokenPipes();
  std::unique_ptr<Application> application(new Application(locations));
  return application;
}

Application::Application(const Locations& locations)
    : locations_(locations), settings_(locations.settingsFile, knownSettings()) {
  settings_.load();
  makePrivateFolder(locations.dataFolder);
  openLogFile(locations.dataFolder / "logs");
  processes_ = ProcessLedger::open(locations.dataFolder / "processes");
  openStore();

  notifications_ = std::make_shared<NotificationCenter>();
  projects_ = ProjectStore::make(modelContainer_);
  agents_ = AgentModelStore::make(modelContainer_);
  conversations_ = ConversationModelActor::make(modelContainer_);
  transcripts_ = TranscriptReader::make(modelContainer_);
  transcriptImport_ = TranscriptImport::make(modelContainer_);
  http_ = std::make_shared<HttpEngine>(httpEngineOptions());
  keyStore_ = openKeyStore(settings_, locations_);
  providerKeys_ = std::make_shared<RavantProviderKey>(executors_.work(), keyStore_);
  runners_ = std::make_unique<AgentRunnerStore>(modelContainer_, runnerFactory(), notifications_);
  gitStatus_ = std::make_shared<GitStatusReader>(executors_.work());
  gitCommands_ = std::make_shared<GitCommandRunner>(GitCommandOptions{.io = executors_.io(),
                                                                      .work = executors_.work(),
                                                                      .shellPath = loginShell(ShellUse::command).path,
                                                                      .withheldVariables = keyVariables(),
                                                                      .processes = processes_});
  pins_ = PinnedItemStore::make(modelContainer_);
}

Application::~Application() = default;

void Application::openStore() {
  // Processes first: one that is still running could write to what is repaired behind it.
  std::vector<std::string> dead;
  std::set<std::string> stillRunning;
  for (const std::string& owner : processes_->deadOwners()) {
    if (processes_->isPostponed(owner)) {
      stillRunning.insert(owner);
    } else {
      kLog.warning("ending what process {} left running", owner);
      dead.push_back(owner);
    }
  }
  const std::vector<std::string> survived = processes_->recover(dead);
  stillRunning.insert(survived.begin(), survived.end());
  modelContainer_ = ModelContainer::open({.folder = locations_.dataFolder,
                                          .work = executors_.work(),
                                          .clock = std::make_shared<SystemClock>(),
                                          .processes = processes_},
                                         dead.empty() ? ModelContainer::Check::usual : ModelContainer::Check::thorough);
  try {
    endInterruptedRuns(modelContainer_, stillRunning);
    for (const std::string& owner : dead) {
      if (!stillRunning.contains(owner)) {
        processes_->forget(owner);
        continue;
      }
      kLog.error("some of what process {} left could not be ended; it is tried again later", owner);
      processes_->postpone(owner);
    }
  } catch (const std::exception& error) {
    if (!isForWantOfWriting(error) && !isForAnotherWriter(error)) throw;
    kLog.warning("what was interrupted is not repaired: {}", error.what());
  }
}

std::shared_ptr<RunnerFactory> Application::runnerFactory() {
  const std::chrono::seconds shellStartLimit(settings_.integer(setting::kShellStartSeconds));
  const ShellOptions shell{.shellPath = loginShell().path, .startLimit = shellStartLimit, .ledger = processes_};
  std::map<RavantProvider, std::string> addresses;
  for (const RavantProvider provider : kRavantProviders) {
    addresses[provider] = serviceAddress(settings_, serviceOf(provider));
  }
  return std::make_shared<AppRunnerFactory>(RunnerFactoryOptions{.io = executors_.io(),
                                                                 .shell = shell,
                                                                 .claudeEnvironment = claudeEnvironment(settings_),
                                                                 .builtIn = {.io = executors_.io(),
                                                                             .work = executors_.work(),
                                                                             .http = http_,
                                                                             .keys = providerKeys_,
                                                                             .baseAddresses = std::move(addresses),
                                                                             .session = httpSessionOptions(settings_),
                                                                             .shellPath = shell.shellPath,
                                                                             .processes = processes_}});
}

SearchIndex& Application::searchIndex() {
  if (!searchIndex_) searchIndex_ = SearchIndex::make(modelContainer_);
  return *searchIndex_;
}

SearchReader& Application::searchReader() {
  if (!searchReader_) searchReader_ = SearchReader::make(modelContainer_);
  return *searchReader_;
}

TranscriptFinder& Application::transcriptFinder() {
  if (!transcriptFinder_) transcriptFinder_ = TranscriptFinder::make(modelContainer_);
  return *transcriptFinder_;
}

awaitable<void> Application::keepSearchCurrent() {
  if (!searchUpkeep_) searchUpkeep_ = SearchUpkeep::make(modelContainer_);
  return searchUpkeep_->start();
}

GithubService& Application::github() {
  if (!github_) {
    github_ = GithubService::make(modelContainer_,
                                  {.io = executors_.io(),
                                   .http = http_,
                                   .session = httpSessionOptions(settings_),
                                   .endpoints = GithubEndpoints(checkedWhenUsed(settings_, RemoteService::github)),
                                   .tokens = std::make_shared<GithubTokens>(executors_.work(), keyStore_),
                                   .clock = std::make_shared<SystemClock>()});
  }
  return *github_;
}

LinearService& Application::linear() {
  if (!linear_) {
    linear_ = LinearService::make(modelContainer_, {.io = executors_.io(),
                                                    .work = executors_.work(),
                                                    .http = http_,
                                                    .session = httpSessionOptions(settings_),
                                                    .baseAddress = checkedWhenUsed(settings_, RemoteService::linear),
                                                    .keyStore = keyStore_});
  }
  return *linear_;
}

GithubDetectionOptions Application::githubDetection() {
  return {.io = executors_.io(),
          .shellPath = loginShell(ShellUse::command).path,
          .withheldVariables = keyVariables(),
          .processes = processes_};
}

awaitable<void> Application::prepare() {
  const std::vector<Agent> agents = co_await agents_->agents();
  const auto isBuiltIn = [](const Agent& agent) { return agent.type == AgentType::ravant; };
  if (std::ranges::any_of(agents, isBuiltIn) || !modelContainer_->isWritable()) co_return;
  try {
    co_await scanAgents(*agents_, locatorOptions(settings_, processes_), executors_.io());
  } catch (const std::exception& error) {
    kLog.warning("the installed agents could not be found: {}", error.what());
  }
  // Last, so that a first start that is interrupted begins anew.
  try {
    co_await agents_->createAgentIfMissing(AgentType::ravant, "", builtInModels(AgentType::ravant));
  } catch (const StoreError& error) {
    if (!isForWantOfWriting(error)) throw;
    kLog.warning("there is no built-in agent: {}", error.what());
  }
}

awaitable<void> Application::removeLeftovers() {
  // By itself: what is large takes seconds, for which nobody else is to wait.
  const auto conversations = ConversationModelActor::make(modelContainer_);
  co_await conversations->removeLeftovers();
}

awaitable<void> Application::shutdown() {
  std::exception_ptr error;
  const auto attempt = [&error](awaitable<void> step) -> awaitable<void> {
    try {
      co_await std::move(step);
    } catch (...) {
      if (!error) error = std::current_exception();
    }
  };
  co_await attempt(runners_->shutdown());
  // Also where none has started: a prompt that is on its way finds it stopped.
  if (!searchUpkeep_) searchUpkeep_ = SearchUpkeep::make(modelContainer_);
  co_await attempt(searchUpkeep_->stop());
  co_await attempt(gitCommands_->shutdown());
  if (github_) co_await attempt(github_->close());
  if (linear_) co_await attempt(linear_->shutdown());
  co_await attempt(modelContainer_->changeFeed()->stop());
  if (error) std::rethrow_exception(error);
}

}  // namespace ravant
