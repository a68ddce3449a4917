#include "agent/ravant_agent_tools.hpp"

#include <string_view>
#include <vector>

namespace ravant {
namespace {

enum class Presence { required, optional };

struct Parameter {
  std::string_view name;
  std::string_view description;
  Presence presence = Presence::required;
};

json::object tool(std::string_view name, std::string_view description, const std::vector<Parameter>& parameters) {
  json::object properties;
  json::array required;
  for (const Parameter& parameter : parameters) {
    json::object property{{"type", "string"}};
    if (!parameter.description.empty()) property.emplace("description", parameter.description);
    properties.emplace(parameter.name, std::move(property));
    if (parameter.presence == Presence::required) required.emplace_back(parameter.name);
  }
  return {{"type", "function"},
          {"function",
           {{"name", name},
            {"description", description},
            {"parameters",
             {{"type", "object"}, {"properties", std::move(properties)}, {"required", std::move(required)}}}}}};
}

}  // namespace

json::array RavantAgentTools::definitions() {
  const Parameter path{"path", "File path relative to the working directory."};
  return {
      tool("bash",
           "Run a shell command in the working directory and return combined stdout/stderr. Times out after 120 "
           "seconds. Use this for anything outside the working directory.",
           {{"command", "The shell command to execute."}}),
      tool("read_file",
           "Read a UTF-8 text file inside the working directory. Path is relative to the working directory.", {path}),
      tool("write_file",
           "Create or overwrite a UTF-8 text file inside the working directory. Path is relative to the working "
           "directory.",
           {path, {"content", "Full file contents to write."}}),
      tool("edit_file",
           "Replace an exact string in a UTF-8 text file inside the working directory. The old string must occur "
           "exactly once — include enough surrounding context to make it unique.",
           {path, {"old_string", ""}, {"new_string", "The replacement text."}}),
      tool("list_directory", "List the entries of a directory inside the working directory (default '.').",
           {{"path", "", Presence::optional}})};
}

}  // namespace ravant
