#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/agent_locator.hpp"
#include "app/locations.hpp"
#include "core/agent.hpp"
#include "core/store/model_container.hpp"
#include "core/store/store_backups.hpp"
#include "platform/async/executors.hpp"
#include "platform/process/left_processes.hpp"
#include "platform/process/login_shell.hpp"
#include "platform/settings/settings_file.hpp"

namespace ravant {

/// Something that is wrong on this machine.
struct Problem {
  std::string what;
  std::string remedy;
};

struct StoreFindings {
  std::filesystem::path file;
  std::optional<std::uintmax_t> bytes;    ///< nothing where there is no file
  std::optional<std::int32_t> version;    ///< nothing where it could not be opened
  std::optional<std::string> integrity;   ///< `sound`, `faulty`, or `notFinished` within the time limit
  std::optional<std::int64_t> unindexed;  ///< entries that a search does not find yet
  std::optional<std::int64_t> outdated;   ///< entries whose words are in the search index and that are gone or changed
  std::vector<StoreBackup> backups;       ///< looked for where the store cannot be used
  std::size_t leftovers = 0;              ///< killed processes of Ravant whose agents were ended now
};

struct ProgramFindings {
  std::string path;
  std::string version;
};

struct KeyFindings {
  std::string provider;
  std::string source;  ///< empty where there is no key
};

struct Findings {
  LoginShell shell;
  std::string searchPath;     ///< what agents get
  std::string gitSearchPath;  ///< what git commands get; empty where the shell runs none
  std::vector<LocatedAgent> agents;
  std::vector<Agent> registered;
  std::optional<ProgramFindings> git;
  std::string keyStore;       ///< which one the settings choose
  std::string keyStoreFault;  ///< why it cannot be used; empty when it can
  std::vector<KeyFindings> keys;
  std::filesystem::path settingsFile;
  StoreFindings store;
  std::vector<LeftProcess> processes;  ///< what still runs from earlier prompts
  std::vector<Problem> problems;
};

/// Looks at everything this program needs, each thing by itself: one that is broken hides no other one.
class Doctor {
 public:
  explicit Doctor(Locations locations);

  awaitable<Findings> examine();

  /// Fills the search index from nothing and says how many entries are in it. What was done remains where it is
  /// interrupted, and is gone on with by whoever searches or writes next. Tells now and then how many are left. Throws
  /// `StoreError`, and `std::system_error` where the data folder cannot be used.
  awaitable<std::int64_t> rebuildSearchIndex(std::function<void(std::int64_t)> tellLeft);

  /// Puts a copy in the store's place, see `restoreFromBackup`: of the file of that name in the data folder, or of the
  /// file at that path. Throws `StoreError`.
  awaitable<RestoredStore> restoreStore(std::filesystem::path backup);

 private:
  void examineSettings();
  void examineDataFolder();
  awaitable<std::shared_ptr<ModelContainer>> openContainer();
  awaitable<void> examineStore();
  awaitable<std::string> examineBackups();
  awaitable<void> examineShell();
  awaitable<void> examineGit();
  void examineLibraries();
  awaitable<void> examineKeys();
  void examineRegisteredAgents();
  void examineWhetherThereIsAnAgent();
  void examineProcesses();
  void examineRoot();
  void expectPrivate(const std::filesystem::path& path, std::string_view mode);
  void add(std::string what, std::string remedy);

  Locations locations_;
  Executors executors_;
  SettingsFile settings_;
  std::shared_ptr<ProcessLedger> processes_;  ///< null where the data folder cannot be used
  std::shared_ptr<ProcessLedger> recorder_;   ///< of what is tried here; null where nothing can be written down
  bool isSearchPathKnown_ = true;
  Findings findings_;
};

}  // namespace ravant
