#pragma once

#include <vector>

#include "core/integrations/linear_integration.hpp"

namespace ravant {

/// The latest first, or the most urgent; those without a priority come last. What is equal stands by its latest change,
/// then by identifier, 9 before 10.
void sort(std::vector<LinearIssue>& issues, LinearIssuesSortOrder order);

}  // namespace ravant
