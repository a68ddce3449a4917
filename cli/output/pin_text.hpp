#pragma once

#include <map>
#include <string>
#include <vector>

#include "cli/output/output.hpp"
#include "core/integrations/pinned_item.hpp"

namespace ravant::cli {

/// The id of the integration that it is a view of.
std::string sourceOf(const PinnedItem& pin);

/// A table of them; nothing where there are none. `names` has what integrations are called, by their ids.
std::string pinsText(const std::vector<PinnedItem>& pins, const std::map<std::string, std::string>& names,
                     const Style& style);

}  // namespace ravant::cli
