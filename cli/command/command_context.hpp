#pragma once

#include <memory>
#include <string_view>

#include "app/application.hpp"
#include "cli/command/interruption.hpp"
#include "cli/output/output.hpp"

namespace ravant::cli {

/// What a command works with. On the interface thread.
struct CommandContext {
  Locations locations;
  OutputFormat format;
  Output& output;
  Interruption& interruption;
  std::unique_ptr<Application> openApplication = {};  ///< null for a command that needs nothing

  Application& application() { return *openApplication; }
  bool wantsJson() const { return format == OutputFormat::json; }

  /// A line on standard error behind what was written, made harmless: for people only.
  void note(std::string_view text);
  /// The same in either format, about what failed beside what was asked for.
  void warn(std::string_view text);
};

}  // namespace ravant::cli
