#include "app/model_catalog.hpp"

#include <string>

#include "agent/ravant_model.hpp"

namespace ravant {
namespace {

// Claude Code's command line has no flag for the effort: a keyword in the prompt asks for the most.
ProbedModel claude(std::string slug, std::string displayName, std::string contextWindow) {
  return {.slug = std::move(slug),
          .displayName = std::move(displayName),
          .efforts = {"ultrathink"},
          .supportsThinking = true,
          .contextWindowOptions = {contextWindow},
          .defaultContextWindow = contextWindow,
          .promptInjectedEfforts = {"ultrathink"}};
}

ProbedModel codex(std::string slug, std::string displayName) {
  return {.slug = std::move(slug),
          .displayName = std::move(displayName),
          .efforts = {"low", "medium", "high", "xhigh"},
          .defaultEffort = "medium",
          .supportsThinking = true,
          .contextWindowOptions = {"272000"},
          .defaultContextWindow = "272000"};
}

ProbedModel named(std::string slug, std::string displayName) {
  return {.slug = std::move(slug), .displayName = std::move(displayName)};
}

}  // namespace

std::vector<ProbedModel> builtInModels(AgentType type) {
  switch (type) {
    case AgentType::claude:
      return {claude("sonnet", "Sonnet (latest)", "200000"),
              claude("opus", "Opus (latest)", "200000"),
              claude("haiku", "Haiku (latest)", "200000"),
              claude("opusplan", "Opus for planning, Sonnet for the work", "200000"),
              claude("sonnet[1m]", "Sonnet (latest), long context", "1000000"),
              claude("opus[1m]", "Opus (latest), long context", "1000000"),
              claude("claude-opus-5-5", "Claude Opus 5.5", "200000"),
              claude("claude-sonnet-5-5", "Claude Sonnet 5.5", "200000"),
              claude("claude-haiku-5-5", "Claude Haiku 5.5", "200000")};
    case AgentType::codex:
      return {codex("gpt-5.6-sol", "GPT-5.6-Sol"),
              codex("gpt-5.6-terra", "GPT-5.6-Terra"),
              codex("gpt-5.6-luna", "GPT-5.6-Luna"),
              codex("gpt-5.5", "GPT-5.5"),
              codex("gpt-5.4", "GPT-5.4"),
              codex("gpt-5.4-mini", "GPT-5.4-Mini"),
              codex("gpt-5.2", "GPT-5.2")};
    case AgentType::pi:
      return {named("anthropic/claude-sonnet-5", "Claude Sonnet 5"),
              named("anthropic/claude-opus-4-8", "Claude Opus 4.8"), named("openai/gpt-5.5", "GPT-5.5"),
              named("google/gemini-3.5-flash", "Gemini 3.5 Flash")};
    case AgentType::cursor:
      return {named("auto", "Auto"), named("composer-2.5", "Composer 2.5"),
              named("cursor-grok-4.5-high", "Grok 4.5 High")};
    case AgentType::ravant:
      return probedRavantModels();
  }
  __builtin_unreachable();
}

}  // namespace ravant
