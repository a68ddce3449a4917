#include "app/agent_trouble.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <filesystem>
#include <vector>

#include "app/program_search.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

std::optional<std::string> troubleOfFile(std::string_view agent, const std::string& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (status.type() == std::filesystem::file_type::not_found) {
    return fmt::format("{} was not found at {}.", agent, path);
  }
  const auto objection = [&](std::string_view words) {
    return fmt::format("{} cannot be started: {} {}.", agent, path, words);
  };
  if (error) return objection(fmt::format("cannot be looked at ({})", error.message()));
  if (std::filesystem::is_directory(status)) return objection("is a folder");
  if (!std::filesystem::is_regular_file(status)) return objection("is no file");
  return isProgram(path) ? std::nullopt : std::optional(objection("is not executable"));
}

std::string providerNames() {
  std::vector<std::string_view> names;
  for (const RavantProvider provider : kRavantProviders) names.push_back(displayName(provider));
  return fmt::format("{}", fmt::join(names, " or "));
}

}  // namespace

std::optional<std::string> programTrouble(const Agent& agent, std::string_view searchPath) {
  const std::string configured(trimmed(agent.path));
  const std::string program = configured.empty() ? std::string(defaultCommandName(agent.type)) : configured;
  const std::string_view name = displayName(agent.type);
  if (program.starts_with('/')) return troubleOfFile(name, program);
  if (program.contains('/') || findProgram(program, foldersOf(searchPath))) return std::nullopt;
  return fmt::format("{} was not found. \"{}\" is in no folder of the search path: {}", name, program,
                     searchPath.empty() ? "it is empty" : searchPath);
}

awaitable<std::optional<AgentTrouble>> keyTrouble(RavantProviderKey& keys) {
  const std::string_view name = displayName(AgentType::ravant);
  std::optional<AgentTrouble> fault;
  const auto note = [&](const std::exception& error, std::optional<KeyStoreError::Case> keyStoreFault) {
    if (fault) return;
    fault = {.words = fmt::format("{} has no key that it could use: {}", name, error.what()),
             .keyStoreFault = keyStoreFault};
  };
  for (const RavantProvider provider : kRavantProviders) {
    try {
      if (co_await keys.source(std::string(rawValue(provider)))) co_return std::nullopt;
    } catch (const KeyStoreError& error) {
      note(error, error.kind());
    } catch (const std::runtime_error& error) {
      note(error, {});
    }
  }
  if (fault) co_return fault;
  AgentTrouble trouble{.words = fmt::format("{} has no key for {}.", name, providerNames())};
  if (const auto absent = co_await keys.keyStoreFault()) {
    trouble.words += fmt::format(" The key store does not answer: {}", absent->what());
    trouble.keyStoreFault = absent->kind();
  }
  co_return trouble;
}

awaitable<std::optional<AgentTrouble>> agentTrouble(Application& application, Agent agent, std::string searchPath) {
  if (agent.type == AgentType::ravant) co_return co_await keyTrouble(application.providerKeys());
  auto words = co_await onPool(
      application.modelContainer()->work(),
      [agent = std::move(agent), searchPath = std::move(searchPath)] { return programTrouble(agent, searchPath); });
  if (!words) co_return std::nullopt;
  co_return AgentTrouble{.words = *std::move(words)};
}

}  // namespace ravant
