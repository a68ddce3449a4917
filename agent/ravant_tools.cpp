#include "agent/ravant_tools.hpp"

#include <fmt/format.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/this_coro.hpp>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <system_error>

#include "platform/log/log.hpp"
#include "platform/text/utf8.hpp"
#include "platform/text/uuid.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.agent", "RavantTools");
constexpr std::size_t kBytesOfACharacter = 4;         // at most
constexpr std::size_t kOutputLimit = 30'000;          // characters
constexpr std::size_t kTextLimit = 50'000;            // characters
constexpr std::size_t kEditLimit = 64 * 1024 * 1024;  // bytes
constexpr std::string_view kOutside =
    "Path is outside the working directory. File tools are confined to the project; use `bash` for anything else.";
constexpr std::string_view kTruncated = "\n[truncated]";

RavantToolResult failure(std::string words) { return {.output = repairUtf8(std::move(words)), .isError = true}; }

/// A call that cannot be carried out as it was asked for.
class ArgumentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::optional<std::string> optionalArgument(const json::object& arguments, std::string_view name) {
  const json::value* value = arguments.if_contains(name);
  if (value == nullptr || value->is_null()) return std::nullopt;
  if (const auto* text = value->if_string()) return std::string(*text);
  throw ArgumentError(fmt::format("{} must be a string", name));
}

std::string argument(const json::object& arguments, std::string_view name) {
  if (auto text = optionalArgument(arguments, name)) return *std::move(text);
  throw ArgumentError(fmt::format("Missing {}", name));
}

std::string cutText(const std::string& text) {
  const std::string_view first = firstCharacters(text, kTextLimit);
  return first.size() == text.size() ? text : fmt::format("{}{}", first, kTruncated);
}

/// As `find`, in linear time also for texts that repeat themselves.
std::size_t positionOf(std::string_view part, std::string_view text, std::size_t from) {
  const void* const found = ::memmem(text.data() + from, text.size() - from, part.data(), part.size());
  return found ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) : std::string_view::npos;
}

/// How often `part` stands in `text`: one behind the other; two where there is one that overlaps another.
std::size_t occurrences(std::string_view text, std::string_view part) {
  const std::size_t first = positionOf(part, text, 0);
  std::size_t count = 0;
  for (std::size_t at = first; at != std::string_view::npos; at = positionOf(part, text, at + part.size())) ++count;
  const bool hasOverlap = count == 1 && positionOf(part, text, first + 1) != std::string_view::npos;
  return hasOverlap ? 2 : count;
}

/// Runs what works on a file. `couldNot` begins the sentence for what the system refuses.
RavantToolResult onFile(std::string_view couldNot, const std::string& path,
                        const std::function<RavantToolResult()>& work) {
  try {
    return work();
  } catch (const ConfinementError&) {
    return failure(std::string(kOutside));
  } catch (const std::exception& error) {
    return failure(fmt::format("{} {}: {}", couldNot, path, error.what()));
  }
}

}  // namespace

RavantTools::RavantTools(RavantToolsOptions options)
    : options_(std::move(options)), folder_(options_.workingDirectory), token_(Uuid::random().text()) {}

awaitable<RavantToolResult> RavantTools::execute(std::string name, json::object arguments) {
  if (isStopped_) co_return failure("[cancelled]");
  std::function<RavantToolResult()> work;
  try {
    if (name == "bash") co_return co_await bash(argument(arguments, "command"));
    if (name == "list_directory") {
      work = [this, path = optionalArgument(arguments, "path").value_or(".")] { return listDirectory(path); };
    } else if (name == "read_file") {
      work = [this, path = argument(arguments, "path")] { return readFile(path); };
    } else if (name == "write_file") {
      work = [this, path = argument(arguments, "path"), content = argument(arguments, "content")] {
        return writeFile(path, content);
      };
    } else if (name == "edit_file") {
      work = [this, path = argument(arguments, "path"), from = argument(arguments, "old_string"),
              to = argument(arguments, "new_string")] { return editFile(path, from, to); };
    } else {
      co_return failure("Unknown tool: " + name);
    }
  } catch (const ArgumentError& error) {
    co_return failure(error.what());
  }
  co_return co_await asio::co_spawn(
      options_.work, [&work]() -> awaitable<RavantToolResult> { co_return work(); },
      asio::bind_cancellation_slot(asio::cancellation_slot(), use_awaitable));
}

void RavantTools::stop() {
  isStopped_ = true;
  if (command_) command_->stop();
}

awaitable<void> RavantTools::endDetached() {
  if (co_await endTrees({ProcessTree{.root = std::nullopt, .token = token_}}) == TreeEnd::survivorsLeft) {
    kLog.warning("what commands left running could not be ended");
  }
}

awaitable<RavantToolResult> RavantTools::bash(std::string command) {
  if (command.empty()) co_return failure("Empty command");
  if (command.contains('\0')) co_return failure("The command has a null character");
  const any_io_executor strand = co_await asio::this_coro::executor;
  try {
    command_ =
        std::make_unique<CapturedProcess>(CaptureOptions{.launch = {.executable = options_.shellPath,
                                                                    .arguments = {"-l", "-c", std::move(command)},
                                                                    .workingDirectory = options_.workingDirectory,
                                                                    .withheldVariables = options_.withheldVariables,
                                                                    .standardInput = StandardInput::nullDevice,
                                                                    .standardError = StandardError::standardOutput,
                                                                    .sharedToken = token_,
                                                                    .ledger = options_.processes},
                                                         .limit = options_.bashLimit,
                                                         .outputLimit = (kOutputLimit + 1) * kBytesOfACharacter,
                                                         .background = CaptureOptions::Background::detachedLeft},
                                          strand);
  } catch (const std::system_error& error) {
    kLog.error("the shell of a command could not be started: {}", error.what());
    co_return failure(fmt::format("Failed to launch shell: {}", error.what()));
  }
  co_await command_->run();
  RavantToolResult result = bashResult(*command_);
  command_.reset();
  co_return result;
}

RavantToolResult RavantTools::bashResult(CapturedProcess& process) const {
  const std::string output = repairUtf8(process.takeOutput());
  const std::string_view shown = firstCharacters(output, kOutputLimit);
  RavantToolResult result{.output = std::string(shown)};
  const auto note = [&](std::string_view words) {
    if (!result.output.empty() && !result.output.ends_with('\n')) result.output += '\n';
    result.output += words;
    result.isError = true;
  };
  if (shown.size() < output.size()) result.output += "\n[output truncated]";
  const int code = process.exitStatus().shellCode();
  if (process.hasTimedOut()) {
    result.output += fmt::format("\n[timed out after {}s]", options_.bashLimit.count());
    result.isError = true;
  } else if (process.wasStopped()) {
    note("[cancelled]");
  } else if (code != 0) {
    note(fmt::format("exit code {}", code));
  }
  return result;
}

RavantToolResult RavantTools::readFile(const std::string& path) const {
  return onFile("Could not read", path, [&]() -> RavantToolResult {
    constexpr std::size_t kReadLimit = (kTextLimit + 2) * kBytesOfACharacter;
    std::string text = folder_.read(path, kReadLimit);
    if (text.size() == kReadLimit) text.resize(utf8Prefix(text, kReadLimit - 1).size());
    if (!isValidUtf8(text)) throw ConfinedFileError("it is not UTF-8 text");
    return {.output = cutText(text)};
  });
}

RavantToolResult RavantTools::writeFile(const std::string& path, const std::string& content) const {
  return onFile("Could not write", path, [&]() -> RavantToolResult {
    folder_.write(path, content);
    return {.output = fmt::format("Wrote {} bytes to {}", content.size(), path)};
  });
}

RavantToolResult RavantTools::editFile(const std::string& path, const std::string& oldString,
                                       const std::string& newString) const {
  if (oldString.empty()) return failure("old_string must not be empty");
  return onFile("Could not edit", path, [&]() -> RavantToolResult {
    std::string text = folder_.read(path, kEditLimit + 1);
    if (text.size() > kEditLimit) throw ConfinedFileError("it is larger than 64 MiB");
    if (!isValidUtf8(text)) throw ConfinedFileError("it is not UTF-8 text");
    const std::size_t count = occurrences(text, oldString);
    if (count == 0) return failure("old_string not found in " + path);
    if (count > 1) return failure(fmt::format("old_string occurs {} times in {}", count, path));
    folder_.write(path, text.replace(text.find(oldString), oldString.size(), newString));
    return {.output = "Edited " + path};
  });
}

RavantToolResult RavantTools::listDirectory(const std::string& path) const {
  return onFile("Could not list", path, [&]() -> RavantToolResult {
    std::string lines;
    for (const auto& [name, isFolder] : folder_.list(path)) {
      if (!lines.empty()) lines += '\n';
      lines += name;
      if (isFolder) lines += '/';
    }
    return {.output = lines.empty() ? "(empty)" : cutText(repairUtf8(std::move(lines)))};
  });
}

}  // namespace ravant
