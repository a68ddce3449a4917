#pragma once

#include <string>
#include <vector>

#include "cli/output/output.hpp"
#include "platform/process/left_processes.hpp"

namespace ravant::cli {

json::object jsonForm(const LeftProcess& process);

/// A table of them; nothing where there are none.
std::string textForm(const std::vector<LeftProcess>& processes, const Style& style);

}  // namespace ravant::cli
