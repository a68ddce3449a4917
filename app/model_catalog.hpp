#pragma once

#include <vector>

#include "core/agent_model.hpp"
#include "core/agent_type.hpp"

namespace ravant {

/// The models that are offered for an agent before it has been asked: the programs' own floating
/// names first, so that the list ages well. The first one is the default. Context windows are in
/// tokens.
/// Source: the programs' model listings as of November 2026.
std::vector<ProbedModel> builtInModels(AgentType type);

}  // namespace ravant
