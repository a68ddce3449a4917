#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/async/async.hpp"
#include "platform/process/process_ledger.hpp"

namespace ravant {

/// A probe that gave no answer; `what()` begins with the probe's label.
class ProbeError : public std::runtime_error {
 public:
  enum class Case { launch, exitStatus, tooMuchOutput, noAnswer };

  ProbeError(Case kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
  Case kind() const { return kind_; }

 private:
  Case kind_;
};

struct ProbeOptions {
  std::chrono::milliseconds limit{30'000};              ///< from the launch on; the program is ended then
  std::size_t outputLimit = 8 * 1024 * 1024;            ///< bytes of standard output
  std::map<std::string, std::string> environment = {};  ///< added to this program's own
  std::shared_ptr<ProcessLedger> ledger = {};           ///< may be null
};

/// One-shot queries, such as the listing of an agent's models.
class ProbeProcess {
 public:
  /// Runs a program without a shell and without input, and returns its standard output, repaired to valid UTF-8.
  /// Nothing of its tree is left afterwards. Callable from any executor. Throws ProbeError.
  static awaitable<std::string> run(std::string binaryPath, std::vector<std::string> arguments, std::string label,
                                    ProbeOptions options = {});
};

}  // namespace ravant
