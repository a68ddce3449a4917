#pragma once

#include <string>
#include <vector>

#include "cli/output/output.hpp"
#include "core/integrations/linear_integration.hpp"

namespace ravant::cli {

/// A table of them; nothing where there are none.
std::string workspacesText(const std::vector<LinearIntegration>& workspaces, const Style& style);
std::string teamsText(const std::vector<LinearTeam>& teams, const Style& style);
std::string issuesText(const std::vector<LinearIssue>& issues, const Style& style);

}  // namespace ravant::cli
