#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "agent/ravant_provider.hpp"
#include "core/agent_model.hpp"

namespace ravant {

/// A model that the built-in agent offers.
struct RavantModel {
  std::string_view slug;
  std::string_view displayName;
  RavantProvider provider;
  std::int64_t contextWindow;  ///< tokens
  bool reasoning;
};

/// In the order in which they are offered.
const std::vector<RavantModel>& ravantModels();

/// Null for a slug that is not offered.
const RavantModel* findRavantModel(std::string_view slug);

/// The same models as the store takes them in.
std::vector<ProbedModel> probedRavantModels();

}  // namespace ravant
