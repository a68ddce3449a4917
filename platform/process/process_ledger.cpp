#include "platform/process/process_ledger.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>

#include "platform/files/private_file.hpp"
#include "platform/log/log.hpp"
#include "platform/process/descriptors.hpp"
#include "platform/text/uuid.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.platform", "ProcessLedger");

constexpr std::string_view kWillStart = "will-start";
constexpr std::string_view kStarted = "started";
constexpr std::string_view kEnded = "ended";
constexpr std::string_view kPostponed = "postponed";

constexpr std::chrono::minutes kPostponement{10};

[[noreturn]] void fail(int error, const std::filesystem::path& file) {
  throw std::system_error(error, std::generic_category(), file.string());
}

std::string bootId() {
  std::string id;
  std::ifstream("/proc/sys/kernel/random/boot_id") >> id;
  return id;
}

struct OwnerFile {
  enum class State { absent, alive, dead };

  State state = State::absent;
  UniqueFd lock;  ///< on a dead owner's file; several processes may hold one
};

OwnerFile lookUp(const std::filesystem::path& folder, std::string_view owner) {
  if (!Uuid::parse(owner)) return {};
  const std::filesystem::path path = folder / owner;
  UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file && errno == ENOENT) return {};
  if (!file) fail(errno, path);
  if (::flock(file.get(), LOCK_SH | LOCK_NB) == 0) return {OwnerFile::State::dead, std::move(file)};
  if (errno == EWOULDBLOCK) return {OwnerFile::State::alive, UniqueFd()};
  fail(errno, path);
}

std::string contentsOf(const UniqueFd& file, const std::filesystem::path& path) {
  std::string contents;
  std::array<char, 16 * 1024> piece;
  for (;;) {
    const ssize_t count = ::read(file.get(), piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(errno, path);
    if (count == 0) return contents;
    contents.append(piece.data(), static_cast<std::size_t>(count));
  }
}

std::vector<ProcessTree> treesLeft(const std::string& contents, const std::string& thisBoot) {
  std::map<std::string, ProcessTree> trees;
  std::istringstream file(contents);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string event;
    std::string token;
    words >> event >> token;
    if (!Uuid::parse(token)) continue;
    if (event == kWillStart) {
      trees[token].token = token;
    } else if (event == kEnded) {
      trees.erase(token);
    } else if (event == kStarted) {
      ProcessIdentity child;
      std::string boot;
      if (words >> child.pid >> child.startTime >> boot && boot == thisBoot) trees[token].root = child;
    }
  }
  std::vector<ProcessTree> left;
  for (auto& [token, tree] : trees) {
    tree.detachedUntil = ticksSinceBoot();
    tree.isOfAnother = true;
    left.push_back(tree);
  }
  return left;
}

/// Also where nobody can see it.
bool isAnyAlive(const std::vector<ProcessTree>& trees) {
  try {
    return !liveProcesses(trees).empty();
  } catch (const std::system_error&) {
    return true;
  }
}

}  // namespace

std::shared_ptr<ProcessLedger> ProcessLedger::open(const std::filesystem::path& folder) {
  const std::shared_ptr<ProcessLedger> ledger(new ProcessLedger(folder, Uuid::random().text()));
  try {
    ledger->makeFile();
  } catch (const std::system_error& error) {
    if (!isUnwritable(error.code().value())) throw;
    ledger->fault_ = error.code();
  }
  return ledger;
}

ProcessLedger::ProcessLedger(std::filesystem::path folder, std::string owner)
    : folder_(std::move(folder)), owner_(std::move(owner)), boot_(bootId()) {
  descriptor_reserve::fill();
}

void ProcessLedger::makeFile() {
  makePrivateFolder(folder_);
  // Locked before anyone can see it under its name.
  const std::filesystem::path unlocked = folder_ / ("." + owner_);
  UniqueFd file(::open(unlocked.c_str(), O_RDWR | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600));
  if (!file) fail(errno, unlocked);
  if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) fail(errno, unlocked);
  std::filesystem::rename(unlocked, folder_ / owner_);
  file_ = std::move(file);
}

ProcessLedger::~ProcessLedger() {
  if (running_.empty()) ::unlink((folder_ / owner_).c_str());
}

bool ProcessLedger::isAlive(std::string_view owner) const {
  return lookUp(folder_, owner).state == OwnerFile::State::alive;
}

std::vector<std::string> ProcessLedger::deadOwners() const {
  std::vector<std::string> owners;
  if (!std::filesystem::exists(folder_)) return owners;
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
    const std::string owner = entry.path().filename().string();
    if (lookUp(folder_, owner).state == OwnerFile::State::dead) owners.push_back(owner);
  }
  return owners;
}

TreeEnd ProcessLedger::recover(std::string_view owner) const {
  return recover(std::vector{std::string(owner)}).empty() ? TreeEnd::complete : TreeEnd::survivorsLeft;
}

std::vector<std::string> ProcessLedger::recover(const std::vector<std::string>& owners) const {
  std::map<std::string, std::vector<ProcessTree>> treesOf;
  std::vector<ProcessTree> all;
  for (const std::string& owner : owners) {
    std::vector<ProcessTree> trees = treesOfDead(owner);
    if (trees.empty()) continue;
    all.insert(all.end(), trees.begin(), trees.end());
    treesOf.emplace(owner, std::move(trees));
  }
  std::vector<std::string> left;
  if (all.empty() || endTreesBlocking(all) == TreeEnd::complete) return left;
  for (const auto& [owner, trees] : treesOf) {
    if (isAnyAlive(trees)) left.push_back(owner);
  }
  return left;
}

std::vector<ProcessIdentity> ProcessLedger::leftBy(std::string_view owner) const {
  const std::vector<ProcessTree> trees = treesOfDead(owner);
  return trees.empty() ? std::vector<ProcessIdentity>() : liveProcesses(trees);
}

std::vector<ProcessTree> ProcessLedger::treesOfDead(std::string_view owner) const {
  const OwnerFile file = lookUp(folder_, owner);
  if (file.state != OwnerFile::State::dead) return {};
  return treesLeft(contentsOf(file.lock, folder_ / owner), boot_);
}

void ProcessLedger::postpone(std::string_view owner) const {
  if (lookUp(folder_, owner).state != OwnerFile::State::dead) return;
  const std::filesystem::path path = folder_ / owner;
  const UniqueFd file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  const std::string line = fmt::format("\n{} {} {}\n", kPostponed, boot_, ticksSinceBoot());
  if (!file || ::write(file.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    kLog.warning("it is not written down that processes could not be ended");
  }
}

bool ProcessLedger::isPostponed(std::string_view owner) const {
  const OwnerFile file = lookUp(folder_, owner);
  if (file.state != OwnerFile::State::dead) return false;
  std::istringstream lines(contentsOf(file.lock, folder_ / owner));
  const auto most = static_cast<std::uint64_t>(std::chrono::seconds(kPostponement).count() * ::sysconf(_SC_CLK_TCK));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string event;
    std::string boot;
    std::uint64_t at = 0;
    const bool isRead = static_cast<bool>(words >> event >> boot >> at);
    if (isRead && event == kPostponed && boot == boot_ && ticksSinceBoot() - at < most) return true;
  }
  return false;
}

void ProcessLedger::forget(std::string_view owner) const {
  const std::filesystem::path path = folder_ / owner;
  const bool isDead = lookUp(folder_, owner).state == OwnerFile::State::dead;
  if (isDead && ::unlink(path.c_str()) != 0 && errno != ENOENT) fail(errno, path);
}

void ProcessLedger::willStart(const std::string& token) {
  if (fault_) fail(fault_.value(), folder_);
  const std::lock_guard lock(mutex_);
  if (const int error = append(fmt::format("{} {}\n", kWillStart, token))) fail(error, folder_ / owner_);
  running_.insert(token);
}

void ProcessLedger::started(const std::string& token, ProcessIdentity child) {
  const std::lock_guard lock(mutex_);
  const std::string line = fmt::format("{} {} {} {} {}\n", kStarted, token, child.pid, child.startTime, boot_);
  if (const int error = append(line)) {
    kLog.warning("child {} is not written down: {}", child.pid, std::generic_category().message(error));
  }
}

void ProcessLedger::ended(const std::string& token) {
  const std::lock_guard lock(mutex_);
  running_.erase(token);
  const int error =
      running_.empty() ? (::ftruncate(file_.get(), 0) == 0 ? 0 : errno) : append(fmt::format("{} {}\n", kEnded, token));
  if (error != 0) kLog.warning("the end of a child is not written down: {}", std::generic_category().message(error));
}

std::size_t ProcessLedger::running() {
  const std::lock_guard lock(mutex_);
  return running_.size();
}

int ProcessLedger::append(std::string line) {
  if (isTorn_) line.insert(0, "\n");
  const ssize_t written = ::write(file_.get(), line.data(), line.size());
  if (written > 0) isTorn_ = written < static_cast<ssize_t>(line.size());
  return written == static_cast<ssize_t>(line.size()) ? 0 : (written < 0 ? errno : ENOSPC);
}

}  // namespace ravant
