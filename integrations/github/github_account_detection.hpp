#pragma once

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "integrations/github/github_payloads.hpp"
#include "platform/async/async.hpp"
#include "platform/process/process_ledger.hpp"

namespace ravant {

/// Why the accounts of `gh` are not known; `what()` says what the user can do, and nothing that `gh` printed.
class GithubDetectionError : public std::runtime_error {
 public:
  enum class Case { notInstalled, tooOld, notLoggedIn, unreadable, timedOut, failed };
  GithubDetectionError(Case kind, const std::string& words) : std::runtime_error(words), kind_(kind) {}
  Case kind() const { return kind_; }

 private:
  Case kind_;
};

struct GithubDetectionOptions {
  any_io_executor io;
  std::string shellPath;                            ///< the login shell, see loginShell(ShellUse::command)
  std::vector<std::string> withheldVariables = {};  ///< which the shell and `gh` do not get
  std::shared_ptr<ProcessLedger> processes = {};    ///< may be null
  std::chrono::milliseconds limit{30'000};          ///< for the shell's start-up files and `gh`
};

/// The accounts that the tool `gh` is logged in to, with their tokens ("gh auth status --json hosts -t";
/// cli.github.com, 2.81 or later). Throws `GithubDetectionError`.
awaitable<std::vector<GithubAccount>> detectAccounts(GithubDetectionOptions options);

}  // namespace ravant
