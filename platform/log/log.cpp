#include "platform/log/log.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <atomic>
#include <exception>
#include <mutex>
#include <optional>
#include <string>

#include "platform/clock/clock.hpp"
#include "platform/files/private_file.hpp"
#include "platform/log/log_file.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr std::size_t kMaxMessage = 64 * 1024;

struct Destinations {
  std::mutex mutex;
  std::optional<LogFile> file;
  std::optional<LogLevel> fileLeast;
  std::optional<LogLevel> standardErrorLeast;
};

/// Never destroyed, so that what ends late can still log.
Destinations& destinations() {
  static auto* const instance = new Destinations;
  return *instance;
}

constexpr int kNothing = 100;
constinit std::atomic<int> leastWritten = kNothing;

void include(LogLevel least) {
  if (std::to_underlying(least) < leastWritten) leastWritten = std::to_underlying(least);
}

std::string_view levelName(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return "debug";
    case LogLevel::info:
      return "info";
    case LogLevel::warning:
      return "warning";
    case LogLevel::error:
      return "error";
  }
}

std::string onOneLine(std::string_view message) {
  std::string line;
  for (const char c : terminalSafe(utf8Prefix(message, kMaxMessage))) {
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\t') {
      line += "\\t";
    } else {
      line += c;
    }
  }
  return line;
}

}  // namespace

bool Log::isWritten(LogLevel level) noexcept { return std::to_underlying(level) >= leastWritten; }

void Log::write(LogLevel level, fmt::string_view format, fmt::format_args args) const noexcept try {
  const std::string record = fmt::format("{} {} [{}:{}] [{}] {}\n", iso8601(SystemClock().now()), levelName(level),
                                         subsystem_, category_, ::getpid(), onOneLine(fmt::vformat(format, args)));
  auto& to = destinations();
  const std::lock_guard lock(to.mutex);
  if (to.file && level >= to.fileLeast) to.file->append(record);
  if (to.standardErrorLeast && level >= to.standardErrorLeast) {
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, record.data(), record.size());
  }
} catch (const std::exception&) {
  // There is nowhere left to report it.
}

void openLogFile(const std::filesystem::path& folder, LogLevel least) noexcept try {
  auto& to = destinations();
  const std::lock_guard lock(to.mutex);
  to.file.reset();
  makePrivateFolder(folder);
  to.file.emplace(folder);
  to.fileLeast = least;
  include(least);
} catch (const std::exception&) {
  // A program without a log is better than none.
}

void logToStandardError(LogLevel least) noexcept {
  auto& to = destinations();
  const std::lock_guard lock(to.mutex);
  to.standardErrorLeast = least;
  include(least);
}

}  // namespace ravant
