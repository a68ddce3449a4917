#pragma once

#include <memory>

#include "agent/ravant_provider_key.hpp"
#include "app/locations.hpp"
#include "core/agent_runner_store.hpp"
#include "core/store/agent_model_store.hpp"
#include "core/store/conversation_model_actor.hpp"
#include "core/store/model_container.hpp"
#include "core/store/pinned_item_store.hpp"
#include "core/store/project_store.hpp"
#include "core/store/search/search_reader.hpp"
#include "core/store/search/search_upkeep.hpp"
#include "core/store/search/transcript_finder.hpp"
#include "core/store/transcript_import.hpp"
#include "core/store/transcript_reader.hpp"
#include "git/git_command_runner.hpp"
#include "git/git_status_reader.hpp"
#include "integrations/github/github_account_detection.hpp"
#include "integrations/github/github_service.hpp"
#include "integrations/linear/linear_service.hpp"
#include "platform/async/executors.hpp"
#include "platform/http/http_engine.hpp"
#include "platform/keystore/key_store.hpp"
#include "platform/notifications/notification_center.hpp"
#include "platform/settings/settings_file.hpp"

namespace ravant {

/// Everything a face works with, from start-up to the end of the program.
///
/// Opening ends what a killed process left running, opens the store and repairs its transcripts. Where the data folder
/// cannot be written it is opened for reading; what would write then fails with `StoreError`. Used from the interface
/// thread.
class Application {
 public:
  /// Blocks. Throws `StoreError` or `SettingsError`, and `std::system_error` where the data folder
  /// cannot be used.
  static std::unique_ptr<Application> open(const Locations& locations);
  ~Application();
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  const Locations& locations() const { return locations_; }
  SettingsFile& settings() { return settings_; }
  const std::shared_ptr<ModelContainer>& modelContainer() const { return modelContainer_; }
  const std::shared_ptr<ProcessLedger>& processes() const { return processes_; }
  ProjectStore& projects() { return *projects_; }
  AgentModelStore& agents() { return *agents_; }
  ConversationModelActor& conversations() { return *conversations_; }
  TranscriptReader& transcripts() { return *transcripts_; }
  TranscriptImport& transcriptImport() { return *transcriptImport_; }
  /// All three are made when they are first asked for.
  SearchIndex& searchIndex();
  SearchReader& searchReader();
  TranscriptFinder& transcriptFinder();
  NotificationCenter& notifications() { return *notifications_; }
  AgentRunnerStore& runners() { return *runners_; }
  RavantProviderKey& providerKeys() { return *providerKeys_; }
  GitStatusReader& gitStatus() { return *gitStatus_; }
  GitCommandRunner& gitCommands() { return *gitCommands_; }
  PinnedItemStore& pins() { return *pins_; }
  /// Made when it is first asked for. What asks the service throws also `ServiceAddressError`, where the address that
  /// stands in for it cannot be used.
  GithubService& github();
  LinearService& linear();
  /// What `detectAccounts` works with.
  GithubDetectionOptions githubDetection();
  any_io_executor io() { return executors_.io(); }

  /// On the first start, registers the agents that are found and makes the built-in one. To be
  /// awaited before anything else.
  awaitable<void> prepare();

  /// Removes what processes that were killed have left half removed or half imported.
  awaitable<void> removeLeftovers();

  /// Has the search index take in what is stored from now on, and what it lacks, until `shutdown`.
  awaitable<void> keepSearchCurrent();

  /// Ends every prompt, request and process and the change feed. To be awaited before the destructor, which
  /// waits for the pools to be idle. Does all of it whatever fails, and throws the first error.
  awaitable<void> shutdown();

 private:
  explicit Application(const Locations& locations);
  void openStore();
  std::shared_ptr<RunnerFactory> runnerFactory();

  Locations locations_;
  SettingsFile settings_;
  Executors executors_;
  std::shared_ptr<ProcessLedger> processes_;
  std::shared_ptr<ModelContainer> modelContainer_;
  std::shared_ptr<NotificationCenter> notifications_;
  std::shared_ptr<ProjectStore> projects_;
  std::shared_ptr<AgentModelStore> agents_;
  std::shared_ptr<ConversationModelActor> conversations_;
  std::shared_ptr<TranscriptReader> transcripts_;
  std::shared_ptr<TranscriptImport> transcriptImport_;
  std::shared_ptr<HttpEngine> http_;
  std::shared_ptr<KeyStore> keyStore_;
  std::shared_ptr<RavantProviderKey> providerKeys_;
  std::unique_ptr<AgentRunnerStore> runners_;
  std::shared_ptr<GitStatusReader> gitStatus_;
  std::shared_ptr<GitCommandRunner> gitCommands_;
  std::shared_ptr<PinnedItemStore> pins_;
  std::shared_ptr<SearchIndex> searchIndex_;            ///< null until it is asked for
  std::shared_ptr<SearchReader> searchReader_;          ///< null until it is asked for
  std::shared_ptr<TranscriptFinder> transcriptFinder_;  ///< null until it is asked for
  std::shared_ptr<SearchUpkeep> searchUpkeep_;          ///< null until it is asked for
  std::shared_ptr<GithubService> github_;               ///< null until it is asked for
  std::shared_ptr<LinearService> linear_;               ///< null until it is asked for
};

}  // namespace ravant
