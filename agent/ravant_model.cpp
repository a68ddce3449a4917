#include "agent/ravant_model.hpp"

#include <algorithm>

namespace ravant {

const std::vector<RavantModel>& ravantModels() {
  using enum RavantProvider;
  static const std::vector<RavantModel> models = {
      {"mistral-large-latest", "Mistral Large", mistral, 131'072, false},
      {"mistral-medium-latest", "Mistral Medium", mistral, 131'072, false},
      {"mistral-small-latest", "Mistral Small", mistral, 131'072, false},
      {"magistral-medium-latest", "Magistral Medium", mistral, 131'072, true},
      {"codestral-latest", "Codestral", mistral, 262'144, false},
      {"anthropic/claude-sonnet-5", "Claude Sonnet 5", openrouter, 1'000'000, true},
      {"anthropic/claude-opus-4.8", "Claude Opus 4.8", openrouter, 1'000'000, true},
      {"openai/gpt-5.5", "GPT-5.5", openrouter, 1'050'000, true},
      {"openai/gpt-5.4-mini", "GPT-5.4 Mini", openrouter, 400'000, true},
      {"google/gemini-3.5-flash", "Gemini 3.5 Flash", openrouter, 1'048'576, true},
      {"x-ai/grok-4.3", "Grok 4.3", openrouter, 1'000'000, true},
      {"moonshotai/kimi-k2.7-code", "Kimi K2.7 Code", openrouter, 262'144, false},
      {"deepseek/deepseek-v4-pro", "DeepSeek V4 Pro", openrouter, 1'048'576, true},
      {"z-ai/glm-5.2", "GLM 5.2", openrouter, 1'048'576, false},
  };
  return models;
}

const RavantModel* findRavantModel(std::string_view slug) {
  const auto found = std::ranges::find(ravantModels(), slug, &RavantModel::slug);
  return found == ravantModels().end() ? nullptr : &*found;
}

std::vector<ProbedModel> probedRavantModels() {
  std::vector<ProbedModel> probed;
  for (const RavantModel& model : ravantModels()) {
    const std::string window = std::to_string(model.contextWindow);
    probed.push_back({.slug = std::string(model.slug),
                      .displayName = std::string(model.displayName),
                      .supportsThinking = model.reasoning,
                      .contextWindowOptions = {window},
                      .defaultContextWindow = window});
  }
  return probed;
}

}  // namespace ravant
