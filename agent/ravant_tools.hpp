#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "platform/async/async.hpp"
#include "platform/files/confined_folder.hpp"
#include "platform/json/json.hpp"
#include "platform/process/captured_process.hpp"

namespace ravant {

/// What a tool call gives back to the model, in valid UTF-8.
struct RavantToolResult {
  std::string output;
  bool isError = false;

  bool operator==(const RavantToolResult&) const = default;
};

struct RavantToolsOptions {
  std::filesystem::path workingDirectory;  ///< every path is resolved against it
  any_io_executor work;                    ///< for what blocks
  std::string shellPath;
  std::vector<std::string> withheldVariables = {};  ///< which commands do not get
  std::shared_ptr<ProcessLedger> processes = {};    ///< may be null
  std::chrono::seconds bashLimit{120};
};

/// The tools of one run of the built-in agent. On one strand, one call at a time; it outlives its calls.
class RavantTools {
 public:
  explicit RavantTools(RavantToolsOptions options);

  /// Never throws for what the model asked for: that becomes an error result. A command that ended by itself leaves no
  /// process behind but those with a session of their own; any other leaves none.
  awaitable<RavantToolResult> execute(std::string name, json::object arguments);

  /// Ends the command that runs now, within 3 s, and refuses later ones.
  void stop();
  /// Ends what earlier commands left, within 3 s.
  awaitable<void> endDetached();

 private:
  awaitable<RavantToolResult> bash(std::string command);
  RavantToolResult bashResult(CapturedProcess& process) const;
  RavantToolResult readFile(const std::string& path) const;
  RavantToolResult writeFile(const std::string& path, const std::string& content) const;
  RavantToolResult editFile(const std::string& path, const std::string& oldString, const std::string& newString) const;
  RavantToolResult listDirectory(const std::string& path) const;

  const RavantToolsOptions options_;
  const ConfinedFolder folder_;
  const std::string token_;                   ///< of all commands
  std::unique_ptr<CapturedProcess> command_;  ///< running
  bool isStopped_ = false;
};

}  // namespace ravant
