#include "cli/output/linear_text.hpp"

#include "cli/output/terminal_text.hpp"
#include "platform/clock/local_time.hpp"

namespace ravant::cli {

std::string workspacesText(const std::vector<LinearIntegration>& workspaces, const Style& style) {
  Table table({"WORKSPACE", "NAME", "USER", "E-MAIL", "ID"}, {0, 4});
  for (const LinearIntegration& workspace : workspaces) {
    table.add({workspace.workspaceUrlKey, workspace.workspaceName, workspace.userName, workspace.userEmail,
               workspace.id.text()});
  }
  return table.text(style);
}

std::string teamsText(const std::vector<LinearTeam>& teams, const Style& style) {
  Table table({"KEY", "NAME"}, {0});
  for (const LinearTeam& team : teams) table.add({team.key, team.name});
  return table.text(style);
}

std::string issuesText(const std::vector<LinearIssue>& issues, const Style& style) {
  Table table({"ISSUE", "TITLE", "STATE", "PRIORITY", "PROJECT", "UPDATED"}, {0});
  for (const LinearIssue& issue : issues) {
    table.add({issue.identifier, issue.title, issue.stateName, issue.priorityLabel,
               issue.projectName.value_or(std::string()), localTime(issue.updatedAt)});
  }
  return table.text(style);
}

}  // namespace ravant::cli
