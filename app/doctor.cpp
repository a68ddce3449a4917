#include "app/doctor.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

#include "agent/ravant_provider_key.hpp"
#include "app/known_settings.hpp"
#include "app/services.hpp"
#include "app/window_settings.hpp"
#include "core/store/agent_model_store.hpp"
#include "core/store/search/search_index.hpp"
#include "git/branch_name.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/clock/local_time.hpp"
#include "platform/files/private_file.hpp"
#include "platform/http/base_address.hpp"
#include "platform/libraries/late_library.hpp"

namespace ravant {
namespace {

constexpr std::chrono::seconds kCheckLimit{60};
constexpr std::uintmax_t kLeastRoom = 64 * 1024;
constexpr const char* kSeeMessage = "see what the message says; the other commands cannot work before";
constexpr const char* kInstallLibrary = "install it as the other libraries of this machine, or install Ravant anew";

std::string integrityWord(sqlite::CheckResult::Verdict verdict) {
  switch (verdict) {
    case sqlite::CheckResult::Verdict::sound:
      return "sound";
    case sqlite::CheckResult::Verdict::faulty:
      return "faulty";
    case sqlite::CheckResult::Verdict::notFinished:
      return "notFinished";
  }
  __builtin_unreachable();
}

/// Whether no waiting and no room makes this file a store again.
bool isUnusable(const StoreError& error) {
  using enum StoreError::Case;
  return error.kind() == damaged || error.kind() == notAStore || error.kind() == newerVersion;
}

struct StoreCheck {
  std::int32_t version;
  sqlite::CheckResult integrity;
};

StoreCheck check(const ModelContainer& container) {
  sqlite::Database database = container.connect();
  const std::int32_t version = database.userVersion();
  return {.version = version, .integrity = database.integrityCheck(kCheckLimit)};
}

}  // namespace

Doctor::Doctor(Locations locations)
    : locations_(std::move(locations)), settings_(locations_.settingsFile, knownSettings()) {
  findings_.shell = loginShell();
  findings_.settingsFile = locations_.settingsFile;
  findings_.store.file = locations_.dataFolder / "store.sqlite";
}

awaitable<Findings> Doctor::examine() {
  examineSettings();
  examineDataFolder();
  co_await examineStore();
  co_await examineShell();
  co_await examineGit();
  examineLibraries();
  co_await examineKeys();
  examineRegisteredAgents();
  examineWhetherThereIsAnAgent();
  examineProcesses();
  examineRoot();
  co_return std::move(findings_);
}

void Doctor::examineSettings() {
  try {
    settings_.load();
    for (const KeybindingFault& fault : keybindingsOf(settings_).faults()) {
      add(fmt::format("{}, line {}: {}", settings_.path().string(), fault.line, fault.words),
          commandNamed(fault.command)
              ? fmt::format("set other keys: ravant settings set {}.{} KEYS", setting::kKeybindings, fault.command)
              : "take the line away");
    }
  } catch (const SettingsError& error) {
    add(error.what(), fmt::format("correct {}, or move it away", settings_.path().string()));
  }
}

void Doctor::examineDataFolder() {
  try {
    makePrivateFolder(locations_.dataFolder);
    processes_ = ProcessLedger::open(locations_.dataFolder / "processes");
    std::error_code obstacle = processes_->fault();
    const bool isFull = !obstacle && std::filesystem::space(locations_.dataFolder).available < kLeastRoom;
    if (isFull) obstacle = {ENOSPC, std::generic_category()};
    if (obstacle) {
      add(fmt::format("nothing can be written into {}: {}", locations_.dataFolder.string(), obstacle.message()),
          "make room and the folder writable, or choose another one with --data-dir");
    } else {
      recorder_ = processes_;
    }
    const std::vector<std::string> dead = processes_->deadOwners();
    findings_.store.leftovers += dead.size();
    for (std::size_t left = processes_->recover(dead).size(); left > 0; --left) {
      add("an agent that a killed Ravant left running could not be ended", "end it yourself: see ravant process list");
    }
  } catch (const std::system_error& error) {
    add(error.what(), "make the folder writable, or choose another one with --data-dir");
  }
  expectPrivate(locations_.dataFolder, "700");
}

awaitable<std::shared_ptr<ModelContainer>> Doctor::openContainer() {
  const ModelContainerOptions options{.folder = locations_.dataFolder,
                                      .work = executors_.work(),
                                      .clock = std::make_shared<SystemClock>(),
                                      .processes = processes_};
  return onPool(executors_.work(), [options] { return ModelContainer::open(options); });
}

awaitable<std::int64_t> Doctor::rebuildSearchIndex(std::function<void(std::int64_t)> tellLeft) {
  makePrivateFolder(locations_.dataFolder);
  processes_ = ProcessLedger::open(locations_.dataFolder / "processes");
  constexpr std::chrono::seconds kPatience{10};
  const auto index = SearchIndex::make(co_await openContainer(), {.patience = kPatience});
  co_await index->empty();
  while (co_await index->takeInSome()) tellLeft(co_await index->waiting());
  co_return co_await index->entries();
}

awaitable<RestoredStore> Doctor::restoreStore(std::filesystem::path backup) {
  const std::filesystem::path folder = locations_.dataFolder;
  return onPool(executors_.work(), [folder, backup = std::move(backup)] {
    const bool isName = !backup.has_parent_path() && std::filesystem::exists(folder / backup);
    return restoreFromBackup(folder, isName ? folder / backup : backup, SystemClock().now());
  });
}

/// Says what can be put in the store's place.
awaitable<std::string> Doctor::examineBackups() {
  const std::filesystem::path folder = locations_.dataFolder;
  findings_.store.backups = co_await onPool(executors_.work(), [folder] { return storeBackups(folder); });
  const auto usable = std::ranges::find_if(findings_.store.backups, [](const auto& backup) { return !backup.fault; });
  if (usable == findings_.store.backups.end()) {
    co_return "put a copy in its place; what is there is kept: ravant doctor --restore COPY";
  }
  co_return fmt::format("put the backup of {} in its place; what is there is kept: ravant doctor --restore {}",
                        localTime(usable->madeAt), usable->file.filename().string());
}

awaitable<void> Doctor::examineStore() {
  if (!processes_) co_return;
  std::optional<std::string> unusable;
  try {
    const auto container = co_await openContainer();
    const StoreCheck opened = co_await onPool(executors_.work(), [container] { return check(*container); });
    findings_.store.version = opened.version;
    findings_.store.integrity = integrityWord(opened.integrity.verdict);
    if (opened.integrity.verdict == sqlite::CheckResult::Verdict::faulty) {
      add(fmt::format("{} is damaged: {}", findings_.store.file.string(), opened.integrity.words),
          co_await examineBackups());
    }
    findings_.registered = co_await AgentModelStore::make(container)->agents();
    const auto index = SearchIndex::make(container);
    findings_.store.unindexed = co_await index->waiting();
    findings_.store.outdated = co_await index->outdated();
  } catch (const StoreError& error) {
    if (!isUnusable(error)) {
      add(error.what(), kSeeMessage);
    } else {
      unusable = error.what();
    }
  } catch (const std::exception& error) {
    add(error.what(), kSeeMessage);
  }
  if (unusable) add(*unusable, co_await examineBackups());
  std::error_code missing;
  const std::uintmax_t bytes = std::filesystem::file_size(findings_.store.file, missing);
  if (!missing) findings_.store.bytes = bytes;
  expectPrivate(findings_.store.file, "600");
}

void Doctor::examineLibraries() {
  try {
    objectionToBranchName("main");
  } catch (const LateLibraryError& error) {
    add(fmt::format("the changes in a project cannot be read: {}", error.what()), kInstallLibrary);
  }
  try {
    baseAddress("http://localhost");
  } catch (const LateLibraryError& error) {
    add(fmt::format("neither GitHub nor Linear nor a provider of models can be reached: {}", error.what()),
        kInstallLibrary);
  }
}

awaitable<void> Doctor::examineKeys() {
  findings_.keyStore = settings_.text(setting::kKeyStore);
  const auto keys = std::make_shared<RavantProviderKey>(executors_.work(), openKeyStore(settings_, locations_));
  const auto fault = co_await keys->keyStoreFault();
  if (fault) {
    findings_.keyStoreFault = fault->what();
    // That a machine has none is no fault.
    if (fault->kind() != KeyStoreError::Case::unavailable) {
      add(fmt::format("the key store does not work: {}", fault->what()),
          findings_.keyStore == setting::kFile
              ? "see what the message says"
              : fmt::format("unlock or mend it, or keep keys in a file: ravant settings set {} {}", setting::kKeyStore,
                            setting::kFile));
    }
  }
  for (const RemoteService service : kRemoteServices) {
    try {
      baseAddress(serviceAddress(settings_, service));
    } catch (const BaseAddressError& error) {
      add(fmt::format("the address of {} cannot be used: {}", displayName(service), error.what()),
          fmt::format("see {}", addressOrigin(service)));
    } catch (const LateLibraryError&) {
      break;  // which examineLibraries tells
    }
  }
  for (const RavantProvider provider : kRavantProviders) {
    const std::string name(rawValue(provider));
    std::string source;
    try {
      const auto found = co_await keys->source(name);
      if (found) source = *found == KeySource::environment ? keyVariable(provider) : findings_.keyStore;
    } catch (const std::runtime_error& error) {
      if (!fault) add(error.what(), "correct it, or take it away");
    }
    findings_.keys.push_back({.provider = name, .source = std::move(source)});
  }
}

void Doctor::expectPrivate(const std::filesystem::path& path, std::string_view mode) {
  std::error_code missing;
  const std::filesystem::perms present = std::filesystem::status(path, missing).permissions();
  constexpr auto kOthers = std::filesystem::perms::group_all | std::filesystem::perms::others_all;
  if (missing || (present & kOthers) == std::filesystem::perms::none) return;
  add(fmt::format("other users may read {}", path.string()), fmt::format("run: chmod {} '{}'", mode, path.string()));
}

void Doctor::add(std::string what, std::string remedy) {
  findings_.problems.push_back({.what = std::move(what), .remedy = std::move(remedy)});
}

}  // namespace ravant
