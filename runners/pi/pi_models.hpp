#pragma once

#include <string_view>
#include <vector>

#include "core/agent_model.hpp"

namespace ravant {

/// The models that Pi lists with `--list-models`: those for which it has a key. Columns are found by their headings.
/// Source: the program's own output, 0.87.1.
std::vector<ProbedModel> parsePiModels(std::string_view listing);

}  // namespace ravant
