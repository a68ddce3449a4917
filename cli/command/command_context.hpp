#pragma once

#include <memory>

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
};

}  // namespace ravant::cli
