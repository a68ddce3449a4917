#pragma once

#include <fmt/core.h>

#include <filesystem>
#include <string_view>
#include <utility>

namespace ravant {

enum class LogLevel { debug, info, warning, error };

/// One component's voice in the log. Constant, so that it may stand at namespace scope; usable from any thread.
///
/// A record becomes one line, `2026-11-21T09:14:16.123456Z debug [com.ravant.core:Persistence] [4711] message`, with
/// control characters escaped. Nothing is formatted or written until a destination has been opened. Logging never
/// throws: what cannot be written is lost.
class Log {
 public:
  /// Both are string literals.
  constexpr Log(std::string_view subsystem, std::string_view category) : subsystem_(subsystem), category_(category) {}

  template <class... Args>
  void debug(fmt::format_string<Args...> format, Args&&... args) const noexcept {
    if (isWritten(LogLevel::debug)) write(LogLevel::debug, format, fmt::make_format_args(args...));
  }
  template <class... Args>
  void info(fmt::format_string<Args...> format, Args&&... args) const noexcept {
    if (isWritten(LogLevel::info)) write(LogLevel::info, format, fmt::make_format_args(args...));
  }
  template <class... Args>
  void warning(fmt::format_string<Args...> format, Args&&... args) const noexcept {
    if (isWritten(LogLevel::warning)) write(LogLevel::warning, format, fmt::make_format_args(args...));
  }
  template <class... Args>
  void error(fmt::format_string<Args...> format, Args&&... args) const noexcept {
    if (isWritten(LogLevel::error)) write(LogLevel::error, format, fmt::make_format_args(args...));
  }

 private:
  static bool isWritten(LogLevel level) noexcept;
  void write(LogLevel level, fmt::string_view format, fmt::format_args args) const noexcept;

  std::string_view subsystem_;
  std::string_view category_;
};

/// Appends records of at least `least` to `ravant.log` in `folder`, which is made for its owner alone. At 5 MiB the
/// file becomes `ravant.1.log` and a new one begins; several processes may share them. Opening another folder closes
/// the first. An unusable folder is no error: its records are lost.
void openLogFile(const std::filesystem::path& folder, LogLevel least = LogLevel::debug) noexcept;

/// Writes records of at least `least` to the standard error output too.
void logToStandardError(LogLevel least = LogLevel::debug) noexcept;

}  // namespace ravant
