#include "tests/journeys/sandbox.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace ravant::test {
namespace {

/// A command that prints the value on a line of its own.
std::string printed(const json::value& value) {
  return fmt::format("cat <<'END_OF_LINE'\n{}\nEND_OF_LINE\n", compactJson(value));
}

json::array arrayOf(json::object element) {
  json::array array;
  array.push_back(std::move(element));
  return array;
}

json::value assistant(json::object block) {
  return {{"type", "assistant"},
          {"message",
           {{"id", "msg_1"},
            {"role", "assistant"},
            {"model", "claude-test"},
            {"content", arrayOf(std::move(block))},
            {"usage", {{"input_tokens", 120}, {"cache_read_input_tokens", 30}, {"output_tokens", 5}}}}},
          {"session_id", "session-1"}};
}

}  // namespace

Sandbox::Sandbox() {
  for (const auto& folder : {home(), project(), folder_ / "config"}) std::filesystem::create_directory(folder);
}

std::map<std::string, std::string> Sandbox::environment() const {
  // Tests may run as root, which is no business of theirs.
  std::map<std::string, std::string> environment = {{"HOME", home()},          {"IS_SANDBOX", "1"},
                                                    {"PATH", "/usr/bin:/bin"}, {"RAVANT_DATA_DIR", data()},
                                                    {"SHELL", "/bin/bash"},    {"XDG_CONFIG_HOME", folder_ / "config"}};
  for (const auto& [name, value] : variables_) environment[name] = value;
  return environment;
}

void Sandbox::keepKeysInFile() {
  setVariable("DBUS_SESSION_BUS_ADDRESS", "unix:path=/no/such/bus");
  run({"settings", "set", "keyStore", "file"});
}

Program Sandbox::start(std::vector<std::string> arguments, std::string input, ProgramOutput output) const {
  std::string path = RAVANT_PROGRAM;
  if (!hasPrivileges_ && ::geteuid() == 0) {
    arguments.insert(arguments.begin(), {"--bounding-set=-all", "--inh-caps=-all", path});
    path = "/usr/bin/setpriv";
  }
  return Program({.path = std::move(path),
                  .arguments = std::move(arguments),
                  .environment = environment(),
                  .workingDirectory = present_,
                  .input = std::move(input),
                  .output = output});
}

ProgramResult Sandbox::run(std::vector<std::string> arguments, std::string input) const {
  return start(std::move(arguments), std::move(input)).wait();
}

std::optional<ProgramResult> Sandbox::runWithMounts(const std::string& script) const {
  const auto runScript = [&](const std::string& text) {
    return Program({.path = "/usr/bin/unshare",
                    .arguments = {"-rm", "/bin/sh", "-c", text},
                    .environment = environment(),
                    .workingDirectory = present_})
        .wait();
  };
  if (runScript("mount -t tmpfs none \"$HOME\"").status != 0) return std::nullopt;
  return runScript(fmt::format("ravant() {{ '{}' \"$@\"; }}\n{}", RAVANT_PROGRAM, script));
}

json::value Sandbox::json(std::vector<std::string> arguments) const {
  arguments.emplace_back("--json");
  const ProgramResult result = run(std::move(arguments));
  EXPECT_EQ(result.status, 0) << result.errors;
  const auto value = parseJson(result.output);
  EXPECT_TRUE(value) << result.output;
  return value.value_or(json::value());
}

std::string Sandbox::writeAgent(std::string_view body) const {
  const std::filesystem::path path =
      folder_.write("claude", fmt::format("#!/bin/sh\n[ \"$1\" != --version ] || {{ echo '9.9 (fake)'; exit; }}\n"
                                          "printf '%s\\n' \"$@\" >\"$HOME/arguments\"\n{}",
                                          body));
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  return path;
}

void Sandbox::addAgent(std::string_view body) const {
  const ProgramResult result = run({"agent", "add", "claude", "--path", writeAgent(body)});
  ASSERT_EQ(result.status, 0) << result.errors;
}

std::string Sandbox::agentArguments() const {
  std::ostringstream text;
  text << std::ifstream(home() / "arguments").rdbuf();
  return text.str();
}

std::vector<json::object> events(std::string_view output) {
  std::vector<json::object> found;
  std::istringstream lines{std::string(output)};
  for (std::string line; std::getline(lines, line);) {
    const auto value = parseJson(line);
    EXPECT_TRUE(value && value->is_object()) << line;
    if (value) found.push_back(value->as_object());
  }
  return found;
}

namespace claude_says {

std::string begin(std::string_view session) {
  return printed({{"type", "system"}, {"subtype", "init"}, {"session_id", session}});
}

std::string text(std::string_view words) { return printed(assistant({{"type", "text"}, {"text", words}})); }

std::string toolUse(std::string_view id, std::string_view command) {
  return printed(assistant({{"type", "tool_use"}, {"id", id}, {"name", "Bash"}, {"input", {{"command", command}}}}));
}

std::string toolResult(std::string_view id, std::string_view output) {
  json::array content = arrayOf({{"type", "tool_result"}, {"tool_use_id", id}, {"content", output}});
  return printed({{"type", "user"}, {"message", {{"role", "user"}, {"content", std::move(content)}}}});
}

std::string end(std::string_view session) {
  return printed({{"type", "result"},
                  {"subtype", "success"},
                  {"is_error", false},
                  {"session_id", session},
                  {"modelUsage", {{"claude-test", {{"contextWindow", 1000}}}}}});
}

std::string failure(std::string_view words) {
  return printed(
      {{"type", "result"}, {"subtype", "success"}, {"is_error", true}, {"result", words}, {"session_id", "session-1"}});
}

}  // namespace claude_says
}  // namespace ravant::test
